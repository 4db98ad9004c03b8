#include "number_parse.h"

#include <charconv>
#include <cstdint>

namespace cf {
namespace {

/// Whether the whole text was a number.
template <typename Number, typename Format>
bool parse_all(std::string_view text, Number& number, Format format) noexcept {
  const char* const end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, number, format);
  return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

Owned<CFNumberRef> parse_integer(std::string_view text) noexcept {
  constexpr std::uint64_t kLowest = std::uint64_t{1} << 63;  // its magnitude
  const bool is_negative = text.starts_with('-');
  if (is_negative || text.starts_with('+')) text.remove_prefix(1);
  const bool is_hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (is_hexadecimal) text.remove_prefix(2);
  std::uint64_t magnitude = 0;
  if (!parse_all(text, magnitude, is_hexadecimal ? 16 : 10)) return nullptr;
  if (!is_negative) return make_number(magnitude);
  if (magnitude > kLowest) return nullptr;
  const std::int64_t value = static_cast<std::int64_t>(-magnitude);
  return Owned<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

Owned<CFNumberRef> parse_real(std::string_view text) noexcept {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return nullptr;
  }
  double value = 0;
  if (!parse_all(text, value, std::chars_format::general)) return nullptr;
  return Owned<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &value));
}

}  // namespace cf
