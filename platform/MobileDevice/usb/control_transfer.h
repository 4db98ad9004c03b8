/// Control transfers that wait for the event loop to complete them.
#pragma once

#include <libusb.h>

#include <cstdint>
#include <span>

namespace MobileDevice::usb {

/// The fields of a control transfer's setup packet except the length (USB 2.0, section 9.3).
struct ControlRequest {
  std::uint8_t request_type;
  std::uint8_t request;
  std::uint16_t value;
  std::uint16_t index;
};

/// Sends or fills `data` within 2 seconds. Blocks, so never call it on the event loop's thread.
/// @return  the bytes transferred, or a `libusb_error`
int control_transfer(libusb_device_handle* opened, const ControlRequest& request,
                     std::span<std::uint8_t> data);

}  // namespace MobileDevice::usb
