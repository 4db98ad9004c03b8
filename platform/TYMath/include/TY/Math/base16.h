/// Bytes as hexadecimal text.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#pragma GCC visibility push(default)
namespace TY::Math {

/// Two upper-case digits for each byte, in order.
std::string base16_encode(std::span<const std::uint8_t> bytes);

/// The bytes of pairs of hexadecimal digits in either case.
/// @throws std::invalid_argument  an odd length, or a character that isn't a digit.
std::vector<std::uint8_t> base16_decode(std::string_view text);

}  // namespace TY::Math
#pragma GCC visibility pop
