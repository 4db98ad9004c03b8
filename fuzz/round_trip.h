#pragma once

#include <string>
#include <string_view>

#include "cf_owned.h"

namespace fuzz {

/// The property list, or NULL if it is refused.
cf::Owned<CFTypeRef> read(std::string_view property_list);

/// The object as XML, which it must have.
std::string written(CFTypeRef object);

/// Every object that was read can be written as XML and reads back as an equal object, as far as
/// XML can contain it. A second round trip gives the same bytes.
void round_trip(std::string_view property_list);

}  // namespace fuzz
