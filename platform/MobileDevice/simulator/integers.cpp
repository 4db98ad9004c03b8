#include "integers.h"

#include <charconv>
#include <system_error>

#include "../cf_values.h"

namespace MobileDevice::simulator {
namespace {

struct Integer {
  std::int64_t low_bits;
  double approximately;  // tells a large unsigned number from a negative one
};

std::optional<Integer> read_integer(CFTypeRef value) {
  const CFNumberRef number = cast<CFNumberRef>(value, CFNumberGetTypeID());
  if (number == nullptr || CFNumberIsFloatType(number)) return std::nullopt;
  Integer integer{};
  CFNumberGetValue(number, kCFNumberSInt64Type, &integer.low_bits);
  CFNumberGetValue(number, kCFNumberFloat64Type, &integer.approximately);
  return integer;
}

}  // namespace

std::optional<std::int64_t> parse_integer(std::string_view text) {
  int base = 10;
  if (text.substr(0, 2) == "0x") {
    text.remove_prefix(2);
    base = 16;
    if (text.substr(0, 1) == "-") return std::nullopt;
  }
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, base);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

std::optional<std::int64_t> integer_in(CFTypeRef value) {
  const std::optional<Integer> integer = read_integer(value);
  const bool fits = integer && (integer->approximately < 0) == (integer->low_bits < 0);
  return fits ? std::optional(integer->low_bits) : std::nullopt;
}

std::optional<std::uint64_t> unsigned_integer_in(CFTypeRef value) {
  const std::optional<Integer> integer = read_integer(value);
  if (!integer || integer->approximately < 0) return std::nullopt;
  return static_cast<std::uint64_t>(integer->low_bits);
}

}  // namespace MobileDevice::simulator
