/// Strings asked of the device itself.
#pragma once

#include <libusb.h>

#include <cstdint>
#include <optional>
#include <string>

namespace MobileDevice::usb {

/// Asks an open device for the string `index` of its descriptors in US English; leaves `string`
/// as it is if the index is 0, which stands for none. '?' replaces what is not ASCII. Blocks as
/// `control_transfer` does.
/// @return  a `libusb_error`, or 0
int read_string_descriptor(libusb_device_handle* opened, std::uint8_t index,
                           std::optional<std::string>& string);

}  // namespace MobileDevice::usb
