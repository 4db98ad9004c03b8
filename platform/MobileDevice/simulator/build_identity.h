/// The part of a bundle's manifest that is for one device.
#pragma once

#include <string>

#include "../backend.h"
#include "../cf_values.h"

namespace MobileDevice::simulator {

/// `manifest` with only one of its BuildIdentities: one whose ApChipID and ApBoardID (numbers, or
/// text such as "0x8020") equal the device's. If several do, it keeps the first one for the restore
/// behaviour ("Erase", "Update"), or the first of all if none is for that behaviour.
/// @throws Failure  there is none; the text names the file `bundle`.
Owned<CFDictionaryRef> personalize(CFPropertyListRef manifest, const DeviceProperties& device,
                                   CFTypeRef restore_behavior, const std::string& bundle);

}  // namespace MobileDevice::simulator
