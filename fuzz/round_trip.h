#pragma once

#include <string_view>

namespace fuzz {

/// Whatever reads as a property list is written as XML and reads back as what it was, as far as XML
/// can hold it; once through XML it stays the same to the byte.
void round_trip(std::string_view property_list);

}  // namespace fuzz
