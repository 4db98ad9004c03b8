#include "device/device_info.h"

#include <gtest/gtest.h>

#include "output/cf_strings.h"
#include "support/cf_type_deleter.h"

namespace korvrestore {
namespace {

TEST(DeviceInfo, HoldsTheDescriptionThatNoCommandAsksFor) {
  const device_info info{TY::ecid(1), 2, 3, 4, 5, 6, 7, {}, {}, "a phone"};
  const cf_mutable_dictionary dictionary(make_cftype(info));
  EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 8);
  EXPECT_EQ(MakeString(static_cast<CFStringRef>(
                CFDictionaryGetValue(dictionary.get(), CFSTR("Description")))),
            "a phone");
}

}  // namespace
}  // namespace korvrestore
