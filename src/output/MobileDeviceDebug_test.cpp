#include "output/MobileDeviceDebug.h"

#include <gtest/gtest.h>

namespace korvrestore {
namespace {

TEST(MobileDeviceDebugDeathTest, WantsAnOutput) {
  EXPECT_DEATH(print_imp_AMRLocalizedCopyStringForAMROperation(nullptr),
               "MobileDeviceDebug:16:  print_imp_AMRLocalizedCopyStringForAMROperation Assertion "
               "output failed\\.");
  EXPECT_DEATH(print_imp_AMRLocalizedCopyStringForAMRError(nullptr),
               "MobileDeviceDebug:32:  print_imp_AMRLocalizedCopyStringForAMRError Assertion "
               "output failed\\.");
}

}  // namespace
}  // namespace korvrestore
