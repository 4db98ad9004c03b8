#include <cmath>

#include "testing/value_test_support.h"
#include "tests/support/table.h"

namespace cf::test {
namespace {

Owned<CFTypeRef> set_of(std::vector<const void*> values, const CFSetCallBacks* callbacks) {
  const CFIndex count = static_cast<CFIndex>(values.size());
  return Owned<CFTypeRef>(CFSetCreate(nullptr, values.data(), count, callbacks));
}

Owned<CFErrorRef> error(CFStringRef domain, CFIndex code, CFTypeRef info = nullptr) {
  return Owned<CFErrorRef>(
      CFErrorCreate(nullptr, domain, code, static_cast<CFDictionaryRef>(info)));
}

TEST(Values, EqualValuesHaveEqualHashes) {
  std::vector<std::vector<Owned<CFTypeRef>>> groups;
  for (const Row& row : table("values/equal.txt", kAnyNumber, " | ")) {
    SCOPED_TRACE(row.place);
    groups.emplace_back();
    for (const std::string& text : row.columns) {
      groups.back().push_back(parse(text).object);
      ASSERT_NE(groups.back().back(), nullptr) << text;
    }
  }
  const auto add = [&groups](auto... objects) {
    groups.emplace_back();
    (groups.back().push_back(std::move(objects)), ...);
  };
  const Owned<CFDictionaryRef> info = object_dictionary({{CFSTR("key"), CFSTR("value")}});
  add(error(CFSTR("D"), 1), error(string("D").get(), 1));
  add(error(CFSTR("D"), 2));
  add(error(CFSTR("E"), 1));
  add(error(CFSTR("D"), 1, info.get()), error(CFSTR("D"), 1, info.get()));
  add(string("NSLocalizedFailureReason"), Owned<CFTypeRef>(kCFErrorLocalizedFailureReasonKey));
  add(set_of({integer(20).get(), CFSTR("a")}, &kCFTypeSetCallBacks),
      set_of({CFSTR("a"), real(20).get(), integer(20).get()}, &kCFTypeSetCallBacks));

  std::vector<std::pair<const void*, CFTypeRef>> all;
  for (const auto& group : groups)
    for (const Owned<CFTypeRef>& object : group) all.emplace_back(&group, object.get());
  for (const auto& [group, a] : all) {
    for (const auto& [other, b] : all) {
      EXPECT_EQ(CFEqual(a, b), group == other) << described(a) << described(b);
      if (group == other) {
        EXPECT_EQ(CFHash(a), CFHash(b)) << described(a);
      }
    }
  }
}

/// Values that no property list can contain.
TEST(Values, ZerosAndConstantsAreEqual) {
  const Owned<CFDateRef> zero(CFDateCreate(nullptr, 0.0));
  const Owned<CFDateRef> negative_zero(CFDateCreate(nullptr, -0.0));
  const Owned<CFNumberRef> reals[] = {real(-NAN), real(INFINITY), real(-INFINITY)};
  const std::pair<CFTypeRef, CFTypeRef> pairs[] = {
      {zero.get(), negative_zero.get()},
      {reals[0].get(), kCFNumberNaN},
      {reals[1].get(), kCFNumberPositiveInfinity},
      {reals[2].get(), kCFNumberNegativeInfinity},
  };
  for (const auto& [a, b] : pairs) {
    EXPECT_TRUE(CFEqual(a, b)) << described(b);
    EXPECT_EQ(CFHash(a), CFHash(b)) << described(b);
  }
}

TEST(Values, DescriptionsMatchTable) {
  for (const Row& row : table("values/described.txt", 2)) {
    SCOPED_TRACE(row.place);
    EXPECT_EQ(described(parse(row[0]).object.get()), unescaped(row[1]));
  }
  EXPECT_NE(described(real(-1.7976931348623157e308).get()).find("e = -179769313486231570"),
            std::string::npos);
  EXPECT_EQ(described(set_of({reinterpret_cast<const void*>(0x10)}, nullptr).get()),
            "<CFBasicHash 0xP [0xP]>{type = immutable set, count = 1,\nentries =>\n"
            "\t0 : <0x10>\n}\n");
  EXPECT_TRUE(described(object_dictionary().get())
                  .starts_with("<CFBasicHash 0xP [0xP]>{type = mutable dict, count = 0,\n"));
  EXPECT_EQ(CFCopyDescription(nullptr), nullptr);
}

TEST(CFNumber, ReportsLossyConversions) {
  for (const Row& row : table("values/converted.txt", 2)) {
    SCOPED_TRACE(row.place);
    const std::vector<std::string> given = split(row[0], " as ");
    const Owned<CFTypeRef> source = parse(given.at(0)).object;
    const CFNumberType type = static_cast<CFNumberType>(std::stoi(given.at(1)));
    std::int64_t value = 0;
    const bool exact = CFNumberGetValue(static_cast<CFNumberRef>(source.get()), type, &value);
    const Owned<CFNumberRef> converted = number(type, value);
    EXPECT_EQ(converted == nullptr ? "no such type"
                                   : (exact ? "exact " : "inexact ") + described(converted.get()),
              row[1]);
  }
}

TEST(CFError, TextsMatchTable) {
  for (const Row& row : table("values/errors.txt", 4)) {
    SCOPED_TRACE(row.place);
    const Owned<CFErrorRef> made = error(CFSTR("D"), 42, parse(row[0]).object.get());
    const Owned<CFStringRef> description(CFErrorCopyDescription(made.get()));
    const Owned<CFStringRef> reason(CFErrorCopyFailureReason(made.get()));
    EXPECT_EQ(text(description.get()), row[1]);
    EXPECT_EQ(text(reason.get()), row[2]);
    EXPECT_EQ(described(made.get()), "Error Domain=D Code=42 " + row[3]);
  }
}

TEST(CFError, CopiesUserInfo) {
  const Owned<CFMutableDictionaryRef> info = object_dictionary({{CFSTR("key"), CFSTR("value")}});
  const Owned<CFErrorRef> made = error(CFSTR("D"), 1, info.get());
  CFDictionarySetValue(info.get(), CFSTR("key"), kCFNull);
  const Owned<CFDictionaryRef> kept(CFErrorCopyUserInfo(made.get()));
  EXPECT_EQ(CFDictionaryGetValue(kept.get(), CFSTR("key")), CFSTR("value"));
  const Owned<CFDictionaryRef> empty(CFErrorCopyUserInfo(error(CFSTR("D"), 1).get()));
  EXPECT_EQ(CFDictionaryGetCount(empty.get()), 0);
}

TEST(CFData, BorrowsBytesOnlyWithNullDeallocator) {
  const UInt8 bytes[] = {1, 2, 3};
  const Owned<CFDataRef> reference(
      CFDataCreateWithBytesNoCopy(nullptr, bytes, 3, kCFAllocatorNull));
  EXPECT_EQ(CFDataGetBytePtr(reference.get()), bytes);
  EXPECT_EQ(CFDataCreateWithBytesNoCopy(nullptr, bytes, 3, kCFAllocatorDefault), nullptr);
}

}  // namespace
}  // namespace cf::test
