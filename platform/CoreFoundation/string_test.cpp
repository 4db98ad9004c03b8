#include <CoreFoundation/CFString.h>
#include <gtest/gtest.h>

#include <limits>

#include "table_test_support.h"
#include "value_test_support.h"

namespace {

using cf::Owned;
using cf::string;
using namespace std::string_view_literals;

TEST(CFString, IsMadeOfValidBytesOnly) {
  constexpr CFStringEncoding kUTF16 = 0x100;
  const struct {
    std::string_view bytes;
    CFStringEncoding encoding;
    bool is_external;
    std::string_view expected;
    CFIndex length;
  } cases[] = {
      {"", kCFStringEncodingUTF8, false, "", 0},
      {"plain", kCFStringEncodingASCII, false, "plain", 5},
      {"a\0b"sv, kCFStringEncodingUTF8, false, "a\0b"sv, 3},
      {"é", kCFStringEncodingASCII, false, "(null)", -1},
      {"é😀", kCFStringEncodingUTF8, false, "é😀", 3},
      {"\xc3", kCFStringEncodingUTF8, false, "(null)", -1},
      {"\ufeffx", kCFStringEncodingUTF8, true, "x", 1},
      {"\ufeffx", kCFStringEncodingUTF8, false, "\ufeffx", 2},
      {"x", kUTF16, false, "(null)", -1},
  };
  for (const auto& [bytes, encoding, is_external, expected, length] : cases) {
    const UInt8* const begin = reinterpret_cast<const UInt8*>(bytes.data());
    const Owned<CFStringRef> made(CFStringCreateWithBytes(
        nullptr, begin, static_cast<CFIndex>(bytes.size()), encoding, is_external));
    EXPECT_EQ(cf::text(made.get()), expected);
    EXPECT_EQ(made == nullptr ? -1 : CFStringGetLength(made.get()), length) << bytes;
  }
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, nullptr, -1, kCFStringEncodingUTF8, false), nullptr);
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
  for (const std::vector<std::string>& line : cf::test::table("values/find.txt")) {
    const CFRange found = CFStringFind(string(line.at(0)).get(), string(line.at(1)).get(), 0);
    EXPECT_EQ(std::to_string(found.location) + '+' + std::to_string(found.length), line.at(2))
        << line.at(1);
  }
}

TEST(CFString, ConstantsAreOnePerTextAndImmortal) {
  const std::string same_text = "constant";
  EXPECT_EQ(CFSTR("constant"), __CFStringMakeConstantString(same_text.c_str()));
  EXPECT_NE(CFSTR("constant"), CFSTR("constant "));
  for (int i = 0; i < 3; ++i) CFRelease(CFSTR("constant"));
  EXPECT_EQ(cf::text(CFSTR("constant")), "constant");
}

}  // namespace
