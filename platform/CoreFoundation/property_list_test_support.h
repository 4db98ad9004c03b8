/// What the property-list tests share.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "value_test_support.h"

namespace cf::test {

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

/// What a call returned: an object, or else an error's text, never both.
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
