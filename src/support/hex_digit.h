#pragma once

namespace TY {

/// Whether `c` is a hexadecimal digit of the C locale.
constexpr bool is_hex_digit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace TY
