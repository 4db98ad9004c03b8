/// The USB devices that this library supports, and their properties.
#pragma once

#include <libusb.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "../backend.h"

namespace MobileDevice::usb {

/// Apple's vendor number; see usb.ids.
inline constexpr int kAppleVendor = 0x05AC;

/// UTF-8 strings of a device; absent if it has none or they can't be read.
struct DeviceStrings {
  std::optional<std::string> serial;
  std::optional<std::string> product;
};

/// DFU or Recovery, by the USB product number; Unknown for an unsupported product.
AMRestorableDeviceState state_of_product(std::uint16_t product_id);

/// Doesn't communicate with the device.
libusb_device_descriptor descriptor_of(libusb_device* device);

/// The hub ports from the root hub to the device; empty for a root hub.
std::vector<std::uint8_t> port_path(libusb_device* device);

DeviceProperties properties_of(libusb_device* device, const DeviceStrings& strings);

}  // namespace MobileDevice::usb
