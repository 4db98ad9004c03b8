#include <cstdint>

#include "cf_owned.h"
#include "fuzz/round_trip.h"
#include "fuzz/target.h"

namespace {

std::uint64_t big_endian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

/// The marker of the top object of a list that was accepted: its kind in the high four bits.
unsigned top_marker(std::string_view list) {
  const std::string_view trailer = list.substr(list.size() - 32);
  const std::uint64_t size = big_endian(trailer.substr(6, 1));
  const std::uint64_t top = big_endian(trailer.substr(16, 8));
  const std::uint64_t table = big_endian(trailer.substr(24, 8));
  return static_cast<unsigned char>(list[big_endian(list.substr(table + top * size, size))]);
}

CFTypeID type_of(unsigned marker) {
  switch (marker >> 4) {
    case 0x0:
      return CFGetTypeID(marker == 0 ? static_cast<CFTypeRef>(kCFNull) : kCFBooleanTrue);
    case 0x3:
      return CFDateGetTypeID();
    case 0x4:
      return CFDataGetTypeID();
    case 0x5:
    case 0x6:
      return CFStringGetTypeID();
    case 0xa:
      return CFArrayGetTypeID();
    case 0xd:
      return CFDictionaryGetTypeID();
    default:
      return CFNumberGetTypeID();
  }
}

}  // namespace

void fuzz::run(std::string_view input) {
  if (!input.starts_with("bplist0") || input.size() <= 8) return;
  const cf::Owned<CFTypeRef> object = read(input);
  require(object == nullptr || CFGetTypeID(object.get()) == type_of(top_marker(input)),
          "the value is the top object");
  round_trip(input);
}
