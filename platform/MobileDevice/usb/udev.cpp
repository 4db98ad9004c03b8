#include "udev.h"

#include <libudev.h>
#include <sys/sysmacros.h>

#include <chrono>
#include <memory>
#include <thread>

namespace MobileDevice::usb {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kTimeout(5);
constexpr std::chrono::milliseconds kInterval(10);

struct LibudevDeleter {
  void operator()(udev* context) const { udev_unref(context); }
  void operator()(udev_queue* queue) const { udev_queue_unref(queue); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
};

/// The number of the device's node; see the kernel's Documentation/admin-guide/devices.txt.
dev_t node_number(libusb_device* device) {
  constexpr unsigned int kUsbMajor = 189;
  constexpr unsigned int kDevicesPerBus = 128;
  return makedev(kUsbMajor, (libusb_get_bus_number(device) - 1u) * kDevicesPerBus +
                                libusb_get_device_address(device) - 1u);
}

bool is_processed(udev* context, udev_queue* queue, dev_t number) {
  if (!udev_queue_get_queue_is_empty(queue)) return false;
  const std::unique_ptr<udev_device, LibudevDeleter> known(
      udev_device_new_from_devnum(context, 'c', number));
  return !known || udev_device_get_is_initialized(known.get());  // without it, it has left
}

}  // namespace

void wait_for_udev(libusb_device* device) {
  const std::unique_ptr<udev, LibudevDeleter> context(udev_new());
  if (!context) return;
  const std::unique_ptr<udev_queue, LibudevDeleter> queue(udev_queue_new(context.get()));
  if (!queue || !udev_queue_get_udev_is_active(queue.get())) return;
  const auto deadline = steady_clock::now() + kTimeout;
  while (!is_processed(context.get(), queue.get(), node_number(device)) &&
         steady_clock::now() < deadline)
    std::this_thread::sleep_for(kInterval);
}

}  // namespace MobileDevice::usb
