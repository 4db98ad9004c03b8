#include <TY/Math/base16.h>

#include <boost/algorithm/hex.hpp>
#include <iterator>
#include <stdexcept>

namespace TY::Math {

std::string base16_encode(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  boost::algorithm::hex(bytes.begin(), bytes.end(), std::back_inserter(text));
  return text;
}

std::vector<std::uint8_t> base16_decode(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 2);
  try {
    boost::algorithm::unhex(text.begin(), text.end(), std::back_inserter(bytes));
  } catch (const boost::algorithm::hex_decode_error&) {
    throw std::invalid_argument("not pairs of hexadecimal digits");
  }
  return bytes;
}

}  // namespace TY::Math
