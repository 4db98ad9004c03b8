#include "utf16.h"

namespace cf {

void append_utf8(std::string& text, char32_t character) {
  if (character < 0x80) {
    text += static_cast<char>(character);
    return;
  }
  if (character < 0x800) {
    text += static_cast<char>(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      text += static_cast<char>(0xE0 | character >> 12);
    } else {
      text += static_cast<char>(0xF0 | character >> 18);
      text += static_cast<char>(0x80 | (character >> 12 & 0x3F));
    }
    text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
  }
  text += static_cast<char>(0x80 | (character & 0x3F));
}

bool append_utf8(std::string& text, std::string_view bytes, ByteOrder order) {
  if (bytes.size() % 2 != 0) {
    return false;
  }
  const std::size_t high = order == ByteOrder::kBigEndian ? 0 : 1;
  char32_t lead = 0;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    const char32_t unit = static_cast<char32_t>(static_cast<unsigned char>(bytes[i + high]) << 8 |
                                                static_cast<unsigned char>(bytes[i + 1 - high]));
    const bool is_trail = unit >= 0xDC00 && unit < 0xE000;
    if (is_trail != (lead != 0)) {
      return false;
    }
    if (is_trail) {
      append_utf8(text, 0x10000 + ((lead - 0xD800) << 10) + (unit - 0xDC00));
      lead = 0;
    } else if (unit >= 0xD800 && unit < 0xDC00) {
      lead = unit;
    } else {
      append_utf8(text, unit);
    }
  }
  return lead == 0;
}

}  // namespace cf
