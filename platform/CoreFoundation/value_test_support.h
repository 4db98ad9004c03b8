/// Short ways to make objects and to look at them, for the tests of the value types.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "internal.h"

namespace cf {

inline std::string text(CFStringRef string) {
  return string == nullptr ? "(null)" : std::string(utf8(string));
}

/// The object's description, with every address shown as "0xP".
inline std::string described(CFTypeRef cf) {
  const Owned<CFStringRef> description(CFCopyDescription(cf));
  std::string shown = text(description.get());
  constexpr std::string_view kReplacement = " 0xP [0xP]";
  std::size_t at = 0;
  while ((at = shown.find(" [0x", at)) != std::string::npos) {
    const std::size_t start = shown.rfind(' ', at - 1);
    shown.replace(start, shown.find(']', at) + 1 - start, kReplacement);
    at = start + kReplacement.size();
  }
  return shown;
}

template <typename T>
Owned<CFNumberRef> number(CFNumberType type, T value) {
  return Owned<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, type, &value));
}

inline Owned<CFNumberRef> integer(std::int64_t value) { return number(kCFNumberSInt64Type, value); }

inline Owned<CFNumberRef> real(double value) { return number(kCFNumberFloat64Type, value); }

inline Owned<CFStringRef> string(std::string_view utf8) { return make_string(utf8); }

inline Owned<CFArrayRef> array_of(std::initializer_list<CFTypeRef> values) {
  for (const CFTypeRef value : values) CFRetain(value);
  return make_array({values.begin(), values.size()});
}

inline Owned<CFMutableDictionaryRef> object_dictionary(
    std::initializer_list<std::pair<CFTypeRef, CFTypeRef>> pairs = {}) {
  Owned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  for (const auto& [key, value] : pairs) CFDictionarySetValue(dictionary.get(), key, value);
  return dictionary;
}

}  // namespace cf
