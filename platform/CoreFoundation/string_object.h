/// The memory layout of strings, for the files that create them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "object.h"

/// The text, UTF-8 without a NUL at the end, follows this object. base._cfisa keeps the hash once
/// it has been computed, so that millions of strings don't need one more field.
struct __CFString {
  CFRuntimeBase base;
  std::uint32_t size;    // in bytes
  std::uint32_t length;  // in UTF-16 units

  char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
};

namespace cf {

/// An immortal string from an ASCII literal, created by the compiler.
template <std::size_t kSize>
struct ConstantString {
  __CFString header;
  char text[kSize];

  consteval explicit ConstantString(const char (&literal)[kSize])
      : header{immortal_base(kString), kSize - 1, kSize - 1}, text{} {
    std::copy_n(literal, kSize, text);
  }
};

/// Equal texts have equal hashes within one process, never 0. Seeded, so that nobody can choose the
/// keys of a hostile property list to collide.
std::uint64_t hash_text(std::string_view text) noexcept;

/// A new string of `size` bytes and `length` UTF-16 units, whose text the caller writes before
/// anybody reads it. NULL if memory is short for a large string, or `size` is above 2^32 - 1.
__CFString* create_string(CFAllocatorRef allocator, std::size_t size, std::size_t length) noexcept;

/// As make_cfstring, but never destroyed.
CFStringRef immortal_string(std::string_view valid_utf8) noexcept;

}  // namespace cf
