#include "serial_string.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace MobileDevice::usb {
namespace {

/// Removes the next "TAG:value" or "TAG:[value]" from the front. A bracketed value may contain
/// blanks and colons. It keeps its brackets, so that an incomplete one can be recognised.
std::string_view next_word(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const std::size_t bracket = text.find(":[");
  std::size_t end = text.find(' ');
  if (bracket < end) {
    const std::size_t close = text.find(']', bracket);
    end = close == std::string_view::npos ? close : close + 1;
  }
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(word.size());
  return word;
}

template <typename Number>
void read_hexadecimal(std::string_view value, std::optional<Number>& field) {
  Number number = 0;
  const char* const end = value.data() + value.size();
  const std::from_chars_result result = std::from_chars(value.data(), end, number, 16);
  if (!field && result.ec == std::errc() && result.ptr == end) field = number;
}

void read_bracketed(std::string_view value, std::optional<std::string>& field) {
  if (!field && value.size() > 2 && value.front() == '[' && value.back() == ']')
    field = value.substr(1, value.size() - 2);
}

}  // namespace

SerialString parse_serial_string(std::string_view text) {
  std::optional<std::uint64_t> ecid;
  std::optional<std::uint32_t> chip_id;
  std::optional<std::uint32_t> board_id;
  std::optional<std::uint32_t> fusing_info;
  std::optional<std::string> serial_number;
  while (!text.empty()) {
    const std::string_view word = next_word(text);
    const std::size_t colon = word.find(':');
    if (colon == std::string_view::npos) continue;
    const std::string_view tag = word.substr(0, colon);
    const std::string_view value = word.substr(colon + 1);
    if (tag == "ECID") read_hexadecimal(value, ecid);
    if (tag == "CPID") read_hexadecimal(value, chip_id);
    if (tag == "BDID") read_hexadecimal(value, board_id);
    if (tag == "CPFM") read_hexadecimal(value, fusing_info);
    if (tag == "SRNM") read_bracketed(value, serial_number);
  }
  return {ecid.value_or(0), chip_id.value_or(0), board_id.value_or(0), fusing_info.value_or(0),
          serial_number};
}

}  // namespace MobileDevice::usb
