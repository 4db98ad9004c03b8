#include "identity.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/temporary_directory.h"
#include "text/format.h"

namespace MobileDevice::usb {
namespace {

TEST(Identity, UdevRuleListsKnownProducts) {
  std::string known;
  for (int product = 0; product <= 0xFFFF; ++product) {
    if (state_of_product(static_cast<std::uint16_t>(product)) != kAMRestorableDeviceStateUnknown)
      known += text::format("{}{:04x}", known.empty() ? "" : "|", product);
  }
  const std::string rule = read_file(UDEV_RULE);
  for (const std::string& condition : {text::format("ATTR{{idVendor}}==\"{:04x}\"", kAppleVendor),
                                       "ATTR{idProduct}==\"" + known + "\""})
    EXPECT_NE(rule.find(condition), std::string::npos) << condition;
}

}  // namespace
}  // namespace MobileDevice::usb
