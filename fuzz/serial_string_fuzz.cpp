#include <string>

#include "MobileDevice/usb/serial_string.h"
#include "fuzz/target.h"

void fuzz::run(std::string_view input) {
  const MobileDevice::usb::SerialString parsed = MobileDevice::usb::parse_serial_string(input);
  const auto contains = [input](const std::string& text) {
    return input.find(text) != std::string_view::npos;
  };
  require(!parsed.serial_number || contains("SRNM:[" + *parsed.serial_number + "]"),
          "the string contains the serial number unchanged");
  require(parsed.ecid == 0 || contains("ECID:"), "an ECID has its tag");
}
