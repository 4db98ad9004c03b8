#include "serial_string.h"

#include <gtest/gtest.h>

namespace MobileDevice::usb {
namespace {

struct Case {
  const char* text;
  SerialString expected;
};

TEST(SerialString, ReadsWhatIsWholeAndSkipsTheRest) {
  const std::uint64_t ecid = 0x001A2B3C4D5E6F70;
  const Case cases[] = {
      // As devices send it: Recovery, DFU, with a security domain first, in another order.
      {"CPID:8020 CPRV:11 CPFM:03 SCEP:01 BDID:0E ECID:001A2B3C4D5E6F70 IBFL:3C "
       "SRNM:[F2LXXXXXXXXX]",
       {ecid, 0x8020, 0x0E, 3, "F2LXXXXXXXXX"}},
      {"CPID:8020 CPRV:11 CPFM:03 SCEP:01 BDID:0E ECID:001A2B3C4D5E6F70 IBFL:3C "
       "SRTG:[Loader-1.0]",
       {ecid, 0x8020, 0x0E, 3, std::nullopt}},
      {"SDOM:01 CPID:8103 CPRV:11 CPFM:03 SCEP:01 BDID:26 ECID:001a2b3c4d5e6f70",
       {ecid, 0x8103, 0x26, 3, std::nullopt}},
      {"SRNM:[A] ECID:FFFFFFFFFFFFFFFF NEW:[x y] BDID:2", {~0ULL, 0, 2, 0, "A"}},
      // Nothing in it.
      {"", {}},
      {"   ", {}},
      {"F2LXXXXXXXXX", {}},
      {"ECID CPID BDID", {}},
      {"ECID: CPID: SRNM: SRNM:[]", {}},
      // Damaged values.
      {"ECID:001A2B3C4D5E6F7 CPID:80", {0x001A2B3C4D5E6F7, 0x80, 0, 0, std::nullopt}},
      {"ECID:1001A2B3C4D5E6F70 CPID:100008020 BDID:0E", {0, 0, 0x0E, 0, std::nullopt}},
      {"ECID:0x1A CPID:-1 BDID:+2 CPFM:3G", {}},
      {"ECID:[1A] CPID:[8020]", {}},
      {"CPID:8020\tBDID:0E", {}},
      {"CPID:8020 SRNM:[F2LXX ECID:1A", {0, 0x8020, 0, 0, std::nullopt}},
      {"SRNM:F2L CPID:8020", {0, 0x8020, 0, 0, std::nullopt}},
      // A tag is a whole word outside brackets.
      {"XECID:1A ecid:1A ECIDS:1A", {}},
      {"SRTG:[a ECID:1A] BDID:1", {0, 0, 1, 0, std::nullopt}},
      {"SRNM:[A]ECID:1A", {0x1A, 0, 0, 0, "A"}},
      // Twice.
      {"ECID:zz ECID:1A ECID:2B SRNM:[] SRNM:[A] SRNM:[B]", {0x1A, 0, 0, 0, "A"}},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.text);
    const SerialString parsed = parse_serial_string(test.text);
    EXPECT_EQ(parsed.ecid, test.expected.ecid);
    EXPECT_EQ(parsed.chip_id, test.expected.chip_id);
    EXPECT_EQ(parsed.board_id, test.expected.board_id);
    EXPECT_EQ(parsed.fusing_info, test.expected.fusing_info);
    EXPECT_EQ(parsed.serial_number, test.expected.serial_number);
  }
}

}  // namespace
}  // namespace MobileDevice::usb
