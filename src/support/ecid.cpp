#include "support/ecid.h"

#include <TY/Math/base16.h>
#include <TY/Math/endian.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "support/hex_digit.h"

namespace TY {
namespace {

std::string canonical_text(std::uint64_t value) {
  std::array<std::uint8_t, 8> bytes;
  Math::serialise_to_big_endian(value, bytes.begin());
  return Math::base16_encode(bytes);
}

}  // namespace

ecid::ecid(unsigned long long value) noexcept : value(value), text(canonical_text(value)) {}

ecid::ecid(std::string_view text) : ecid(dataFromECIDString(text)) {}

ecid::ecid(ecid&& other) noexcept
    : value(std::exchange(other.value, 0)), text(std::exchange(other.text, {})) {}

ecid& ecid::operator=(ecid&& other) noexcept {
  if (this != &other) {
    value = std::exchange(other.value, 0);
    text = std::exchange(other.text, {});
  }
  return *this;
}

bool is_ecid(std::string_view text) {
  return text.size() == 16 && std::all_of(text.begin(), text.end(), is_hex_digit);
}

std::uint64_t dataFromECIDString(std::string_view text) {
  if (!is_ecid(text)) throw std::invalid_argument("Invalid ECID '" + std::string(text) + "'");
  std::uint64_t value = 0;
  for (std::uint8_t byte : Math::base16_decode(text)) value = value << 8 | byte;
  return value;
}

}  // namespace TY
