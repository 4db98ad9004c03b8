/// The strings of a USB device, from the kernel or from the device.
#pragma once

#include <libusb.h>

#include <cstdint>
#include <optional>
#include <string>

#include "identity.h"

namespace MobileDevice::usb {

/// The strings that the kernel read when the device arrived. None if another device has its address
/// by now. Doesn't open the device, so it needs no permission, and a device that hangs can't block
/// it.
DeviceStrings read_sysfs_strings(libusb_device* device);

/// Reads the string `index` of an open device's descriptors in US English. Leaves `string`
/// unchanged if the index is 0, which means none. '?' replaces characters beyond ASCII. Blocks as
/// `control_transfer` does.
/// @return  a `libusb_error`, or 0
int read_string_descriptor(libusb_device_handle* opened, std::uint8_t index,
                           std::optional<std::string>& string);

}  // namespace MobileDevice::usb
