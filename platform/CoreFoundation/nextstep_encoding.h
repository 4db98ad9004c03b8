/// The 8-bit encoding of octal escapes in OpenStep property lists.
#pragma once

namespace cf {

/// The NEXTSTEP encoding, as the Unicode Consortium lists it; the two codes without a character
/// are U+FFFD.
char32_t nextstep_character(unsigned char code);

}  // namespace cf
