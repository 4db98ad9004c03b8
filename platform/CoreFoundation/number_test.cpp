#include <CoreFoundation/CFNumber.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "value_test_support.h"

namespace {

using cf::integer;
using cf::number;
using cf::Owned;
using cf::real;

constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t kMaxUnsigned64 = std::numeric_limits<std::uint64_t>::max();
constexpr double kTwoTo63 = 9223372036854775808.0;

Owned<CFNumberRef> unsigned64(std::uint64_t value) { return cf::make_number(value); }

template <typename T>
void expect_value(const Owned<CFNumberRef>& source, CFNumberType type, bool exact, T expected) {
  T value{};
  EXPECT_EQ(CFNumberGetValue(source.get(), type, &value), exact)
      << cf::described(source.get()) << " as " << type;
  EXPECT_EQ(value, expected) << cf::described(source.get()) << " as " << type;
}

TEST(CFNumber, ConvertsAndTellsWhatWasLost) {
  expect_value<SInt8>(integer(300), kCFNumberSInt8Type, false, 44);
  expect_value<SInt8>(integer(128), kCFNumberSInt8Type, true, -128);
  expect_value<SInt8>(integer(255), kCFNumberCharType, true, -1);
  expect_value<SInt8>(integer(256), kCFNumberSInt8Type, false, 0);
  expect_value<SInt8>(integer(-128), kCFNumberSInt8Type, true, -128);
  expect_value<SInt8>(integer(-129), kCFNumberSInt8Type, false, 127);
  expect_value<SInt8>(real(255), kCFNumberSInt8Type, false, -1);
  expect_value<SInt16>(integer(32768), kCFNumberSInt16Type, true, -32768);
  expect_value<SInt16>(integer(65535), kCFNumberShortType, true, -1);
  expect_value<SInt16>(integer(65536), kCFNumberSInt16Type, false, 0);
  expect_value<SInt32>(integer(0xffffffff), kCFNumberSInt32Type, false, -1);
  expect_value<SInt32>(integer(0x7fffffff), kCFNumberIntType, true, 0x7fffffff);
  expect_value<SInt32>(real(1.5), kCFNumberSInt32Type, false, 1);
  expect_value<SInt32>(real(-2.0), kCFNumberSInt32Type, true, -2);
  expect_value<SInt64>(real(1e300), kCFNumberSInt64Type, false, kMax64);
  expect_value<SInt64>(real(-1e300), kCFNumberLongLongType, false, kMin64);
  expect_value<SInt64>(real(-kTwoTo63), kCFNumberLongType, true, kMin64);
  expect_value<SInt64>(real(NAN), kCFNumberCFIndexType, false, 0);
  expect_value<SInt64>(integer(kMin64), kCFNumberNSIntegerType, true, kMin64);
  expect_value<SInt64>(unsigned64(kMaxUnsigned64), kCFNumberSInt64Type, false, -1);
  expect_value<SInt8>(unsigned64(kMaxUnsigned64), kCFNumberSInt8Type, false, -1);
  expect_value<float>(integer((1 << 24) + 1), kCFNumberFloat32Type, false, 1 << 24);
  expect_value<float>(real(0.1), kCFNumberFloatType, false, 0.1F);
  expect_value<float>(real(0.5), kCFNumberFloat32Type, true, 0.5F);
  expect_value<double>(number(kCFNumberFloatType, 0.1F), kCFNumberDoubleType, true, double{0.1F});
  expect_value<double>(integer(kMax64), kCFNumberCGFloatType, false, kTwoTo63);
  expect_value<double>(integer(kMax64 - 1023), kCFNumberFloat64Type, true, kTwoTo63 - 1024);
  expect_value<double>(unsigned64(kMaxUnsigned64), kCFNumberFloat64Type, false, 2 * kTwoTo63);
  expect_value<double>(unsigned64(kMaxUnsigned64 - 2047), kCFNumberFloat64Type, true,
                       2 * kTwoTo63 - 2048);
}

TEST(CFNumber, ShowsItsTypeAndItsValue) {
  const struct {
    Owned<CFNumberRef> number;
    bool is_real;
    std::string description;
    std::string_view text;
  } cases[] = {
      {number(kCFNumberCharType, SInt8{100}), false, "+100, type = kCFNumberSInt8Type", "100"},
      {number(kCFNumberShortType, SInt16{-300}), false, "-300, type = kCFNumberSInt16Type", "-300"},
      {number(kCFNumberIntType, 300), false, "+300, type = kCFNumberSInt32Type", "300"},
      {integer(5), false, "+5, type = kCFNumberSInt32Type", "5"},
      {integer(13), false, "+13, type = kCFNumberSInt64Type", "13"},
      {unsigned64(kMaxUnsigned64), false, "+18446744073709551615, type = kCFNumberSInt128Type",
       "18446744073709551615"},
      {number(kCFNumberFloatType, 0.5F), true, "+0.5000000000, type = kCFNumberFloat32Type", "0.5"},
      {real(1.5), true, "+1.50000000000000000000, type = kCFNumberFloat64Type", "1.5"},
      {real(0.1), true, "+0.10000000000000000555, type = kCFNumberFloat64Type",
       "0.10000000000000001"},
      {real(-INFINITY), true, "-infinity, type = kCFNumberFloat64Type", "-infinity"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(CFNumberIsFloatType(test.number.get()), test.is_real);
    EXPECT_EQ(cf::described(test.number.get()),
              "<CFNumber 0xP [0xP]>{value = " + test.description + "}");
    char buffer[32];
    EXPECT_EQ(cf::number_text(test.number.get(), buffer), test.text);
  }
  EXPECT_NE(cf::described(real(-1.7976931348623157e308).get()).find("e = -179769313486231570"),
            std::string::npos);
  const int value = 1;
  EXPECT_EQ(CFNumberCreate(kCFAllocatorDefault, static_cast<CFNumberType>(99), &value), nullptr);
}

TEST(CFNumber, EqualityIsOfValuesAndHashesFollow) {
  const Owned<CFTypeRef> groups[][3] = {
      {integer(1), real(1), number(kCFNumberSInt8Type, SInt8{1})},
      {integer(-1), real(-1), number(kCFNumberFloatType, -1.0F)},
      {integer(0), real(0.0), real(-0.0)},
      {integer(kMax64), unsigned64(kMax64), integer(kMax64)},
      {integer(kMin64), real(-kTwoTo63), integer(kMin64)},
      {unsigned64(std::uint64_t{1} << 63), real(kTwoTo63), real(kTwoTo63)},
      {unsigned64(kMaxUnsigned64), unsigned64(kMaxUnsigned64), unsigned64(kMaxUnsigned64)},
      {real(2 * kTwoTo63), real(2 * kTwoTo63), number(kCFNumberFloatType, 18446744073709551616.0F)},
      {real(0.5), number(kCFNumberFloatType, 0.5F), real(0.5)},
      {real(NAN), Owned<CFTypeRef>(kCFNumberNaN), number(kCFNumberFloatType, -NAN)},
      {real(INFINITY), Owned<CFTypeRef>(kCFNumberPositiveInfinity), real(INFINITY)},
      {Owned<CFTypeRef>(kCFBooleanTrue), Owned<CFTypeRef>(kCFBooleanTrue),
       Owned<CFTypeRef>(kCFBooleanTrue)},
  };
  for (const auto& group : groups) {
    for (const auto& other : groups) {
      for (const Owned<CFTypeRef>& a : group) {
        for (const Owned<CFTypeRef>& b : other) {
          EXPECT_EQ(CFEqual(a.get(), b.get()), &group == &other)
              << cf::described(a.get()) << cf::described(b.get());
          if (&group == &other) {
            EXPECT_EQ(CFHash(a.get()), CFHash(b.get()));
          }
        }
      }
    }
  }
}

}  // namespace
