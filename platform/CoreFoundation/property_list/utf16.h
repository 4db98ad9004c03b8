/// From UTF-16 to UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace cf {

enum class ByteOrder { kBigEndian, kLittleEndian };

/// Appends one character, which is no surrogate and not above U+10FFFF.
void append_utf8(std::string& text, char32_t character);

/// False, with `text` in part, when `bytes` aren't whole UTF-16 units or hold half a surrogate
/// pair.
bool append_utf8(std::string& text, std::string_view bytes, ByteOrder order);

}  // namespace cf
