/// Base64 (RFC 4648) in the <data> elements of property lists.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "data_buffer.h"

namespace cf {

/// The length of `size` bytes in base64, padded.
constexpr std::size_t base64_length(std::size_t size) { return (size + 2) / 3 * 4; }

/// Writes base64_length(bytes.size()) characters to `out`.
void encode_base64(std::span<const unsigned char> bytes, char* out);

/// Decodes text in pieces, with white space anywhere.
class Base64Decoder {
 public:
  /// False if the text contains a character that isn't allowed there.
  bool feed(std::string_view text);
  /// Ends the text; `bytes` then has all bytes. False if the text ended inside a group or had the
  /// wrong padding.
  bool finish();

  DataBuffer bytes;

 private:
  std::uint32_t group_ = 0;
  int digits_ = 0;
  int padding_ = 0;
};

}  // namespace cf
