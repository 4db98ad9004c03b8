#include "support/ecid.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "support/device_id.h"
#include "support/serial_number.h"

namespace {

std::string refusal(std::string_view text) {
  try {
    TY::ecid ecid(text);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "accepted";
}

TEST(Ecid, ParsesSixteenDigitsInEitherCaseAndNothingElse) {
  for (std::string_view text : {"00000000000004D2", "00000000000004d2"}) {
    const TY::ecid ecid(text);
    EXPECT_EQ(ecid.number(), 1234u);
    EXPECT_EQ(std::string(ecid), "00000000000004D2");
  }
  EXPECT_EQ(TY::ecid("FfFfFfFfFfFfFfFf").number(), UINT64_MAX);
  for (std::string text : {"", "4D2", "0x000000000004D2", "0x00000000000004D2", "00000000000004D2 ",
                           "000000000000004D2", "00000000000004G2"})
    EXPECT_EQ(refusal(text), "Invalid ECID '" + text + "'");
}

TEST(Ecid, ComparesHashesAndMovesByNumber) {
  EXPECT_LT(TY::ecid(255), TY::ecid("0000000000000100"));
  EXPECT_LT(TY::ecid(1), TY::ecid(0x8000000000000000));
  EXPECT_EQ(TY::ecid(0xabc), TY::ecid("0000000000000ABC"));
  EXPECT_EQ(std::hash<TY::ecid>()(TY::ecid(77)), 77u);

  TY::ecid source(5);
  TY::ecid target(std::move(source));
  EXPECT_EQ(std::string(target), "0000000000000005");
  EXPECT_EQ(source.number(), 0u);
  EXPECT_EQ(std::string(source), "");
}

TEST(Ecid, FormatsAsStringWithQuestionMarksForZero) {
  EXPECT_EQ(fmt::format("{:>18}", TY::ecid(10)), "  000000000000000A");
  EXPECT_EQ(fmt::format("{}", TY::ecid(0)), "????????????????");
  EXPECT_EQ(std::string(TY::ecid(0)), "0000000000000000");

  std::ostringstream stream;
  stream << TY::make_device_id(TY::ecid(0)) << ' ' << TY::make_device_id(TY::ecid(1));
  EXPECT_EQ(stream.str(), "???????????????? 0000000000000001");
}

TEST(SerialNumber, ComparesAsText) {
  const TY::serial_number serial("F2L");
  EXPECT_TRUE(serial == std::string_view("F2L") && std::string_view("F2L") == serial);
  EXPECT_TRUE(serial != TY::serial_number("f2l") && serial < TY::serial_number("f2l"));
}

}  // namespace
