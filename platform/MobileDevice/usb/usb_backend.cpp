#include "usb_backend.h"

#include <system_error>
#include <thread>
#include <utility>

#include "../cf_values.h"
#include "../device_backend.h"
#include "identity.h"
#include "usb_errors.h"

namespace MobileDevice {
namespace usb {
namespace {

/// Reads the missing strings from the device. Blocks.
/// @return  the `libusb_error` of the first string that can't be read, or 0
int ask_missing(libusb_device* device, DeviceStrings& strings) {
  libusb_device_handle* opened = nullptr;
  if (const int error = libusb_open(device, &opened); error != 0) return error;
  const OpenDevice owner(opened);
  const libusb_device_descriptor descriptor = descriptor_of(device);
  int error = 0;
  if (!strings.serial)
    error = read_string_descriptor(opened, descriptor.iSerialNumber, strings.serial);
  if (error == 0 && !strings.product)
    error = read_string_descriptor(opened, descriptor.iProduct, strings.product);
  return error;
}

}  // namespace

Owned<CFErrorRef> UsbBackend::start(Listener& listener) {
  listener_ = &listener;
  libusb_context* context = nullptr;
  if (const int error = libusb_init(&context); error != 0) return make_usb_error(amr_error(error));
  loop_ = std::make_shared<EventLoop>(Context(context));
  const int error = libusb_hotplug_register_callback(
      context, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT,
      LIBUSB_HOTPLUG_ENUMERATE, kAppleVendor, LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY,
      on_hotplug, this, /*callback_handle=*/nullptr);
  if (error != 0) return make_usb_error(amr_error(error));
  loop_->run_posted();
  std::thread([loop = loop_] { loop->run(); }).detach();
  return nullptr;
}

std::optional<std::string> UsbBackend::error_text(int number) const {
  return usb_error_text(number);
}

int UsbBackend::on_hotplug(libusb_context*, libusb_device* device, libusb_hotplug_event event,
                           void* self) noexcept {
  if (state_of_product(descriptor_of(device).idProduct) == kAMRestorableDeviceStateUnknown)
    return 0;
  UsbBackend* const backend = static_cast<UsbBackend*>(self);
  backend->loop_->post([backend, event, reference = refer_to(device)] {
    if (event == LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED) {
      backend->arrived(reference);
    } else {
      backend->departed(reference);
    }
  });
  return 0;
}

void UsbBackend::arrived(const DeviceReference& device) {
  // A device that arrives during the registration is reported twice.
  if (!present_.emplace(device, nullptr).second) return;
  const DeviceStrings strings = read_sysfs_strings(device.get());
  const libusb_device_descriptor descriptor = descriptor_of(device.get());
  const bool complete = (strings.serial || descriptor.iSerialNumber == 0) &&
                        (strings.product || descriptor.iProduct == 0);
  if (complete) {
    identified(device, strings);
  } else {
    ask(device, strings);
  }
}

/// Uses a new thread, so that a device that hangs doesn't delay others.
void UsbBackend::ask(const DeviceReference& device, const DeviceStrings& strings) {
  try {
    std::thread([this, device, strings] {
      DeviceStrings asked = strings;
      if (ask_missing(device.get(), asked) == LIBUSB_ERROR_NO_DEVICE) return;
      loop_->post([this, device, asked] { identified(device, asked); });
    }).detach();
  } catch (const std::system_error&) {  // no thread
    identified(device, strings);
  }
}

void UsbBackend::identified(const DeviceReference& device, const DeviceStrings& strings) {
  const auto found = present_.find(device);
  if (found == present_.end()) return;  // it has left meanwhile
  found->second =
      std::make_shared<UsbAttachment>(device, properties_of(device.get(), strings), loop_);
  listener_->attached(found->second);
}

void UsbBackend::departed(const DeviceReference& device) {
  const auto found = present_.find(device);
  if (found == present_.end()) return;
  const std::shared_ptr<UsbAttachment> left = std::move(found->second);
  present_.erase(found);
  if (!left) return;
  left->mark_left();
  listener_->detached(left);
}

}  // namespace usb

std::unique_ptr<Backend> make_device_backend() { return std::make_unique<usb::UsbBackend>(); }

}  // namespace MobileDevice
