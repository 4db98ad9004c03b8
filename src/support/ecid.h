#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace TY {

/// A device's unique chip identifier. Formatted as 16 upper-case hexadecimal digits.
class ecid {
 public:
  /// Accepts 0, which callers use for "no ECID".
  explicit ecid(unsigned long long value) noexcept;
  /// From 16 hexadecimal digits in either case.
  /// @throws std::invalid_argument  any other text.
  explicit ecid(std::string_view text);

  ecid(const ecid&) = default;
  ecid& operator=(const ecid&) = default;
  /// The source is left with value 0 and an empty text.
  ecid(ecid&& other) noexcept;
  ecid& operator=(ecid&& other) noexcept;

  std::uint64_t number() const { return value; }
  /// The canonical text; the view lives as long as the object.
  operator std::string_view() const { return text; }
  operator std::string() const { return text; }

  friend bool operator==(const ecid& a, const ecid& b) { return a.value == b.value; }
  friend bool operator<(const ecid& a, const ecid& b) { return a.value < b.value; }

 private:
  std::uint64_t value;
  std::string text;
};

/// Whether `text` is 16 hexadecimal digits.
bool is_ecid(std::string_view text);

/// The number with these 16 hexadecimal digits.
/// @throws std::invalid_argument  any other text.
std::uint64_t dataFromECIDString(std::string_view text);

}  // namespace TY

template <>
struct std::hash<TY::ecid> {
  std::size_t operator()(const TY::ecid& ecid) const noexcept { return ecid.number(); }
};

/// The canonical text as a string; sixteen question marks for the value 0.
template <>
struct fmt::formatter<TY::ecid> : fmt::formatter<std::string_view> {
  template <typename Context>
  auto format(const TY::ecid& ecid, Context& context) const {
    return fmt::formatter<std::string_view>::format(
        ecid.number() == 0 ? "????????????????" : std::string_view(ecid), context);
  }
};
