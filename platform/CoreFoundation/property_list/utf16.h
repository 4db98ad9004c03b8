/// Conversion of UTF-16 to UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace cf {

enum class ByteOrder { kBigEndian, kLittleEndian };

/// Appends one character, which must not be a surrogate or above U+10FFFF.
void append_utf8(std::string& text, char32_t character);

/// The number of bytes that `write_utf8` writes for this text, if it is valid.
std::size_t utf8_size(std::string_view utf16, ByteOrder order);

/// Writes the text as UTF-8, at most `utf8_size` bytes. False, with an incomplete text, if the
/// bytes aren't whole UTF-16 units or contain half of a surrogate pair.
bool write_utf8(std::string_view utf16, ByteOrder order, char* out);

}  // namespace cf
