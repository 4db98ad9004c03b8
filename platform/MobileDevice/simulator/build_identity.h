/// The part of a bundle's manifest that is for one device.
#pragma once

#include <string>

#include "../backend.h"
#include "../cf_values.h"

namespace MobileDevice::simulator {

/// `manifest` with just the one of its BuildIdentities whose ApChipID and ApBoardID (numbers, or
/// text as in "0x8020") are the device's. Of several, the first for the restore behaviour
/// ("Erase", "Update") stands; if none is for it, the first.
/// @throws Failure  there is none; `bundle` names the file in the text.
Owned<CFDictionaryRef> personalize(CFPropertyListRef manifest, const DeviceProperties& device,
                                   CFTypeRef restore_behavior, const std::string& bundle);

}  // namespace MobileDevice::simulator
