/// What the property-list tests share.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "internal.h"

namespace cf::test {

inline std::string text_of(CFStringRef string) { return std::string(utf8(string)); }

inline std::string bytes_of(CFDataRef data) {
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                     static_cast<std::size_t>(CFDataGetLength(data)));
}

inline std::string read_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.good()) << path;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

inline std::vector<std::filesystem::path> test_files(const char* folder, const char* extension) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(TEST_DATA_DIR) / folder))
    if (entry.path().extension() == extension) paths.push_back(entry.path());
  EXPECT_FALSE(paths.empty()) << folder;
  return paths;
}

/// Checks an error's domain and code, releases it, and returns its text.
inline std::string take_error(CFErrorRef error, CFIndex code) {
  const Owned<CFErrorRef> owner(error);
  if (error == nullptr) {
    ADD_FAILURE() << "no error came with NULL";
    return {};
  }
  EXPECT_EQ(text_of(CFErrorGetDomain(error)), "NSCocoaErrorDomain");
  EXPECT_EQ(CFErrorGetCode(error), code);
  const Owned<CFDictionaryRef> info(CFErrorCopyUserInfo(error));
  const void* const text = CFDictionaryGetValue(info.get(), CFSTR("NSDebugDescription"));
  EXPECT_NE(text, nullptr);
  return text == nullptr ? std::string() : text_of(static_cast<CFStringRef>(text));
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

struct Written {
  std::string xml;
  std::string error;
};

inline Written write(CFTypeRef object) {
  CFErrorRef error = nullptr;
  const Owned<CFDataRef> data(
      CFPropertyListCreateData(nullptr, object, kCFPropertyListXMLFormat_v1_0, 0, &error));
  if (data == nullptr) return {"", take_error(error, kCFPropertyListWriteStreamError)};
  EXPECT_EQ(error, nullptr);
  return {bytes_of(data.get()), ""};
}

inline constexpr std::string_view kXmlHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";

/// The body of the object's XML without the head and the `<plist>` element, or "error".
inline std::string xml_body(const Parsed& parsed) {
  if (parsed.object == nullptr) return "error";
  std::string xml = write(parsed.object.get()).xml;
  const std::string head = std::string(kXmlHead) + "<plist version=\"1.0\">\n";
  EXPECT_TRUE(xml.starts_with(head) && xml.ends_with("\n</plist>\n")) << xml;
  return xml.substr(head.size(), xml.size() - head.size() - sizeof "\n</plist>");
}

}  // namespace cf::test
