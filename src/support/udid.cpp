#include "support/udid.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "support/hex_digit.h"

namespace TY {

udid::udid(std::string text) : text_(std::move(text)) {
  constexpr std::size_t length_without_dash = 24;
  constexpr std::size_t dash = 8;
  if (text_.size() == length_without_dash) text_.insert(dash, 1, '-');
  if (!is_udid(text_)) throw std::invalid_argument("Invalid UDID '" + text_ + "'");
}

bool is_udid(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c == '-' || is_hex_digit(c); });
}

}  // namespace TY
