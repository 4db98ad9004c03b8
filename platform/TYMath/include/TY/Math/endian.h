/// Numbers as bytes.
#pragma once

#include <cstdint>

namespace TY::Math {

/// Writes the eight bytes of `value` through `out`, the most significant one first, and returns
/// the advanced iterator.
template <typename OutputIterator>
OutputIterator serialise_to_big_endian(std::uint64_t value, OutputIterator out) {
  for (int shift = 56; shift >= 0; shift -= 8) *out++ = static_cast<std::uint8_t>(value >> shift);
  return out;
}

}  // namespace TY::Math
