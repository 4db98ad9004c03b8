#include "utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

/// The number of bytes after the lead byte `lead`, and the range of the first of them. The narrow
/// ranges exclude overlong forms, surrogates and characters beyond U+10FFFF.
struct Sequence {
  int continuations;
  unsigned char low;
  unsigned char high;
};

constexpr Sequence sequence_of(unsigned char lead) noexcept {
  if (lead >= 0xc2 && lead <= 0xdf) return {1, 0x80, 0xbf};
  if (lead == 0xe0) return {2, 0xa0, 0xbf};
  if (lead == 0xed) return {2, 0x80, 0x9f};
  if (lead >= 0xe1 && lead <= 0xef) return {2, 0x80, 0xbf};
  if (lead == 0xf0) return {3, 0x90, 0xbf};
  if (lead >= 0xf1 && lead <= 0xf3) return {3, 0x80, 0xbf};
  if (lead == 0xf4) return {3, 0x80, 0x8f};
  return {0, 0, 0};
}

constexpr bool is_continuation(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

/// A lead byte's rank in the order of UTF-16 units: surrogate pairs, whose lead bytes are 0xF0 and
/// up, are before U+E000..U+FFFF, whose lead bytes are 0xEE and 0xEF.
constexpr int utf16_rank(char byte) noexcept {
  const int value = static_cast<unsigned char>(byte);
  return value == 0xee || value == 0xef ? value + 0x10 : value;
}

}  // namespace

std::size_t cf::ascii_prefix(std::string_view text) noexcept {
  constexpr std::size_t kWord = sizeof(std::uint64_t);
  const auto word_at = [text](std::size_t at) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + at, sizeof word);
    return word;
  };
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::size_t at = 0;
  for (; text.size() - at >= 4 * kWord; at += 4 * kWord) {
    const std::uint64_t words =
        word_at(at) | word_at(at + kWord) | word_at(at + 2 * kWord) | word_at(at + 3 * kWord);
    if ((words & kHighBits) != 0) break;
  }
  while (text.size() - at >= kWord && (word_at(at) & kHighBits) == 0) at += kWord;
  // The last word overlaps the one before.
  if (at != 0 && text.size() - at < kWord && (word_at(text.size() - kWord) & kHighBits) == 0)
    return text.size();
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at;
}

bool cf::is_valid_utf8(std::string_view text) noexcept {
  for (;;) {
    text.remove_prefix(ascii_prefix(text));
    if (text.empty()) return true;
    const Sequence sequence = sequence_of(static_cast<unsigned char>(text[0]));
    const std::size_t size = static_cast<std::size_t>(sequence.continuations) + 1;
    if (size == 1 || text.size() < size) return false;
    const unsigned char second = static_cast<unsigned char>(text[1]);
    if (second < sequence.low || second > sequence.high) return false;
    if (!std::all_of(text.begin() + 2, text.begin() + static_cast<std::ptrdiff_t>(size),
                     is_continuation))
      return false;
    text.remove_prefix(size);
  }
}

std::size_t cf::utf16_length(std::string_view text) noexcept {
  constexpr std::size_t kBlock = 64;  // a fixed size lets the compiler use vectors
  const auto units_of = [](char byte) {
    return static_cast<unsigned char>(!is_continuation(byte)) +
           static_cast<unsigned char>(static_cast<unsigned char>(byte) >= 0xf0);
  };
  std::size_t units = ascii_prefix(text);
  text.remove_prefix(units);
  for (; text.size() >= kBlock; text.remove_prefix(kBlock)) {
    unsigned char of_block = 0;
    for (std::size_t i = 0; i < kBlock; ++i)
      of_block = static_cast<unsigned char>(of_block + units_of(text[i]));
    units += of_block;
  }
  for (const char byte : text) units += static_cast<std::size_t>(units_of(byte));
  return units;
}

int cf::compare_utf16(std::string_view a, std::string_view b) noexcept {
  const std::size_t common = std::min(a.size(), b.size());
  const char* const end = a.data() + common;
  const auto [in_a, in_b] = std::mismatch(a.data(), end, b.data());
  if (in_a != end) return utf16_rank(*in_a) - utf16_rank(*in_b);
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}
