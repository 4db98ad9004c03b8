/// A string's memory, for the files that make strings.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "object.h"

/// The text, UTF-8 without a NUL at the end, stands behind this. The hash is kept in base._cfisa
/// once somebody asked for it, so millions of strings don't pay for one more field.
struct __CFString {
  CFRuntimeBase base;
  std::uint32_t size;    // in bytes
  std::uint32_t length;  // in UTF-16 units
};

namespace cf {

/// An immortal string from an ASCII literal, made by the compiler.
template <std::size_t kSize>
struct ConstantString {
  __CFString header;
  char text[kSize];

  consteval explicit ConstantString(const char (&literal)[kSize])
      : header{immortal_base(kString), kSize - 1, kSize - 1}, text{} {
    std::copy_n(literal, kSize, text);
  }
};

/// Equal texts hash alike within one process, never 0. Seeded, so that the keys of a hostile
/// property list can't be chosen to collide.
std::uint64_t hash_text(std::string_view text) noexcept;

/// As make_cfstring, but never destroyed.
CFStringRef immortal_string(std::string_view valid_utf8) noexcept;

}  // namespace cf
