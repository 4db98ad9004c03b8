/// The library's numbers of restore operations and errors. Their texts are in front/texts.cpp.
/// Where a number of the macOS framework is known, ours is the same; the others are our own.
#pragma once

#include <MobileDevice/MobileDevice.h>

namespace MobileDevice {

/// The value of "Operation" in status reports.
enum Operation : int {
  kOperationEnd = 0,  // of the whole restore, with progress 100
  kOperationCheckBundle = 1,
  kOperationPersonalizeBundle = 2,
  kOperationEnterRestoreMode = 9,
  kOperationCreateFileSystems = 10,
  kOperationSendSystem = 11,
  kOperationVerifySystem = 12,
  kOperationUpdateFirmware = 13,
  kOperationRestart = 14,
};

inline constexpr AMRError kAMRInvalidArgument{1};
inline constexpr AMRError kAMRInternalError{2};
inline constexpr AMRError kAMRLogFileNotOpened{3};
inline constexpr AMRError kAMRDeviceLeft{4};
inline constexpr AMRError kAMRCommandRefused{5};

}  // namespace MobileDevice
