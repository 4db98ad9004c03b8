/// Short functions to create objects, to inspect them, and to read and write them as property
/// lists.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "../internal.h"

namespace cf::test {

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

inline Owned<CFStringRef> string(std::string_view utf8) { return make_cfstring(utf8); }

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

/// Checks an error's domain and code, releases it, and returns its text.
inline std::string take_error(CFErrorRef error, CFIndex code) {
  const Owned<CFErrorRef> owner(error);
  if (error == nullptr) {
    ADD_FAILURE() << "no error came with NULL";
    return {};
  }
  EXPECT_EQ(text(CFErrorGetDomain(error)), "NSCocoaErrorDomain");
  EXPECT_EQ(CFErrorGetCode(error), code);
  const Owned<CFDictionaryRef> info(CFErrorCopyUserInfo(error));
  const void* const why = CFDictionaryGetValue(info.get(), CFSTR("NSDebugDescription"));
  return text(static_cast<CFStringRef>(why));
}

/// The result of a call: an object or an error's text, never both.
struct Parsed {
  Owned<CFTypeRef> object;
  std::string error;
  CFPropertyListFormat format = CFPropertyListFormat{-7};
};

inline Parsed parse(std::string_view bytes) {
  const Owned<CFDataRef> data(
      CFDataCreateWithBytesNoCopy(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                  static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
  CFErrorRef error = nullptr;
  Parsed parsed;
  parsed.object.reset(CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable,
                                                   &parsed.format, &error));
  if (parsed.object == nullptr) {
    parsed.error = take_error(error, kCFPropertyListReadCorruptError);
    EXPECT_NE(parsed.error, "");
    EXPECT_EQ(parsed.format, -7) << "touched without an object";
  } else {
    EXPECT_EQ(error, nullptr);
  }
  return parsed;
}

/// The object's XML, or the text of the error.
inline std::string write(CFTypeRef object) {
  CFErrorRef error = nullptr;
  const Owned<CFDataRef> data(
      CFPropertyListCreateData(nullptr, object, kCFPropertyListXMLFormat_v1_0, 0, &error));
  if (data == nullptr) return take_error(error, kCFPropertyListWriteStreamError);
  EXPECT_EQ(error, nullptr);
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                     static_cast<std::size_t>(CFDataGetLength(data.get())));
}

}  // namespace cf::test
