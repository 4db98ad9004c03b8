#include "device_strings.h"

#include <algorithm>
#include <array>
#include <fstream>

#include "control_transfer.h"

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
  // Read the number last: it is new at every arrival, so if it is unchanged, the strings are ours.
  if (read_line(folder + "/devnum") != std::to_string(libusb_get_device_address(device))) return {};
  return strings;
}

int read_string_descriptor(libusb_device_handle* opened, std::uint8_t index,
                           std::optional<std::string>& string) {
  if (index == 0) return 0;
  constexpr std::uint16_t kUsEnglish = 0x0409;
  const ControlRequest request = {LIBUSB_ENDPOINT_IN, LIBUSB_REQUEST_GET_DESCRIPTOR,
                                  static_cast<std::uint16_t>(LIBUSB_DT_STRING << 8 | index),
                                  kUsEnglish};
  std::array<std::uint8_t, 255> descriptor;  // length, type, UTF-16LE (USB 2.0, section 9.6.7)
  const int length = control_transfer(opened, request, descriptor);
  if (length < 0) return length;
  if (length < 2 || descriptor[1] != LIBUSB_DT_STRING) return LIBUSB_ERROR_IO;
  std::string text;
  for (std::size_t at = 2; at + 1 < std::min<std::size_t>(length, descriptor[0]); at += 2) {
    const bool ascii = descriptor[at] < 0x80 && descriptor[at + 1] == 0;
    text.push_back(ascii ? static_cast<char>(descriptor[at]) : '?');
  }
  string = text;
  return 0;
}

}  // namespace MobileDevice::usb
