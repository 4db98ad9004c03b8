// Feeds the parser whatever a device might send. Run it as `serial_string_fuzz -max_total_time=60`.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "serial_string.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const MobileDevice::usb::SerialString parsed = MobileDevice::usb::parse_serial_string(text);
  // Whatever is reported stands in the string as it was sent.
  if (parsed.serial_number && text.find("SRNM:[" + *parsed.serial_number + "]") == text.npos)
    std::abort();
  if (parsed.ecid != 0 && text.find("ECID:") == text.npos) std::abort();
  return 0;
}
