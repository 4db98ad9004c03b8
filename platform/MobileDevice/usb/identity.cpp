#include "identity.h"

#include <array>

#include "serial_string.h"

namespace MobileDevice::usb {
namespace {

/// A port number above 15 doesn't fit its digit: only its lowest four bits are kept.
std::uint32_t location_id(libusb_device* device) {
  std::uint32_t location = std::uint32_t{libusb_get_bus_number(device)} << 24;
  int shift = 20;
  for (const std::uint8_t port : port_path(device)) {
    if (shift < 0) break;
    location |= (port & 0xFu) << shift;
    shift -= 4;
  }
  return location;
}

}  // namespace

AMRestorableDeviceState state_of_product(std::uint16_t product_id) {
  switch (product_id) {
    case 0x1222:
    case 0x1227:
      return kAMRestorableDeviceStateDFU;
    case 0x1280:
    case 0x1281:
    case 0x1282:
    case 0x1283:
      return kAMRestorableDeviceStateRecovery;
    default:
      return kAMRestorableDeviceStateUnknown;
  }
}

libusb_device_descriptor descriptor_of(libusb_device* device) {
  libusb_device_descriptor descriptor;
  libusb_get_device_descriptor(device, &descriptor);  // can't fail: libusb holds a copy
  return descriptor;
}

std::vector<std::uint8_t> port_path(libusb_device* device) {
  std::array<std::uint8_t, 7> ports;  // USB allows seven tiers
  const int count = libusb_get_port_numbers(device, ports.data(), static_cast<int>(ports.size()));
  return {ports.begin(), ports.begin() + (count > 0 ? count : 0)};
}

DeviceProperties properties_of(libusb_device* device, const DeviceStrings& strings) {
  const SerialString serial = parse_serial_string(strings.serial.value_or(""));
  DeviceProperties properties;
  properties.ecid = serial.ecid;
  properties.product_id = descriptor_of(device).idProduct;
  properties.state = state_of_product(properties.product_id);
  properties.board_id = serial.board_id;
  properties.chip_id = serial.chip_id;
  properties.fusing_info = serial.fusing_info;
  properties.location_id = location_id(device);
  properties.serial_number = serial.serial_number;
  properties.product_string = strings.product;
  return properties;
}

}  // namespace MobileDevice::usb
