#include "support/file_error.h"

#include <array>
#include <string_view>

#include "support/error_code_helper.h"

namespace TY::file {
namespace {

using boost::system::errc::not_enough_memory;
using boost::system::errc::resource_unavailable_try_again;
using detail::equiv_t;

constexpr error_code_row row(std::string_view message,
                             boost::system::error_condition (*condition)(), errc code) {
  return {message.data(), message.size(), condition, static_cast<int>(code)};
}

constexpr std::array<error_code_row, 4> error_data = {
    row("Success", nullptr, errc::success),
    row("File is too large to fit into the buffer",
        equiv_t<not_enough_memory>::return_error_condition, errc::file_too_large),
    row("Could not allocate buffer for file", equiv_t<not_enough_memory>::return_error_condition,
        errc::buffer_allocation_failed),
    row("Could not obtain file lock",
        equiv_t<resource_unavailable_try_again>::return_error_condition, errc::lock_failed),
};

constinit const error_code_helper<&error_data> file_cat("TY::file");

}  // namespace

boost::system::error_code make_error_code(errc e) {
  return boost::system::error_code(static_cast<int>(e), file_cat);
}

}  // namespace TY::file
