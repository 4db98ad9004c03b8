/// What the files of this library share beyond the public API.
#pragma once

#include <CoreFoundation/CFRuntime.h>

#include <string_view>

namespace cf {

/// The built-in types' IDs, fixed so that constants can be initialised by the compiler.
enum TypeID : CFTypeID {
  kNotAType = 0,
  kAllocator,
  kString,
  kNumber,
  kBoolean,
  kDate,
  kData,
  kArray,
  kDictionary,
  kSet,
  kNull,
  kError,
  kFirstRegistered,
};

/// The string's text, always valid UTF-8; borrowed, lives as long as the string.
std::string_view utf8(CFStringRef string) noexcept;

/// Less than, equal to or greater than 0 as UTF-8 text `a` stands before, with or behind `b` in
/// the order of their UTF-16 units (in which U+1F600 comes before U+FFE6).
int compare_utf16(std::string_view a, std::string_view b) noexcept;

/// Whether `text` is valid UTF-8 (no surrogates, no overlong forms).
bool is_valid_utf8(std::string_view text) noexcept;

/// A string from UTF-8 that the caller has checked already.
CFStringRef make_string(std::string_view valid_utf8);

}  // namespace cf
