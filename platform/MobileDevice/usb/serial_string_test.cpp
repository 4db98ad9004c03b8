#include "serial_string.h"

#include <gtest/gtest.h>

#include "tests/support/table.h"
#include "text/format.h"

namespace MobileDevice::usb {
namespace {

TEST(SerialString, ReadsValidValuesOnly) {
  for (const Row& row : table("serial_strings.txt", 2)) {
    SCOPED_TRACE(row.place);
    const SerialString parsed = parse_serial_string(unescaped(row[0]));
    EXPECT_EQ(text::format("{:x} {:x} {:x} {:x} {}", parsed.ecid, parsed.chip_id, parsed.board_id,
                           parsed.fusing_info, parsed.serial_number.value_or("none")),
              row[1]);
  }
}

}  // namespace
}  // namespace MobileDevice::usb
