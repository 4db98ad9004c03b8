#include "usb_errors.h"

#include <libusb.h>

namespace MobileDevice::usb {

AMRError amr_error(int libusb_result) {
  if (libusb_result >= 0) return kAMRSuccess;
  switch (libusb_result) {
    case LIBUSB_ERROR_ACCESS:
      return kAMRUsbNoPermission;
    case LIBUSB_ERROR_NO_DEVICE:
      return kAMRUsbDeviceLeft;
    case LIBUSB_ERROR_PIPE:
      return kAMRUsbRefused;
    case LIBUSB_ERROR_TIMEOUT:
      return kAMRUsbNoAnswer;
    case LIBUSB_ERROR_BUSY:
      return kAMRUsbBusy;
    case LIBUSB_ERROR_NO_MEM:
      return kAMRUsbOutOfMemory;
    default:
      return kAMRUsbFailed;
  }
}

std::optional<std::string> usb_error_text(int number) {
  switch (number) {
    case kAMRUsbFailed:
      return "USB communication failed; unplug the device, plug it in again and retry";
    case kAMRUsbNoPermission:
      return "No permission to open the device; install the udev rule 70-korvrestore.rules and "
             "plug the device in again";
    case kAMRUsbDeviceLeft:
      return "The device has left; plug it in again and retry";
    case kAMRUsbRefused:
      return "The device refused the command; put it into Recovery again and retry";
    case kAMRUsbNoAnswer:
      return "The device did not answer in time; unplug it, plug it in again and retry";
    case kAMRUsbBusy:
      return "Another program holds the device; end that program and retry";
    case kAMRUsbOutOfMemory:
      return "Out of memory for the USB; end other programs and retry";
    case kAMRUsbRestoreNotOffered:
      return "Restoring over USB is not offered on Linux; restore this device on a Mac";
    default:
      return std::nullopt;
  }
}

Owned<CFErrorRef> make_usb_error(AMRError number) {
  return make_error("MobileDeviceUSB", number, usb_error_text(number).value());
}

}  // namespace MobileDevice::usb
