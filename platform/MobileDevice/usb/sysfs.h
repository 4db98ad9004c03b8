/// What the kernel has noted about a USB device, read without opening the device: that needs no
/// permission, and a device that hangs can't hold it up.
#pragma once

#include <libusb.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace MobileDevice::usb {

/// UTF-8 strings of a device; absent where it has none or none could be had.
struct DeviceStrings {
  std::optional<std::string> serial;
  std::optional<std::string> product;
};

/// The hub ports from the root hub to the device; empty for a root hub.
std::vector<std::uint8_t> port_path(libusb_device* device);

/// The strings that the kernel read when the device came. None when another device has taken its
/// place by now.
DeviceStrings read_sysfs_strings(libusb_device* device);

}  // namespace MobileDevice::usb
