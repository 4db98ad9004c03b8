#include "device/mobile_device_format.h"

#include <gtest/gtest.h>

namespace korvrestore {
namespace {

TEST(Formatters, NameMobileDeviceNumbers) {
  std::string texts;
  for (int state = -1; state <= 5; ++state)
    texts += fmt::format("{:>9}|", AMRestorableDeviceState{state});
  EXPECT_EQ(texts,
            "<invalid device state -1>|  Unknown|      DFU| Recovery|RestoreOS| BootedOS|"
            "<invalid device state 5>|");
  EXPECT_EQ(
      fmt::format("{} {} {}", AMRestorableDeviceNotificationType{0},
                  AMRestorableDeviceNotificationType{1}, AMRestorableDeviceNotificationType{2}),
      "connected disconnected <invalid notification type 2>");
}

}  // namespace
}  // namespace korvrestore
