#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace TY {

/// A device's serial number: any text.
class serial_number {
 public:
  explicit serial_number(std::string_view text) : text_(text) {}

  operator std::string_view() const { return text_; }
  operator std::string() const { return text_; }

  friend bool operator==(const serial_number&, const serial_number&) = default;
  friend bool operator==(const serial_number& a, std::string_view b) { return a.text_ == b; }
  friend bool operator<(const serial_number& a, const serial_number& b) {
    return a.text_ < b.text_;
  }

 private:
  std::string text_;
};

}  // namespace TY

template <>
struct std::hash<TY::serial_number> {
  std::size_t operator()(const TY::serial_number& serial) const noexcept {
    return std::hash<std::string_view>()(std::string_view(serial));
  }
};
