#include "string_descriptor.h"

#include <algorithm>
#include <array>

#include "control_transfer.h"

namespace MobileDevice::usb {

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
