#pragma once

#include <boost/system/error_category.hpp>
#include <boost/system/error_condition.hpp>
#include <cstddef>
#include <string>

namespace TY {

/// One code of an error category. The rows of a table are in the order of their codes, starting at
/// 0 (success), which has no condition.
struct error_code_row {
  const char* message;
  std::size_t message_length;
  boost::system::error_condition (*default_error_condition)();
  int code;
};

namespace detail {

/// Returns the portable condition `E`.
template <boost::system::errc::errc_t E>
struct equiv_t {
  static boost::system::error_condition return_error_condition() {
    return boost::system::error_condition(E, boost::system::generic_category());
  }
};

}  // namespace detail

/// An error category that is defined by the table `*Table`, an array of `error_code_row`.
template <const auto* Table>
class error_code_helper final : public boost::system::error_category {
 public:
  /// `name` must outlive the category.
  explicit constexpr error_code_helper(const char* name) : name_(name) {}

  const char* name() const noexcept override { return name_; }

  boost::system::error_condition default_error_condition(int ev) const noexcept override {
    if (!is_in_table(ev) || ev == 0) return boost::system::error_condition(ev, *this);
    return (*Table)[static_cast<std::size_t>(ev)].default_error_condition();
  }

  std::string message(int ev) const override {
    if (!is_in_table(ev)) return "Unknown error " + std::to_string(ev);
    const error_code_row& row = (*Table)[static_cast<std::size_t>(ev)];
    return std::string(row.message, row.message_length);
  }

 private:
  static bool is_in_table(int ev) { return static_cast<unsigned>(ev) < Table->size(); }

  const char* name_;
};

}  // namespace TY
