#include "utf16.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace cf {
namespace {

bool is_surrogate(char32_t unit) { return (unit & 0xF800) == 0xD800; }
bool is_trail(char32_t unit) { return (unit & 0xFC00) == 0xDC00; }

char continuation(char32_t bits) { return static_cast<char>(0x80 | (bits & 0x3F)); }

/// Writes one character; returns where the next one goes, up to four bytes on.
inline char* write_character(char* out, char32_t character) {
  if (character < 0x80) {
    out[0] = static_cast<char>(character);
    return out + 1;
  }
  if (character < 0x800) {
    out[0] = static_cast<char>(0xC0 | character >> 6);
    out[1] = continuation(character);
    return out + 2;
  }
  if (character < 0x10000) {
    out[0] = static_cast<char>(0xE0 | character >> 12);
    out[1] = continuation(character >> 6);
    out[2] = continuation(character);
    return out + 3;
  }
  out[0] = static_cast<char>(0xF0 | character >> 18);
  out[1] = continuation(character >> 12);
  out[2] = continuation(character >> 6);
  out[3] = continuation(character);
  return out + 4;
}

template <ByteOrder kOrder>
std::uint16_t unit_at(const char* bytes) {
  constexpr ByteOrder kNative =
      std::endian::native == std::endian::big ? ByteOrder::kBigEndian : ByteOrder::kLittleEndian;
  std::uint16_t unit;
  std::memcpy(&unit, bytes, sizeof unit);
  return kOrder == kNative ? unit : static_cast<std::uint16_t>(unit << 8 | unit >> 8);
}

template <ByteOrder kOrder>
std::size_t size_in_utf8(std::string_view utf16) {
  constexpr std::size_t kBlock = 64;  // a fixed size lets the compiler use vectors
  const auto size_of = [](const char* bytes) {
    const std::uint16_t unit = unit_at<kOrder>(bytes);
    return static_cast<std::uint16_t>(1 + (unit >= 0x80) + (unit >= 0x800) - is_surrogate(unit));
  };
  std::size_t size = 0;
  for (; utf16.size() >= kBlock; utf16.remove_prefix(kBlock)) {
    std::uint16_t of_block = 0;
    for (std::size_t i = 0; i < kBlock; i += 2)
      of_block = static_cast<std::uint16_t>(of_block + size_of(utf16.data() + i));
    size += of_block;
  }
  for (; utf16.size() >= 2; utf16.remove_prefix(2)) size += size_of(utf16.data());
  return size;
}

template <ByteOrder kOrder>
bool convert(std::string_view utf16, char* out) {
  for (; utf16.size() >= 2; utf16.remove_prefix(2)) {
    char32_t character = unit_at<kOrder>(utf16.data());
    if (is_surrogate(character)) {
      if (is_trail(character) || utf16.size() < 4) return false;
      utf16.remove_prefix(2);
      const char32_t trail = unit_at<kOrder>(utf16.data());
      if (!is_trail(trail)) return false;
      character = 0x10000 + ((character - 0xD800) << 10) + (trail - 0xDC00);
    }
    out = write_character(out, character);
  }
  return utf16.empty();
}

}  // namespace

void append_utf8(std::string& text, char32_t character) {
  std::array<char, 4> buffer;
  text.append(buffer.data(), write_character(buffer.data(), character));
}

std::size_t utf8_size(std::string_view utf16, ByteOrder order) {
  return order == ByteOrder::kBigEndian ? size_in_utf8<ByteOrder::kBigEndian>(utf16)
                                        : size_in_utf8<ByteOrder::kLittleEndian>(utf16);
}

bool write_utf8(std::string_view utf16, ByteOrder order, char* out) {
  return order == ByteOrder::kBigEndian ? convert<ByteOrder::kBigEndian>(utf16, out)
                                        : convert<ByteOrder::kLittleEndian>(utf16, out);
}

}  // namespace cf
