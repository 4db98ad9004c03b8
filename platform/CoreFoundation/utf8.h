/// UTF-8 text and its UTF-16 units.
#pragma once

#include <cstddef>
#include <string_view>

namespace cf {

/// How many bytes from the start are ASCII.
std::size_t ascii_prefix(std::string_view text) noexcept;

/// How many UTF-16 units valid UTF-8 takes.
std::size_t utf16_length(std::string_view valid_utf8) noexcept;

/// Whether `text` is valid UTF-8 (no surrogates, no overlong forms).
bool is_valid_utf8(std::string_view text) noexcept;

/// Less than, equal to or greater than 0 as UTF-8 text `a` stands before, with or behind `b` in
/// the order of their UTF-16 units (in which U+1F600 comes before U+FFE6).
int compare_utf16(std::string_view a, std::string_view b) noexcept;

}  // namespace cf
