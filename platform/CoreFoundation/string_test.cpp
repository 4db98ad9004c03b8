#include <limits>

#include "testing/value_test_support.h"
#include "tests/support/table.h"

namespace cf::test {
namespace {

TEST(CFString, RefusesInvalidBytes) {
  for (const Row& row : table("values/strings.txt", 4)) {
    SCOPED_TRACE(row.place);
    const std::string bytes = unescaped(row[0]);
    const Owned<CFStringRef> made(CFStringCreateWithBytes(
        nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()),
        static_cast<CFStringEncoding>(std::stoul(row[1], nullptr, 0)), row[2] == "outside"));
    EXPECT_EQ(made == nullptr
                  ? "none"
                  : text(made.get()) + " (" + std::to_string(CFStringGetLength(made.get())) + ')',
              unescaped(row[3]));
  }
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, nullptr, -1, kCFStringEncodingUTF8, false), nullptr);
  EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorDefault, "\xff", kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorNull, "x", kCFStringEncodingUTF8), nullptr);
}

TEST(CFString, GetCStringEmptiesBufferOnFailure) {
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

TEST(CFString, MaximumSizeHasAnUpperBound) {
  constexpr CFIndex kMax = std::numeric_limits<CFIndex>::max();
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(7, kCFStringEncodingUTF8), 21);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(7, kCFStringEncodingASCII), 7);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kMax / 3, kCFStringEncodingUTF8), kMax / 3 * 3);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kMax / 3 + 1, kCFStringEncodingUTF8), kCFNotFound);
}

TEST(CFString, FindCountsUTF16Units) {
  for (const Row& row : table("values/find.txt", 3)) {
    SCOPED_TRACE(row.place);
    const CFRange found = CFStringFind(string(row[0]).get(), string(row[1]).get(), 0);
    EXPECT_EQ(std::to_string(found.location) + '+' + std::to_string(found.length), row[2]);
  }
}

TEST(CFString, ConstantsAreSharedAndImmortal) {
  const std::string same_text = "constant";
  EXPECT_EQ(CFSTR("constant"), __CFStringMakeConstantString(same_text.c_str()));
  EXPECT_NE(CFSTR("constant"), CFSTR("constant "));
  for (int i = 0; i < 3; ++i) CFRelease(CFSTR("constant"));
  EXPECT_EQ(text(CFSTR("constant")), "constant");
}

}  // namespace
}  // namespace cf::test
