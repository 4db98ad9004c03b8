#pragma once

#include <boost/asio/execution/blocking.hpp>
#include <boost/asio/execution/context.hpp>
#include <boost/asio/execution/outstanding_work.hpp>
#include <boost/asio/execution_context.hpp>
#include <stdexcept>

#include "support/abort.h"

namespace TY {

/// An Asio executor for objects that are used synchronously only. Starting an asynchronous
/// operation through it is a programming error, which ends the process at once.
class non_async_executor {
 public:
  /// The context that I/O objects register with; shared by all, never run, never destroyed.
  // NOLINTNEXTLINE(bugprone-exception-escape): a context that can't be created ends the process
  static boost::asio::execution_context& query(boost::asio::execution::context_t) noexcept;

  /// Asio asks for these properties when an asynchronous operation starts or is posted. The
  /// operation would never complete.
  non_async_executor require(boost::asio::execution::outstanding_work_t::tracked_t) const noexcept {
    refuse();
  }
  non_async_executor require(boost::asio::execution::blocking_t::never_t) const noexcept {
    refuse();
  }

  template <typename Function>
  void execute(Function&&) const noexcept {
    refuse();
  }

  friend bool operator==(const non_async_executor&, const non_async_executor&) noexcept = default;

 private:
  [[noreturn]] static void refuse() noexcept {
    Abort<std::logic_error>("TY::non_async_executor cannot run anything asynchronously");
  }
};

}  // namespace TY
