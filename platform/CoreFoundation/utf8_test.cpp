#include "utf8.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

std::string encoded(char32_t c) {
  const auto byte = [](char32_t value) { return static_cast<char>(value); };
  if (c < 0x80) return {byte(c)};
  if (c < 0x800) return {byte(0xc0 | c >> 6), byte(0x80 | (c & 0x3f))};
  if (c < 0x10000)
    return {byte(0xe0 | c >> 12), byte(0x80 | (c >> 6 & 0x3f)), byte(0x80 | (c & 0x3f))};
  return {byte(0xf0 | c >> 18), byte(0x80 | (c >> 12 & 0x3f)), byte(0x80 | (c >> 6 & 0x3f)),
          byte(0x80 | (c & 0x3f))};
}

std::u16string units(char32_t c) {
  if (c < 0x10000) return {static_cast<char16_t>(c)};
  return {static_cast<char16_t>(0xd7c0 + (c >> 10)), static_cast<char16_t>(0xdc00 | (c & 0x3ff))};
}

int sign(int value) { return (value > 0) - (value < 0); }

TEST(UTF8, EveryCodePointButSurrogatesIsValid) {
  for (char32_t c = 0; c < 0x110400; ++c) {
    const bool is_scalar = c < 0xd800 || (c > 0xdfff && c < 0x110000);
    ASSERT_EQ(cf::is_valid_utf8(encoded(c)), is_scalar) << std::hex << static_cast<unsigned>(c);
    if (is_scalar) {
      ASSERT_EQ(cf::utf16_length(encoded(c)), units(c).size());
    }
  }
}

TEST(UTF8, DamageIsFoundWhereverItStands) {
  constexpr std::array damaged = {"\x80",
                                  "\xbf",
                                  "\xc0\x80",
                                  "\xc1\xbf",
                                  "\xc3",
                                  "\xc3\x28",
                                  "\xe0\x9f\xbf",
                                  "\xe2\x82",
                                  "\xe2\x28\xac",
                                  "\xe2\x82\x28",
                                  "\xed\xa0\x80",
                                  "\xf0\x8f\xbf\xbf",
                                  "\xf0\x9f\x98",
                                  "\xf0\x9f\x98\x28",
                                  "\xf0\x9f\x28\x80",
                                  "\xf4\x90\x80\x80",
                                  "\xf5\x80\x80\x80",
                                  "\xff",
                                  "\xfe"};
  for (const std::string bytes : damaged) {
    for (std::size_t before = 0; before < 18; ++before) {
      const std::string head(before, 'x');
      EXPECT_FALSE(cf::is_valid_utf8(head + bytes)) << bytes;
      EXPECT_FALSE(cf::is_valid_utf8(head + bytes + "tail of text")) << bytes;
      EXPECT_EQ(cf::ascii_prefix(head + bytes), before);
    }
  }
}

TEST(UTF8, ComparesAsUTF16) {
  constexpr std::array<char32_t, 11> kSamples = {0x1,    0x41,   0x80,    0x7ff,   0x800,   0xd7ff,
                                                 0xe000, 0xffe6, 0x10000, 0x1f600, 0x10ffff};
  std::vector<std::pair<std::string, std::u16string>> texts = {{"", u""}};
  for (const char32_t first : kSamples) {
    texts.emplace_back(encoded(first), units(first));
    for (const char32_t second : kSamples)
      texts.emplace_back(encoded(first) + encoded(second), units(first) + units(second));
  }
  for (const auto& [a, a_units] : texts)
    for (const auto& [b, b_units] : texts)
      ASSERT_EQ(sign(cf::compare_utf16(a, b)), sign(a_units.compare(b_units))) << a << ' ' << b;
}

}  // namespace
