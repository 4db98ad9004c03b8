/// Errors of the communication with a device, as MobileDevice's error numbers.
#pragma once

#include <MobileDevice/MobileDevice.h>

#include <optional>
#include <string>

#include "../cf_values.h"

namespace MobileDevice::usb {

// Numbers of this backend: "USB" in ASCII, then a count. No other known error has such a number.
inline constexpr AMRError kAMRUsbFailed{0x55534200};
inline constexpr AMRError kAMRUsbNoPermission{0x55534201};
inline constexpr AMRError kAMRUsbDeviceLeft{0x55534202};
inline constexpr AMRError kAMRUsbRefused{0x55534203};
inline constexpr AMRError kAMRUsbNoAnswer{0x55534204};
inline constexpr AMRError kAMRUsbBusy{0x55534205};
inline constexpr AMRError kAMRUsbOutOfMemory{0x55534206};
inline constexpr AMRError kAMRUsbRestoreNotOffered{0x55534207};

/// The number for a `libusb_error`; success for 0 and above.
AMRError amr_error(int libusb_result);

/// The problem and what a person can do about it; empty for a number of another backend.
std::optional<std::string> usb_error_text(int number);

/// A CFError with a number of this backend and its text.
Owned<CFErrorRef> make_usb_error(AMRError number);

}  // namespace MobileDevice::usb
