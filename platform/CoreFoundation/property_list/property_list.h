/// The formats behind the C API of CFPropertyList.h.
#pragma once

#include <CoreFoundation/CFData.h>

#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "../internal.h"

namespace cf {

/// The maximum nesting of containers that the readers accept.
inline constexpr std::size_t kMaxNesting = 512;

/// The input isn't a property list of its format, or the object can't be written as one. what()
/// gives the reason.
struct PropertyListError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// @throws PropertyListError  the object can't be written.
Owned<CFDataRef> write_xml(CFTypeRef property_list);

/// @param encoding  overrides the encoding that the text declares; NULL: as declared.
/// @throws PropertyListError, as do the readers below, when the text is malformed.
Owned<CFTypeRef> read_xml(std::string_view text, const char* encoding);

/// The two halves of read_xml: one is fast, but returns NULL for anything that property-list
/// writers don't write; what it accepts, the other accepts with equal values.
Owned<CFTypeRef> read_xml_directly(std::string_view text);
/// @param piece  how many bytes expat gets at a time, which it copies; more while a token doesn't
///               end.
Owned<CFTypeRef> read_xml_with_expat(std::string_view text, const char* encoding,
                                     std::size_t piece = std::size_t{64} * 1024);

Owned<CFTypeRef> read_binary(std::string_view bytes);

Owned<CFTypeRef> read_openstep(std::string_view valid_utf8);

}  // namespace cf
