#include "serial_string.h"

#include <gtest/gtest.h>

#include "text/format.h"

namespace MobileDevice::usb {
namespace {

TEST(SerialString, ReadsValidValuesOnly) {
  const struct {
    const char *text, *read;  // ECID, chip, board and fusing in hexadecimal, serial number
  } cases[] = {
      // From devices: Recovery, DFU, with a security domain first, in another order.
      {"CPID:8020 CPRV:11 CPFM:03 SCEP:01 BDID:0E ECID:001A2B3C4D5E6F70 IBFL:3C "
       "SRNM:[F2LXXXXXXXXX]",
       "1a2b3c4d5e6f70 8020 e 3 F2LXXXXXXXXX"},
      {"CPID:8020 CPRV:11 CPFM:03 SCEP:01 BDID:0E ECID:001A2B3C4D5E6F70 IBFL:3C "
       "SRTG:[Loader-1.0]",
       "1a2b3c4d5e6f70 8020 e 3 none"},
      {"SDOM:01 CPID:8103 CPRV:11 CPFM:03 SCEP:01 BDID:26 ECID:001a2b3c4d5e6f70",
       "1a2b3c4d5e6f70 8103 26 3 none"},
      {"SRNM:[A] ECID:FFFFFFFFFFFFFFFF NEW:[x y] BDID:2", "ffffffffffffffff 0 2 0 A"},
      // Empty.
      {"", "0 0 0 0 none"},
      {"   ", "0 0 0 0 none"},
      {"F2LXXXXXXXXX", "0 0 0 0 none"},
      {"ECID CPID BDID", "0 0 0 0 none"},
      {"ECID: CPID: SRNM: SRNM:[]", "0 0 0 0 none"},
      // Damaged values.
      {"ECID:001A2B3C4D5E6F7 CPID:80", "1a2b3c4d5e6f7 80 0 0 none"},
      {"ECID:1001A2B3C4D5E6F70 CPID:100008020 BDID:0E", "0 0 e 0 none"},
      {"ECID:0x1A CPID:-1 BDID:+2 CPFM:3G", "0 0 0 0 none"},
      {"ECID:[1A] CPID:[8020]", "0 0 0 0 none"},
      {"CPID:8020\tBDID:0E", "0 0 0 0 none"},
      {"CPID:8020 SRNM:[F2LXX ECID:1A", "0 8020 0 0 none"},
      {"SRNM:F2L CPID:8020", "0 8020 0 0 none"},
      // A tag is a whole word outside brackets.
      {"XECID:1A ecid:1A ECIDS:1A", "0 0 0 0 none"},
      {"SRTG:[a ECID:1A] BDID:1", "0 0 1 0 none"},
      {"SRNM:[A]ECID:1A", "1a 0 0 0 A"},
      // Tags that occur twice.
      {"ECID:zz ECID:1A ECID:2B SRNM:[] SRNM:[A] SRNM:[B]", "1a 0 0 0 A"},
  };
  for (const auto& [text, read] : cases) {
    const SerialString parsed = parse_serial_string(text);
    EXPECT_EQ(text::format("{:x} {:x} {:x} {:x} {}", parsed.ecid, parsed.chip_id, parsed.board_id,
                           parsed.fusing_info, parsed.serial_number.value_or("none")),
              read)
        << text;
  }
}

}  // namespace
}  // namespace MobileDevice::usb
