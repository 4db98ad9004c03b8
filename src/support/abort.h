#pragma once

#include <string>
#include <string_view>

namespace TY {

namespace detail {
template <typename Exception>
[[noreturn]] void raise(const std::string& what) {
  throw Exception(what);
}
}  // namespace detail

/// Ends the process: the runtime reports an uncaught `Exception` with the text `what`. No clean-up
/// runs.
template <typename Exception>
[[noreturn]] void Abort(const std::string& what) noexcept {
  detail::raise<Exception>(what);
}

}  // namespace TY

namespace korvrestore {

/// The place of an assertion. Crash reports are matched by file and line, so both stay unchanged
/// when the code moves.
struct assertion_site {
  std::string_view file;
  int line;
  std::string_view function;
  std::string_view expression;
};

/// Ends the process with a `std::invalid_argument` that names the site.
[[noreturn]] void assertion_failed(const assertion_site& site) noexcept;

}  // namespace korvrestore
