#include "utf8.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

/// The C library's conversion of UTF-8: UTF-16, or nothing if it is damaged.
std::optional<std::u16string> decoded(std::string text) {
  static const std::unique_ptr<void, int (*)(iconv_t)> converter(iconv_open("UTF-16LE", "UTF-8"),
                                                                 iconv_close);
  std::u16string units(text.size(), u'\0');
  char* from = text.data();
  std::size_t from_left = text.size();
  char* to = reinterpret_cast<char*>(units.data());
  std::size_t to_left = 2 * units.size();
  iconv(converter.get(), nullptr, nullptr, nullptr, nullptr);
  if (iconv(converter.get(), &from, &from_left, &to, &to_left) != 0) return std::nullopt;
  units.resize(units.size() - to_left / 2);
  return units;
}

int sign(int value) { return (value > 0) - (value < 0); }

/// Tests every text of up to four bytes at the ends of the relevant ranges, between other bytes,
/// since the functions process eight bytes at a time.
TEST(UTF8, MatchesTheCLibrary) {
  constexpr std::string_view kBytes =
      "A\x7f\x80\x8f\x90\x9f\xa0\xbe\xbf\xc0\xc1\xc2\xdf\xe0\xe1\xec\xed\xee\xef\xf0\xf1\xf3\xf4"
      "\xf5\xff";
  std::vector<std::string> texts = {""};
  std::vector<std::pair<std::string, std::u16string>> valid;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string text = texts[i];
    if (text.size() < 4)
      for (const char byte : kBytes) texts.push_back(text + byte);
    const std::optional<std::u16string> units = decoded(text);
    const std::size_t before = i % 18;
    const std::string padded = std::string(before, 'x') + text + (i % 2 == 0 ? "" : "tail of text");
    ASSERT_EQ(cf::is_valid_utf8(text), units.has_value()) << testing::PrintToString(text);
    ASSERT_EQ(cf::is_valid_utf8(padded), units.has_value()) << testing::PrintToString(padded);
    ASSERT_EQ(cf::ascii_prefix(std::string(before, 'x') + '\x80' + text), before);
    if (!units) continue;
    ASSERT_EQ(cf::utf16_length(padded), units->size() + padded.size() - text.size()) << padded;
    valid.emplace_back(text, *units);
  }
  ASSERT_GT(valid.size(), 100U);
  for (const auto& [a, a_units] : valid) {
    for (const auto& [b, b_units] : valid)
      ASSERT_EQ(sign(cf::compare_utf16(a, b)), sign(a_units.compare(b_units))) << a << ' ' << b;
  }
}

}  // namespace
