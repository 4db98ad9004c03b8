/// The strings of a USB device, from the kernel or from the device.
#pragma once

#include <libusb.h>

#include <cstdint>
#include <optional>
#include <string>

#include "identity.h"

namespace MobileDevice::usb {

/// The strings that the kernel read when the device came. None when another device has taken its
/// place by now. Doesn't open the device: that needs no permission, and a device that hangs can't
/// block it.
DeviceStrings read_sysfs_strings(libusb_device* device);

/// Asks an open device for the string `index` of its descriptors in US English; leaves `string`
/// as it is if the index is 0, which stands for none. '?' replaces what is not ASCII. Blocks as
/// `control_transfer` does.
/// @return  a `libusb_error`, or 0
int read_string_descriptor(libusb_device_handle* opened, std::uint8_t index,
                           std::optional<std::string>& string);

}  // namespace MobileDevice::usb
