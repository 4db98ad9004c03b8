#include "utf16.h"

#include <algorithm>
#include <array>

namespace cf {
namespace {

/// Writes one character; returns where the next one goes, up to four bytes on.
char* write_utf8(char* out, char32_t character) {
  if (character < 0x80) {
    *out++ = static_cast<char>(character);
    return out;
  }
  if (character < 0x800) {
    *out++ = static_cast<char>(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      *out++ = static_cast<char>(0xE0 | character >> 12);
    } else {
      *out++ = static_cast<char>(0xF0 | character >> 18);
      *out++ = static_cast<char>(0x80 | (character >> 12 & 0x3F));
    }
    *out++ = static_cast<char>(0x80 | (character >> 6 & 0x3F));
  }
  *out++ = static_cast<char>(0x80 | (character & 0x3F));
  return out;
}

}  // namespace

void append_utf8(std::string& text, char32_t character) {
  std::array<char, 4> buffer;
  text.append(buffer.data(), write_utf8(buffer.data(), character));
}

bool append_utf8(std::string& text, std::string_view bytes, ByteOrder order) {
  if (bytes.size() % 2 != 0) return false;
  constexpr std::size_t kUnits = 1024;  // at a time
  // Three bytes for a unit, and one more where a pair began before.
  std::array<char, 3 * kUnits + 1> buffer;
  const std::size_t high = order == ByteOrder::kBigEndian ? 0 : 1;
  char32_t lead = 0;
  while (!bytes.empty()) {
    const std::string_view part = bytes.substr(0, 2 * kUnits);
    bytes.remove_prefix(part.size());
    char* out = buffer.data();
    for (std::size_t i = 0; i < part.size(); i += 2) {
      const char32_t unit = static_cast<char32_t>(static_cast<unsigned char>(part[i + high]) << 8 |
                                                  static_cast<unsigned char>(part[i + 1 - high]));
      const bool is_trail = unit >= 0xDC00 && unit < 0xE000;
      if (is_trail != (lead != 0)) return false;
      if (is_trail) {
        out = write_utf8(out, 0x10000 + ((lead - 0xD800) << 10) + (unit - 0xDC00));
        lead = 0;
      } else if (unit >= 0xD800 && unit < 0xDC00) {
        lead = unit;
      } else {
        out = write_utf8(out, unit);
      }
    }
    text.append(buffer.data(), out);
  }
  return lead == 0;
}

}  // namespace cf
