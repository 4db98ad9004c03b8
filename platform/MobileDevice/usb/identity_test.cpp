#include "identity.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/support/temporary_directory.h"

namespace MobileDevice::usb {
namespace {

/// What the rule compares the attribute with.
std::string compared_with(const std::string& attribute, const std::string& rule) {
  const std::string start = "ATTR{" + attribute + "}==\"";
  const std::size_t found = rule.find(start);
  if (found == std::string::npos) return "";
  const std::size_t value = found + start.size();
  return rule.substr(value, rule.find('"', value) - value);
}

TEST(Identity, TheUdevRuleNamesExactlyTheProductsThatAreKnown) {
  const std::string rule = read_file(UDEV_RULE);
  EXPECT_EQ(compared_with("idVendor", rule), "05ac");
  static_assert(kAppleVendor == 0x05AC);
  std::string known;
  for (int product = 0; product <= 0xFFFF; ++product) {
    if (state_of_product(static_cast<std::uint16_t>(product)) == kAMRestorableDeviceStateUnknown)
      continue;
    char digits[5];
    std::snprintf(digits, sizeof digits, "%04x", product);
    known += (known.empty() ? "" : "|") + std::string(digits);
  }
  EXPECT_EQ(compared_with("idProduct", rule), known);
}

}  // namespace
}  // namespace MobileDevice::usb
