#include "usb_attachment.h"

#include <chrono>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "../status_report.h"
#include "control_transfer.h"
#include "device_strings.h"
#include "identity.h"
#include "serial_string.h"
#include "udev.h"
#include "usb_errors.h"

namespace MobileDevice::usb {
namespace {

constexpr std::chrono::seconds kDepartureTimeout(2);
/// Both modes have it; claiming it excludes other programs.
constexpr int kCommandInterface = 0;

/// Sends a command of the boot loader's console, with its NUL, as a vendor request.
/// @return  a `libusb_error`, or 0
int send_command(libusb_device_handle* opened, std::string_view command) {
  std::vector<std::uint8_t> data(command.begin(), command.end());
  data.push_back(0);
  constexpr std::uint8_t kVendorRequestToDevice = 0x40;
  const int result = control_transfer(opened, {kVendorRequestToDevice, 0, 0, 0}, data);
  return result < 0 ? result : 0;
}

/// Results of the reboot command if the device disconnects at once: the device is gone, refuses or
/// doesn't answer, or its answer is incomplete, which is an I/O error.
bool may_have_obeyed(int libusb_error) {
  return libusb_error == LIBUSB_ERROR_NO_DEVICE || libusb_error == LIBUSB_ERROR_PIPE ||
         libusb_error == LIBUSB_ERROR_TIMEOUT || libusb_error == LIBUSB_ERROR_IO;
}

}  // namespace

UsbAttachment::UsbAttachment(DeviceReference device, DeviceProperties properties,
                             std::shared_ptr<EventLoop> loop)
    : device_(std::move(device)), properties_(std::move(properties)), loop_(std::move(loop)) {}

bool UsbAttachment::takes_recovery_commands() const {
  return properties_.state == kAMRestorableDeviceStateRecovery;
}

AMRError UsbAttachment::set_auto_boot(bool on) {
  OpenDevice opened;
  int error = open_checked(opened);
  if (error == 0)
    error = send_command(opened.get(), on ? "setenv auto-boot true" : "setenv auto-boot false");
  if (error == 0) error = send_command(opened.get(), "saveenv");
  return amr_error(error);
}

AMRError UsbAttachment::reboot() {
  OpenDevice opened;
  if (const int error = open_checked(opened); error != 0) return amr_error(error);
  const int error = send_command(opened.get(), "reboot");
  opened.reset();
  if (error != 0 && may_have_obeyed(error) && leaves_in_time()) return kAMRSuccess;
  return amr_error(error);
}

void UsbAttachment::restore(CFDictionaryRef, StatusReceiver receiver) {
  loop_->post([receiver = std::move(receiver)] {
    const Owned<CFErrorRef> error = make_usb_error(kAMRUsbRestoreNotOffered);
    receiver(make_failure_report(error.get()).get());
  });
}

void UsbAttachment::mark_left() {
  const std::lock_guard<std::mutex> lock(mutex_);
  left_ = true;
  departure_.notify_all();
}

/// Opens the device, checks that it is this one, and excludes other programs. Another device may
/// have got its address before it was opened, but not after. So sysfs now describes the opened
/// device, or a later one at the same address; in that case the opened device has left and accepts
/// no transfers.
int UsbAttachment::open_checked(OpenDevice& owner) {
  wait_for_udev(device_.get());
  libusb_device_handle* opened = nullptr;
  if (const int error = libusb_open(device_.get(), &opened); error != 0) {
    // An I/O error may mean that the device leaves: the kernel has to wake it to open it.
    return error == LIBUSB_ERROR_IO && leaves_in_time() ? LIBUSB_ERROR_NO_DEVICE : error;
  }
  owner.reset(opened);
  std::optional<std::string> serial = read_sysfs_strings(device_.get()).serial;
  if (!serial) {
    const std::uint8_t index = descriptor_of(device_.get()).iSerialNumber;
    if (const int error = read_string_descriptor(opened, index, serial); error != 0) return error;
  }
  if (parse_serial_string(serial.value_or("")).ecid != properties_.ecid)
    return LIBUSB_ERROR_NO_DEVICE;
  // A device without a configuration has no interface to claim.
  const int error = libusb_claim_interface(opened, kCommandInterface);
  return error == LIBUSB_ERROR_NOT_FOUND ? 0 : error;
}

bool UsbAttachment::leaves_in_time() {
  std::unique_lock<std::mutex> lock(mutex_);
  return departure_.wait_for(lock, kDepartureTimeout, [this] { return left_; });
}

}  // namespace MobileDevice::usb
