#include "sysfs.h"

#include <fstream>
#include <optional>
#include <string>

namespace MobileDevice::usb {
namespace {

/// The folder's name is bus and port path, as in "2-1.3"; see sysfs-bus-usb in the kernel's
/// Documentation/ABI.
std::string sysfs_folder(libusb_device* device) {
  std::string path = "/sys/bus/usb/devices/" + std::to_string(libusb_get_bus_number(device));
  char separator = '-';
  for (const std::uint8_t port : port_path(device)) {
    path += separator + std::to_string(port);
    separator = '.';
  }
  return path;
}

std::optional<std::string> read_line(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line)) return std::nullopt;
  return line;
}

}  // namespace

DeviceStrings read_sysfs_strings(libusb_device* device) {
  const std::string folder = sysfs_folder(device);
  DeviceStrings strings = {read_line(folder + "/serial"), read_line(folder + "/product")};
  // The number last: it is new for every plug, so if it is ours still, the strings are ours too.
  if (read_line(folder + "/devnum") != std::to_string(libusb_get_device_address(device))) return {};
  return strings;
}

}  // namespace MobileDevice::usb
