/// UTF-8 text and its UTF-16 units.
#pragma once

#include <cstddef>
#include <string_view>

namespace cf {

/// The number of ASCII bytes at the start.
std::size_t ascii_prefix(std::string_view text) noexcept;

/// The number of UTF-16 units of valid UTF-8.
std::size_t utf16_length(std::string_view valid_utf8) noexcept;

/// Whether `text` is valid UTF-8 (no surrogates, no overlong forms).
bool is_valid_utf8(std::string_view text) noexcept;

/// Less than, equal to or greater than 0 if the UTF-8 text `a` is before, equal to or after `b` in
/// the order of their UTF-16 units (U+1F600 is before U+FFE6).
int compare_utf16(std::string_view a, std::string_view b) noexcept;

}  // namespace cf
