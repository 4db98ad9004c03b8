/// Conversion of UTF-16 to UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace cf {

enum class ByteOrder { kBigEndian, kLittleEndian };

/// Appends one character, which must not be a surrogate or above U+10FFFF.
void append_utf8(std::string& text, char32_t character);

/// False, with an incomplete `text`, if `bytes` aren't whole UTF-16 units or contain half of a
/// surrogate pair.
bool append_utf8(std::string& text, std::string_view bytes, ByteOrder order);

}  // namespace cf
