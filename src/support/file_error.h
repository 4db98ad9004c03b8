#pragma once

#include <boost/system/error_code.hpp>

namespace TY::file {

/// Errors of file access that aren't errors of the system.
enum class errc : int {
  success = 0,
  file_too_large = 1,
  buffer_allocation_failed = 2,
  lock_failed = 3,
};

/// In the category "TY::file"; comparable with the generic conditions.
boost::system::error_code make_error_code(errc e);

}  // namespace TY::file

template <>
struct boost::system::is_error_code_enum<TY::file::errc> : std::true_type {};
