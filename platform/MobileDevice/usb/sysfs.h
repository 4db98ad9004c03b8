/// What the kernel has noted about a USB device, read without opening the device: that needs no
/// permission, and a device that hangs can't hold it up.
#pragma once

#include <libusb.h>

#include "identity.h"

namespace MobileDevice::usb {

/// The strings that the kernel read when the device came. None when another device has taken its
/// place by now.
DeviceStrings read_sysfs_strings(libusb_device* device);

}  // namespace MobileDevice::usb
