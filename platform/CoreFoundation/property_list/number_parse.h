/// Numbers as XML property lists write them.
#pragma once

#include <CoreFoundation/CFNumber.h>

#include <string_view>

#include "../internal.h"

namespace cf {

/// A new number from -2^63 to 2^64-1 in decimal or, after 0x, hexadecimal digits. Ignores white
/// space before the number and after its sign, as the real library does. NULL if the text is
/// anything else, or memory is short.
Owned<CFNumberRef> parse_integer(std::string_view text) noexcept;

/// A new number. Accepts "inf", "infinity" and "nan", and ignores white space before the number.
/// Values beyond the range of a double become infinity or 0. NULL as above.
Owned<CFNumberRef> parse_real(std::string_view text) noexcept;

}  // namespace cf
