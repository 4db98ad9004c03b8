/// Numbers as XML property lists write them.
#pragma once

#include <CoreFoundation/CFNumber.h>

#include <string_view>

#include "../internal.h"

namespace cf {

/// A new number from -2^63 to 2^64-1 in decimal or, behind 0x, hexadecimal digits. NULL when the
/// text is anything else, or memory is short.
Owned<CFNumberRef> parse_integer(std::string_view text) noexcept;

/// A new number; "inf", "infinity" and "nan" are some too, and what is past the range of a double
/// is infinity or 0. NULL as above.
Owned<CFNumberRef> parse_real(std::string_view text) noexcept;

}  // namespace cf
