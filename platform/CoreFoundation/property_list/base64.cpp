#include "base64.h"

#include <array>
#include <utility>

namespace cf {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
// Characters that aren't digits have the high bit set in the table.
constexpr std::uint8_t kBad = 0x80;
constexpr std::uint8_t kSpace = 0x81;
constexpr std::uint8_t kPadding = 0x82;

constexpr std::array<std::uint8_t, 256> make_digit_values() {
  std::array<std::uint8_t, 256> values{};
  values.fill(kBad);
  for (std::size_t i = 0; i < kDigits.size(); ++i)
    values[static_cast<unsigned char>(kDigits[i])] = static_cast<std::uint8_t>(i);
  for (const char c : std::string_view(" \t\n\r")) values[static_cast<unsigned char>(c)] = kSpace;
  values['='] = kPadding;
  return values;
}

constexpr std::array<std::uint8_t, 256> kValues = make_digit_values();

void store_group(std::uint32_t group, char* out) {
  out[0] = static_cast<char>(group >> 16);
  out[1] = static_cast<char>(group >> 8);
  out[2] = static_cast<char>(group);
}

}  // namespace

void encode_base64(std::span<const unsigned char> bytes, char* out) {
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const std::uint32_t group = static_cast<std::uint32_t>(bytes[i]) << 16 |
                                static_cast<std::uint32_t>(bytes[i + 1]) << 8 | bytes[i + 2];
    *out++ = kDigits[group >> 18];
    *out++ = kDigits[group >> 12 & 63];
    *out++ = kDigits[group >> 6 & 63];
    *out++ = kDigits[group & 63];
  }
  const std::size_t rest = bytes.size() - i;
  if (rest > 0) {
    const std::uint32_t group = static_cast<std::uint32_t>(bytes[i]) << 16 |
                                (rest > 1 ? static_cast<std::uint32_t>(bytes[i + 1]) << 8 : 0);
    *out++ = kDigits[group >> 18];
    *out++ = kDigits[group >> 12 & 63];
    *out++ = rest > 1 ? kDigits[group >> 6 & 63] : '=';
    *out++ = '=';
  }
}

bool Base64Decoder::feed(std::string_view text) {
  const unsigned char* next = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const end = next + text.size();
  bytes.reserve((text.size() + 3) / 4 * 3);
  while (next != end) {
    if (digits_ == 0 && padding_ == 0) {
      const std::size_t most = static_cast<std::size_t>(end - next) / 4 * 3;
      char* const begin = bytes.extend(most);
      char* out = begin;
      for (; end - next >= 4; next += 4, out += 3) {
        const std::uint32_t a = kValues[next[0]], b = kValues[next[1]];
        const std::uint32_t c = kValues[next[2]], d = kValues[next[3]];
        if (((a | b | c | d) & kBad) != 0) break;
        store_group(a << 18 | b << 12 | c << 6 | d, out);
      }
      bytes.shrink(most - static_cast<std::size_t>(out - begin));
      if (next == end) break;
    }
    const std::uint8_t value = kValues[*next++];
    if (value == kSpace) continue;
    if (value == kPadding && digits_ + padding_ < 4) {
      ++padding_;
      continue;
    }
    if ((value & kBad) != 0 || padding_ > 0) return false;
    group_ = group_ << 6 | value;
    if (++digits_ == 4) {
      store_group(group_, bytes.extend(3));
      group_ = 0;
      digits_ = 0;
    }
  }
  return true;
}

bool Base64Decoder::finish() {
  const int digits = std::exchange(digits_, 0);
  const int padding = std::exchange(padding_, 0);
  const std::uint32_t group = std::exchange(group_, 0) << 6 * padding;
  if (digits == 0 && padding == 0) return true;
  if (digits < 2 || digits + padding != 4) return false;
  char out[3];
  store_group(group, out);
  bytes.append({out, static_cast<std::size_t>(digits - 1)});
  return true;
}

}  // namespace cf
