/// Declarations that the files of this library share in addition to the public API.
///
/// Functions named `create_...` and `copy_...` return a plain reference that the caller owns, as
/// those of the C API do; only code next to the C API has them. Functions named `make_...` return
/// an owning handle.
#pragma once

#include <CoreFoundation/CFRuntime.h>

#include <span>
#include <string_view>

#include "../cf_owned.h"

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

/// A string from UTF-8 that the caller has checked already; NULL when memory is short or the text
/// takes 4 GiB or more.
Owned<CFStringRef> make_cfstring(std::string_view valid_utf8) noexcept;

/// An integer that may be beyond CFNumberCreate's range; of type SInt64 if it fits.
Owned<CFNumberRef> make_number(std::uint64_t value) noexcept;

/// Whether the number is an integer beyond SInt64's range. CFNumberGetValue writes its 64 bits as
/// SInt64 and returns false.
bool is_unsigned64(CFNumberRef number) noexcept;

/// The number as text: integers in decimal, reals as "%.17g" or "0.0", "nan",
/// "+infinity", "-infinity".
std::string_view number_text(CFNumberRef number, std::span<char, 32> buffer) noexcept;

/// An immutable array of CF objects that takes over the caller's references to them. NULL when
/// memory is short: then the caller still owns them. All empty arrays are one immortal object.
Owned<CFArrayRef> make_array(std::span<const CFTypeRef> values) noexcept;

/// An immutable dictionary of CF objects from key, value, key, value, ... The keys must be
/// CFStrings. Takes over the caller's references to all of them. The last value of equal keys is
/// kept. NULL when memory is short: then the caller still owns the references. All empty
/// dictionaries are one immortal object.
Owned<CFDictionaryRef> make_dictionary(std::span<const CFTypeRef> keys_and_values) noexcept;

/// An immutable dictionary of the same pairs: the dictionary itself, retained, if it is one. NULL
/// when memory is short.
Owned<CFDictionaryRef> make_immutable(CFDictionaryRef dictionary) noexcept;

}  // namespace cf
