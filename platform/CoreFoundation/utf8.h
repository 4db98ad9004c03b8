/// UTF-8 text and its UTF-16 units, beyond what internal.h declares.
#pragma once

#include <cstddef>
#include <string_view>

namespace cf {

/// How many bytes from the start are ASCII.
std::size_t ascii_prefix(std::string_view text) noexcept;

/// How many UTF-16 units valid UTF-8 takes.
std::size_t utf16_length(std::string_view valid_utf8) noexcept;

}  // namespace cf
