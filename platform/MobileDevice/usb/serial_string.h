/// The USB serial string of a device in DFU or Recovery, in which its boot loader identifies it:
/// "CPID:8020 CPRV:11 CPFM:03 SCEP:01 BDID:0E ECID:001A2B3C4D5E6F70 IBFL:3C SRNM:[F2LXXXXXXXXX]".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace MobileDevice::usb {

/// The values of the string; 0 or absent if a value is missing or can't be read.
struct SerialString {
  std::uint64_t ecid = 0;                    ///< ECID
  std::uint32_t chip_id = 0;                 ///< CPID
  std::uint32_t board_id = 0;                ///< BDID
  std::uint32_t fusing_info = 0;             ///< CPFM
  std::optional<std::string> serial_number;  ///< SRNM, none in DFU
};

/// Accepts any text, with tags in any order. Skips unknown tags and damaged values: a value that
/// isn't hexadecimal, is too large for its field, or has no closing bracket. If a tag occurs twice,
/// the first readable value counts.
SerialString parse_serial_string(std::string_view text);

}  // namespace MobileDevice::usb
