#include <CoreFoundation/CFString.h>
#include <gtest/gtest.h>

#include <limits>

#include "value_test_support.h"

namespace {

using cf::Owned;
using cf::string;

Owned<CFStringRef> from_bytes(std::string_view bytes, CFStringEncoding encoding,
                              bool is_external = false) {
  return Owned<CFStringRef>(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                              static_cast<CFIndex>(bytes.size()), encoding, is_external));
}

TEST(CFString, IsMadeOfValidBytesOnly) {
  constexpr CFStringEncoding kUTF16 = 0x100;
  const struct {
    std::string_view bytes;
    CFStringEncoding encoding;
    bool is_external;
    const char* expected;
    CFIndex length;
  } cases[] = {
      {"", kCFStringEncodingUTF8, false, "", 0},
      {"plain", kCFStringEncodingASCII, false, "plain", 5},
      {"\xc3\xa9", kCFStringEncodingASCII, false, "(null)", 0},
      {"\xc3\xa9\xf0\x9f\x98\x80", kCFStringEncodingUTF8, false, "é😀", 3},
      {"\xc3", kCFStringEncodingUTF8, false, "(null)", 0},
      {"\xef\xbb\xbfx", kCFStringEncodingUTF8, true, "x", 1},
      {"\xef\xbb\xbfx", kCFStringEncodingUTF8, false, "\ufeffx", 2},
      {"x", kUTF16, false, "(null)", 0},
  };
  for (const auto& test : cases) {
    const Owned<CFStringRef> made = from_bytes(test.bytes, test.encoding, test.is_external);
    EXPECT_EQ(cf::text(made.get()), test.expected);
    if (made != nullptr) {
      EXPECT_EQ(CFStringGetLength(made.get()), test.length) << test.bytes;
    }
  }
  const Owned<CFStringRef> with_nul = from_bytes({"a\0b", 3}, kCFStringEncodingUTF8);
  EXPECT_EQ(CFStringGetLength(with_nul.get()), 3);
  EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorDefault, "\xff", kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorNull, "x", kCFStringEncodingUTF8), nullptr);
}

TEST(CFString, GetCStringFillsOrEmptiesTheBuffer) {
  const Owned<CFStringRef> four_bytes = string("aé1");
  for (CFIndex size = 0; size <= 6; ++size) {
    char buffer[8] = "#######";
    const bool fits = size >= 5;
    EXPECT_EQ(CFStringGetCString(four_bytes.get(), buffer, size, kCFStringEncodingUTF8), fits);
    EXPECT_STREQ(buffer, fits ? "aé1" : size == 0 ? "#######" : "");
  }
  char buffer[8] = "#";
  EXPECT_FALSE(CFStringGetCString(four_bytes.get(), buffer, 8, kCFStringEncodingASCII));
  EXPECT_STREQ(buffer, "");
}

TEST(CFString, MaximumSizeStopsAtTheRange) {
  constexpr CFIndex kMax = std::numeric_limits<CFIndex>::max();
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(7, kCFStringEncodingUTF8), 21);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(7, kCFStringEncodingASCII), 7);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kMax / 3, kCFStringEncodingUTF8), kMax / 3 * 3);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kMax / 3 + 1, kCFStringEncodingUTF8), kCFNotFound);
}

TEST(CFString, FindCountsUTF16Units) {
  const struct {
    const char* text;
    const char* wanted;
    CFIndex location;
    CFIndex length;
  } cases[] = {{"abcabc", "ca", 2, 2}, {"😀éx", "éx", 2, 2}, {"a😀", "😀", 1, 2},
               {"abc", "B", -1, 0},    {"abc", "", -1, 0},  {"", "a", -1, 0},
               {"abc", "abcd", -1, 0}, {"abc", "abc", 0, 3}};
  for (const auto& test : cases) {
    const CFRange found =
        CFStringFind(string(test.text).get(), string(test.wanted).get(), /*options=*/0);
    EXPECT_EQ(found.location, test.location) << test.wanted;
    EXPECT_EQ(found.length, test.length) << test.wanted;
  }
}

TEST(CFString, EqualTextsAreEqualAndHashAlike) {
  std::string long_text;
  for (int i = 0; i < 40; ++i) {
    const Owned<CFStringRef> a = string(long_text);
    const Owned<CFStringRef> b = string(long_text);
    long_text += 'x';
    EXPECT_TRUE(CFEqual(a.get(), b.get()));
    EXPECT_EQ(CFHash(a.get()), CFHash(b.get()));
    EXPECT_FALSE(CFEqual(a.get(), string(long_text).get()));
    EXPECT_NE(CFHash(a.get()), CFHash(string(long_text).get()));
  }
  EXPECT_EQ(CFHash(kCFErrorLocalizedDescriptionKey),
            CFHash(string("NSLocalizedDescription").get()));
}

TEST(CFString, ConstantsAreOnePerTextAndImmortal) {
  const std::string same_text = "constant";
  EXPECT_EQ(CFSTR("constant"), __CFStringMakeConstantString(same_text.c_str()));
  EXPECT_NE(CFSTR("constant"), CFSTR("constant "));
  for (int i = 0; i < 3; ++i) CFRelease(CFSTR("constant"));
  EXPECT_EQ(cf::text(CFSTR("constant")), "constant");
}

}  // namespace
