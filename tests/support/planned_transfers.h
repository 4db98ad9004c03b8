#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

/// How one read or write goes.
struct Transfer {
  int error = 0;                   ///< an errno value: nothing is transferred
  std::size_t at_most = SIZE_MAX;  ///< bytes
};

/// Runs `operation`, whose reads and writes go as `plan` has it, the ones after its end as the
/// system has it. Returns how many bytes each has asked for, in order.
///
/// For programs that are made with
///   SOURCES ... ${PROJECT_SOURCE_DIR}/tests/support/planned_transfers.cpp
///   WRAPS read write writev ...
/// Their linker puts the functions of this file before the system's, or before a sanitizer's, for
/// all that is linked statically: Asio is, gtest too; the C++ library's streams aren't.
std::vector<std::size_t> planned_transfers(const std::vector<Transfer>& plan,
                                           const std::function<void()>& operation);
