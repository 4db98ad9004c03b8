/// Which USB devices are ours, and what is known of one.
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

/// UTF-8 strings of a device; absent where it has none or none could be had.
struct DeviceStrings {
  std::optional<std::string> serial;
  std::optional<std::string> product;
};

/// DFU or Recovery by the USB product number; Unknown for a product that is none of ours.
AMRestorableDeviceState state_of_product(std::uint16_t product_id);

/// Never asks the device anything.
libusb_device_descriptor descriptor_of(libusb_device* device);

/// The hub ports from the root hub to the device; empty for a root hub.
std::vector<std::uint8_t> port_path(libusb_device* device);

DeviceProperties properties_of(libusb_device* device, const DeviceStrings& strings);

}  // namespace MobileDevice::usb
