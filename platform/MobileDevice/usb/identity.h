/// Which USB devices are ours, and what is known of one.
#pragma once

#include <libusb.h>

#include <cstdint>

#include "../Backend.h"
#include "sysfs.h"

namespace MobileDevice::usb {

/// Apple's vendor number; see usb.ids.
inline constexpr int kAppleVendor = 0x05AC;

/// DFU or Recovery by the USB product number; Unknown for a product that is none of ours.
AMRestorableDeviceState state_of_product(std::uint16_t product_id);

/// Never asks the device anything.
libusb_device_descriptor descriptor_of(libusb_device* device);

DeviceProperties make_properties(libusb_device* device, const DeviceStrings& strings);

}  // namespace MobileDevice::usb
