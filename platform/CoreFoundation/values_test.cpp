#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <array>

#include "value_test_support.h"

namespace {

using cf::Owned;
using cf::string;

Owned<CFMutableDictionaryRef> user_info(
    std::initializer_list<std::pair<CFStringRef, CFTypeRef>> pairs) {
  Owned<CFMutableDictionaryRef> info(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  for (const auto& [key, value] : pairs) CFDictionarySetValue(info.get(), key, value);
  return info;
}

TEST(CFError, Texts) {
  const CFStringRef debug_key = CFSTR("NSDebugDescription");
  const struct {
    Owned<CFMutableDictionaryRef> info;
    std::string description;
    std::string reason;
    std::string shown;
  } cases[] = {
      {nullptr, "The operation couldn’t be completed. (D error 42.)", "(null)",
       "\"The operation couldn’t be completed. (D error 42.)\""},
      {user_info({{kCFErrorLocalizedFailureReasonKey, CFSTR("Broken.")}}),
       "The operation couldn’t be completed. Broken.", "Broken.",
       "\"The operation couldn’t be completed. Broken.\" "
       "UserInfo={NSLocalizedFailureReason=Broken.}"},
      {user_info({{kCFErrorLocalizedDescriptionKey, CFSTR("text")},
                  {kCFErrorLocalizedFailureReasonKey, CFSTR("Broken.")}}),
       "text", "Broken.",
       "\"text\" UserInfo={NSLocalizedDescription=text, NSLocalizedFailureReason=Broken.}"},
      {user_info({{debug_key, CFSTR("why")}, {CFSTR("n"), cf::integer(7).get()}}),
       "The operation couldn’t be completed. (D error 42.)", "(null)",
       "\"why\" UserInfo={NSDebugDescription=why, n=7}"},
      {user_info({{kCFErrorLocalizedDescriptionKey, kCFNull}}),
       "The operation couldn’t be completed. (D error 42.)", "(null)",
       "\"The operation couldn’t be completed. (D error 42.)\" "
       "UserInfo={NSLocalizedDescription=<CFNull 0xP [0xP]>}"},
  };
  for (const auto& test : cases) {
    const Owned<CFErrorRef> error(
        CFErrorCreate(kCFAllocatorDefault, CFSTR("D"), 42, test.info.get()));
    const Owned<CFStringRef> description(CFErrorCopyDescription(error.get()));
    const Owned<CFStringRef> reason(CFErrorCopyFailureReason(error.get()));
    EXPECT_EQ(cf::text(description.get()), test.description);
    EXPECT_EQ(cf::text(reason.get()), test.reason);
    EXPECT_EQ(cf::described(error.get()), "Error Domain=D Code=42 " + test.shown);
  }
}

TEST(CFError, KeepsItsOwnUserInfo) {
  const Owned<CFStringRef> domain = string("domain");
  const Owned<CFMutableDictionaryRef> info = user_info({{CFSTR("key"), CFSTR("value")}});
  {
    const Owned<CFErrorRef> error(CFErrorCreate(kCFAllocatorDefault, domain.get(), -1, info.get()));
    const Owned<CFErrorRef> same(CFErrorCreate(kCFAllocatorDefault, domain.get(), -1, info.get()));
    CFDictionarySetValue(info.get(), CFSTR("key"), kCFNull);
    const Owned<CFDictionaryRef> kept(CFErrorCopyUserInfo(error.get()));
    EXPECT_EQ(CFDictionaryGetValue(kept.get(), CFSTR("key")), CFSTR("value"));
    EXPECT_EQ(CFErrorGetDomain(error.get()), domain.get());
    EXPECT_TRUE(CFEqual(error.get(), same.get()));
    EXPECT_EQ(CFHash(error.get()), CFHash(same.get()));
    const Owned<CFErrorRef> other(CFErrorCreate(kCFAllocatorDefault, domain.get(), -1, info.get()));
    EXPECT_FALSE(CFEqual(error.get(), other.get()));
  }
  const Owned<CFErrorRef> bare(CFErrorCreate(kCFAllocatorDefault, CFSTR("D"), 1, nullptr));
  const Owned<CFDictionaryRef> empty(CFErrorCopyUserInfo(bare.get()));
  EXPECT_EQ(CFDictionaryGetCount(empty.get()), 0);
}

TEST(CFData, CopiesOrRefers) {
  std::array<UInt8, 30> bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<UInt8>(i * 7 + 1);
  const Owned<CFDataRef> copy(CFDataCreate(kCFAllocatorDefault, bytes.data(), 3));
  const Owned<CFDataRef> reference(
      CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, bytes.data(), 3, kCFAllocatorNull));
  EXPECT_EQ(CFDataGetBytePtr(reference.get()), bytes.data());
  EXPECT_TRUE(CFEqual(copy.get(), reference.get()));
  EXPECT_EQ(CFHash(copy.get()), CFHash(reference.get()));
  EXPECT_EQ(cf::described(copy.get()),
            "<CFData 0xP [0xP]>{length = 3, capacity = 3, bytes = 0x01080f}");
  bytes[0] = 0;
  EXPECT_FALSE(CFEqual(copy.get(), reference.get()));
  EXPECT_EQ(CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, bytes.data(), 3, kCFAllocatorDefault),
            nullptr);
  const Owned<CFDataRef> at_limit(CFDataCreate(kCFAllocatorDefault, bytes.data(), 24));
  EXPECT_EQ(cf::described(at_limit.get()).find(" ... "), std::string::npos);
  const Owned<CFDataRef> past_limit(CFDataCreate(kCFAllocatorDefault, bytes.data(), 25));
  EXPECT_EQ(cf::described(past_limit.get()),
            "<CFData 0xP [0xP]>{length = 25, capacity = 25, bytes = "
            "0x00080f161d242b323940474e555c636a ... 787f868d949ba2a9}");
  const Owned<CFDataRef> empty(CFDataCreate(kCFAllocatorDefault, nullptr, 0));
  EXPECT_EQ(CFDataGetLength(empty.get()), 0);
}

TEST(CFDate, EqualityAndDescription) {
  const Owned<CFDateRef> date(CFDateCreate(kCFAllocatorDefault, 1.25));
  const Owned<CFDateRef> same(CFDateCreate(kCFAllocatorDefault, 1.25));
  const Owned<CFDateRef> zero(CFDateCreate(kCFAllocatorDefault, 0.0));
  const Owned<CFDateRef> negative_zero(CFDateCreate(kCFAllocatorDefault, -0.0));
  EXPECT_TRUE(CFEqual(date.get(), same.get()));
  EXPECT_TRUE(CFEqual(zero.get(), negative_zero.get()));
  EXPECT_EQ(CFHash(zero.get()), CFHash(negative_zero.get()));
  EXPECT_FALSE(CFEqual(date.get(), zero.get()));
  EXPECT_EQ(cf::described(date.get()), "<CFDate 0xP [0xP]>{time = 1.25}");
  EXPECT_EQ(cf::described(zero.get()), "<CFDate 0xP [0xP]>{time = 0}");
}

TEST(Constants, Descriptions) {
  EXPECT_EQ(cf::described(kCFBooleanFalse), "<CFBoolean 0xP [0xP]>{value = false}");
  EXPECT_EQ(cf::described(kCFNull), "<CFNull 0xP [0xP]>");
  EXPECT_EQ(cf::described(CFSTR("a\"b")), "<CFString 0xP [0xP]>{contents = \"a\"b\"}");
  EXPECT_EQ(CFCopyDescription(nullptr), nullptr);
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
  EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
}

}  // namespace
