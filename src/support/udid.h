#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace TY {

/// A device's unique identifier: hexadecimal digits and dashes. Compared as text, so case matters.
class udid {
 public:
  /// Inserts a dash after the eighth character of a text of 24 characters.
  /// @throws std::invalid_argument  a character is neither dash nor hexadecimal digit.
  explicit udid(std::string text);
  explicit udid(std::string_view text) : udid(std::string(text)) {}

  operator std::string_view() const { return text_; }
  operator std::string() const { return text_; }

  friend bool operator==(const udid&, const udid&) = default;
  friend bool operator<(const udid& a, const udid& b) { return a.text_ < b.text_; }

 private:
  std::string text_;
};

/// Whether every character of `text` is a dash or a hexadecimal digit. True for an empty text.
bool is_udid(std::string_view text);

}  // namespace TY

template <>
struct std::hash<TY::udid> {
  std::size_t operator()(const TY::udid& udid) const noexcept {
    return std::hash<std::string_view>()(std::string_view(udid));
  }
};
