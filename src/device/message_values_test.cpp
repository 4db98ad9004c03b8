/// Values and texts that are used in messages but not reachable from a scenario.
#include <gtest/gtest.h>

#include "device/device_info.h"
#include "device/mobile_device_format.h"
#include "driver/error.h"
#include "output/cf_strings.h"
#include "text/format.h"

namespace korvrestore {
namespace {

TEST(MessageValues, DeviceInfoOmitsAbsentValues) {
  const device_info info{TY::ecid(1), 2, 3, 4, 5, 6, 7, {}, {}, "a phone"};
  const cf_mutable_dictionary dictionary(make_cftype(info));
  const void* description = CFDictionaryGetValue(dictionary.get(), CFSTR("Description"));
  EXPECT_EQ(MakeString(static_cast<CFStringRef>(description)), "a phone");
}

TEST(MessageValues, NumbersHaveTexts) {
  std::string texts;
  for (int state = -1; state <= 5; ++state)
    texts += text::format("{:>9}|", AMRestorableDeviceState{state});
  for (int type = 0; type <= 2; ++type)
    texts += text::format("{}|", AMRestorableDeviceNotificationType{type});
  EXPECT_EQ(texts,
            "<invalid device state -1>|  Unknown|      DFU| Recovery|RestoreOS| BootedOS|"
            "<invalid device state 5>|connected|disconnected|<invalid notification type 2>|");
}

TEST(MessageValues, EveryErrorCodeHasDescription) {
  for (const auto& [code, text] :
       {std::pair(-1, "Unknown error"), {0, "No error"}, {8, "Read error"}, {9, "Unknown error"}}) {
    const cf_error error = CreateDomainError(Error{code}, "");
    EXPECT_EQ(MakeString(cf_string(CFErrorCopyDescription(error.get())).get()), text);
  }
  EXPECT_EQ(GetCode(nullptr), 0);
}

}  // namespace
}  // namespace korvrestore
