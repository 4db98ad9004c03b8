#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "support/device_id.h"
#include "support/ecid.h"
#include "support/serial_number.h"
#include "support/udid.h"
#include "text/format.h"

namespace {

using namespace std::string_view_literals;

/// The exception text of creating an identifier from `text`.
template <typename Identifier>
std::string refusal(std::string_view text) {
  try {
    Identifier made{text};
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "accepted";
}

TEST(Ecid, ParsesExactlySixteenDigits) {
  const TY::ecid ecid("00000000000004d2"sv);
  EXPECT_EQ(ecid.number(), 1234u);
  EXPECT_EQ(std::string(ecid), "00000000000004D2");
  EXPECT_EQ(TY::ecid("FfFfFfFfFfFfFfFf").number(), UINT64_MAX);
  EXPECT_EQ(refusal<TY::ecid>("000000000000004D2"), "Invalid ECID '000000000000004D2'");
}

TEST(Ecid, ComparesByNumber) {
  EXPECT_LT(TY::ecid(1), TY::ecid(0x8000000000000000));
  EXPECT_FALSE(TY::ecid(2) < TY::ecid(1));
  EXPECT_EQ(TY::ecid(0xabc), TY::ecid("0000000000000ABC"));
  EXPECT_EQ(std::hash<TY::ecid>()(TY::ecid(77)), 77u);
}

TEST(Ecid, MoveEmptiesSource) {
  TY::ecid first(5), second(std::move(first)), third(6);
  third = std::move(second);
  EXPECT_EQ(std::string(third), "0000000000000005");
  EXPECT_EQ(third.number(), 5u);
  for (const TY::ecid* source : {&first, &second}) {
    EXPECT_EQ(source->number(), 0u);
    EXPECT_EQ(std::string(*source), "");
  }
}

TEST(Ecid, FormatsZeroAsQuestionMarks) {
  EXPECT_EQ(text::format("{:>18}", TY::ecid(10)), "  000000000000000A");
  EXPECT_EQ(std::string(TY::ecid(0)), "0000000000000000");
  std::ostringstream stream;
  stream << TY::make_device_id(TY::ecid(0)) << ' ' << TY::make_device_id(TY::ecid(1));
  EXPECT_EQ(stream.str(), "???????????????? 0000000000000001");
}

TEST(Udid, InsertsDashInTwentyFourCharacters) {
  const struct {
    std::string_view given, kept;
  } cases[] = {
      {"00008030001A2B3C4D5E6F70", "00008030-001A2B3C4D5E6F70"},
      {"00008030-001A2B3C4D5E6F70", "00008030-001A2B3C4D5E6F70"},
      {"00008030-01A2B3C4D5E6F70", "00008030--01A2B3C4D5E6F70"},
      {"abc", "abc"},
  };
  for (const auto& [given, kept] : cases) EXPECT_EQ(std::string(TY::udid(given)), kept);
  for (std::string text : {"g", "0000 8030", "00008030-001A2B3C4D5E6F7\xc3"})
    EXPECT_EQ(refusal<TY::udid>(text), "Invalid UDID '" + text + "'");
  EXPECT_EQ(refusal<TY::udid>("00008030001A2B3C4D5E6F7G"),
            "Invalid UDID '00008030-001A2B3C4D5E6F7G'");
}

template <typename Identifier>
void expect_compared_as_text() {
  const Identifier upper("A"sv), lower("a"sv);
  EXPECT_TRUE(upper == Identifier("A"sv) && upper != lower);
  EXPECT_TRUE(upper < lower && !(lower < upper) && !(upper < upper));
  EXPECT_EQ(std::hash<Identifier>()(upper), std::hash<std::string_view>()("A"));
}

TEST(Identifiers, CompareAsText) {
  expect_compared_as_text<TY::udid>();
  expect_compared_as_text<TY::serial_number>();
  EXPECT_TRUE(TY::serial_number("F2L") == "F2L"sv && "F2L"sv == TY::serial_number("F2L"));
  const TY::device_id upper("A"), lower("a");
  EXPECT_TRUE(upper < lower && !(lower < upper) && upper != lower);
}

}  // namespace
