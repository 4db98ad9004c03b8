/// Owning handles of libusb objects.
#pragma once

#include <libusb.h>

#include <memory>

namespace MobileDevice::usb {

struct LibusbDeleter {
  void operator()(libusb_context* context) const { libusb_exit(context); }
  void operator()(libusb_device* device) const { libusb_unref_device(device); }
  void operator()(libusb_device_handle* handle) const { libusb_close(handle); }
  void operator()(libusb_transfer* transfer) const { libusb_free_transfer(transfer); }
};

using Context = std::unique_ptr<libusb_context, LibusbDeleter>;
/// While this reference exists, no other device gets the same address.
using DeviceReference = std::shared_ptr<libusb_device>;
using OpenDevice = std::unique_ptr<libusb_device_handle, LibusbDeleter>;
using Transfer = std::unique_ptr<libusb_transfer, LibusbDeleter>;

inline DeviceReference refer_to(libusb_device* device) {
  return DeviceReference(libusb_ref_device(device), LibusbDeleter());
}

}  // namespace MobileDevice::usb
