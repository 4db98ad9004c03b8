/// Waits for udev.
#pragma once

#include <libusb.h>

namespace MobileDevice::usb {

/// Waits until udev has processed the arrival of a device, at most 5 seconds; returns at once where
/// no udev runs. Before that the permissions of the device's node are not those of udev's rules,
/// and the kernel may still give the device to another driver, which invalidates all open handles.
void wait_for_udev(libusb_device* device);

}  // namespace MobileDevice::usb
