/// Short ways to make objects and to look at them, for the tests of the value types.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <regex>
#include <string>

#include "internal.h"

namespace cf {

inline std::string text(CFStringRef string) {
  return string == nullptr ? "(null)" : std::string(utf8(string));
}

/// The object's description, with every address shown as "0xP".
inline std::string described(CFTypeRef cf) {
  const Owned<CFStringRef> description(CFCopyDescription(cf));
  return std::regex_replace(text(description.get()), std::regex(" 0x[0-9a-f]+ \\[0x[0-9a-f]+\\]"),
                            " 0xP [0xP]");
}

template <typename T>
Owned<CFNumberRef> number(CFNumberType type, T value) {
  return Owned<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, type, &value));
}

inline Owned<CFNumberRef> integer(std::int64_t value) { return number(kCFNumberSInt64Type, value); }

inline Owned<CFNumberRef> real(double value) { return number(kCFNumberFloat64Type, value); }

inline Owned<CFStringRef> string(std::string_view utf8) {
  return Owned<CFStringRef>(make_string(utf8));
}

}  // namespace cf
