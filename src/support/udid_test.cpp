#include "support/udid.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

TEST(Udid, InsertsTheDashIntoTwentyFourCharactersOnly) {
  const struct {
    std::string_view given, kept;
  } cases[] = {
      {"00008030001A2B3C4D5E6F70", "00008030-001A2B3C4D5E6F70"},
      {"00008030-001A2B3C4D5E6F70", "00008030-001A2B3C4D5E6F70"},
      {"00008030-01A2B3C4D5E6F70", "00008030--01A2B3C4D5E6F70"},
      {"abc", "abc"},
      {"", ""},
  };
  for (const auto& [given, kept] : cases) EXPECT_EQ(std::string(TY::udid(given)), kept);
  EXPECT_FALSE(TY::udid(std::string_view("00008030-001a2b3c4d5e6f70")) ==
               TY::udid(std::string_view("00008030-001A2B3C4D5E6F70")));
}

TEST(Udid, RefusesOtherCharactersAndShowsTheNormalisedText) {
  for (std::string text : {"g", "0000 8030", "00008030-001A2B3C4D5E6F7\xc3"}) {
    EXPECT_FALSE(TY::is_udid(text));
    EXPECT_THROW(TY::udid{std::string(text)}, std::invalid_argument);
  }
  try {
    TY::udid(std::string("00008030001A2B3C4D5E6F7G"));
    FAIL();
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "Invalid UDID '00008030-001A2B3C4D5E6F7G'");
  }
}

}  // namespace
