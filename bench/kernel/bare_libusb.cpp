/// A plain libusb program, whose times are compared with the tool's. Prints a line when a device
/// arrives whose serial string contains the argument.
#include <libusb.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

std::vector<libusb_device*> arrivals;

int LIBUSB_CALL on_arrival(libusb_context*, libusb_device* device, libusb_hotplug_event, void*) {
  arrivals.push_back(libusb_ref_device(device));
  return 0;
}

bool is_wanted(libusb_device* device, const char* part) {
  libusb_device_descriptor descriptor;
  libusb_device_handle* handle = nullptr;
  unsigned char serial[256] = "";
  libusb_get_device_descriptor(device, &descriptor);
  if (libusb_open(device, &handle) != 0) return false;
  libusb_get_string_descriptor_ascii(handle, descriptor.iSerialNumber, serial, sizeof serial);
  libusb_close(handle);
  return std::strstr(reinterpret_cast<const char*>(serial), part) != nullptr;
}

}  // namespace

int main(int, char** arguments) {
  constexpr int kApple = 0x05AC;
  libusb_init(nullptr);
  libusb_hotplug_register_callback(nullptr, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED,
                                   LIBUSB_HOTPLUG_ENUMERATE, kApple, LIBUSB_HOTPLUG_MATCH_ANY,
                                   LIBUSB_HOTPLUG_MATCH_ANY, on_arrival, nullptr, nullptr);
  std::fputs("Waiting for device\n", stderr);
  while (true) {
    for (; !arrivals.empty(); arrivals.pop_back()) {
      if (is_wanted(arrivals.back(), arguments[1])) {
        std::puts("found");
        return 0;
      }
    }
    libusb_handle_events(nullptr);
  }
}
