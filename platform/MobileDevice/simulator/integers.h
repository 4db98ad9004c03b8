/// Integers in property lists, as numbers or as text.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace MobileDevice::simulator {

/// Decimal, with or without a minus, or hexadecimal behind "0x".
std::optional<std::int64_t> parse_integer(std::string_view text);

/// What a CFNumber holds if that is an integer of the type's range; nullopt for any other value.
std::optional<std::int64_t> integer_in(CFTypeRef value);
std::optional<std::uint64_t> unsigned_integer_in(CFTypeRef value);

}  // namespace MobileDevice::simulator
