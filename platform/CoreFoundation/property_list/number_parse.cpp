#include "number_parse.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <system_error>

namespace cf {
namespace {

void skip_white_space(std::string_view& text) noexcept {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\r"), text.size()));
}

/// The error if the whole text isn't a number; then `number` is unchanged.
template <typename Number, typename Format>
std::errc parse_all(std::string_view text, Number& number, Format format) noexcept {
  const char* const end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, number, format);
  return result.ptr == end ? result.ec : std::errc::invalid_argument;
}

/// The double for a decimal number beyond its range: infinity or 0, with the number's sign.
double past_range(std::string_view text) noexcept {
  const double sign = text.starts_with('-') ? -1 : 1;
  if (sign < 0) text.remove_prefix(1);
  const auto find_if = [](std::string_view in, auto matches) {
    return static_cast<std::size_t>(std::find_if(in.begin(), in.end(), matches) - in.begin());
  };
  const std::string_view mantissa =
      text.substr(0, find_if(text, [](char c) { return c == 'e' || c == 'E'; }));
  const double point = static_cast<double>(std::min(mantissa.find('.'), mantissa.size()));
  const double first =
      static_cast<double>(find_if(mantissa, [](char c) { return c >= '1' && c <= '9'; }));
  double exponent = 0;
  if (mantissa.size() < text.size()) {
    text.remove_prefix(mantissa.size() + 1);
    const bool is_negative = text.starts_with('-');
    if (is_negative || text.starts_with('+')) text.remove_prefix(1);
    for (const char digit : text) exponent = 10 * exponent + (digit - '0');
    if (is_negative) exponent = -exponent;
  }
  return sign * (point - first + exponent > 0 ? std::numeric_limits<double>::infinity() : 0);
}

}  // namespace

Owned<CFNumberRef> parse_integer(std::string_view text) noexcept {
  constexpr std::uint64_t kLowest = std::uint64_t{1} << 63;  // its magnitude
  skip_white_space(text);
  const bool is_negative = text.starts_with('-');
  if (is_negative || text.starts_with('+')) {
    text.remove_prefix(1);
    skip_white_space(text);
  }
  const bool is_hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (is_hexadecimal) text.remove_prefix(2);
  std::uint64_t magnitude = 0;
  if (parse_all(text, magnitude, is_hexadecimal ? 16 : 10) != std::errc()) return nullptr;
  if (!is_negative) return make_number(magnitude);
  if (magnitude > kLowest) return nullptr;
  const std::int64_t value = static_cast<std::int64_t>(-magnitude);
  return Owned<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

Owned<CFNumberRef> parse_real(std::string_view text) noexcept {
  skip_white_space(text);
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return nullptr;
  }
  double value = 0;
  const std::errc error = parse_all(text, value, std::chars_format::general);
  if (error == std::errc::result_out_of_range) {
    value = past_range(text);
  } else if (error != std::errc()) {
    return nullptr;
  }
  return Owned<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &value));
}

}  // namespace cf
