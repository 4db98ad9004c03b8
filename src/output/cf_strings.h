#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>

namespace korvrestore {

/// The UTF-8 text of `string`, up to its first U+0000; empty for NULL or when it can't be
/// converted.
std::optional<std::string> make_string(CFStringRef string);

/// The text of `owned`, as `make_string` returns it; releases `owned`.
std::optional<std::string> take_string(CFStringRef owned);

/// As `make_string`, but returns an empty text instead of no text.
std::string MakeString(CFStringRef string);

/// CoreFoundation's description of `object` for debugging; "(null)" for NULL.
std::string MakeDescription(const void* object);

}  // namespace korvrestore
