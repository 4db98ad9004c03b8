#include <string>

#include "MobileDevice/usb/serial_string.h"
#include "fuzz/target.h"

void fuzz::run(std::string_view input) {
  const MobileDevice::usb::SerialString parsed = MobileDevice::usb::parse_serial_string(input);
  const auto stands = [input](const std::string& text) {
    return input.find(text) != std::string_view::npos;
  };
  require(!parsed.serial_number || stands("SRNM:[" + *parsed.serial_number + "]"),
          "the serial number stands in the string as it was sent");
  require(parsed.ecid == 0 || stands("ECID:"), "an ECID has its tag");
}
