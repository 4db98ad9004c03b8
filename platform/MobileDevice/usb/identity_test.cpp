#include "identity.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <string>

#include "tests/support/temporary_directory.h"

namespace MobileDevice::usb {
namespace {

TEST(Identity, TheUdevRuleNamesExactlyTheProductsThatAreKnown) {
  const std::string rule = read_file(UDEV_RULE);
  std::smatch found;
  ASSERT_TRUE(std::regex_search(
      rule, found,
      std::regex(R"re(ATTR\{idVendor\}=="(\w+)",[^"]*ATTR\{idProduct\}=="([\w|]+)")re")));
  EXPECT_EQ(std::stoi(found[1], nullptr, 16), kAppleVendor);
  std::string known;
  for (int product = 0; product <= 0xFFFF; ++product) {
    if (state_of_product(static_cast<std::uint16_t>(product)) == kAMRestorableDeviceStateUnknown)
      continue;
    char digits[5];
    std::snprintf(digits, sizeof digits, "%04x", product);
    known += (known.empty() ? "" : "|") + std::string(digits);
  }
  EXPECT_EQ(found[2], known);
}

}  // namespace
}  // namespace MobileDevice::usb
