#pragma once

#include <string>
#include <string_view>

#include "cf_owned.h"

namespace fuzz {

/// The property list, or NULL if it is refused.
cf::Owned<CFTypeRef> read(std::string_view property_list);

/// The object as XML, which it must have.
std::string written(CFTypeRef object);

/// Whatever reads as a property list is written as XML and reads back as what it was, as far as XML
/// can hold it; once through XML it stays the same to the byte.
void round_trip(std::string_view property_list);

}  // namespace fuzz
