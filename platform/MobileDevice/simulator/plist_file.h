/// Whole property-list files.
#pragma once

#include <string>
#include <vector>

#include "../cf_values.h"

namespace MobileDevice::simulator {

struct Plist {
  Owned<CFPropertyListRef> value;
  CFPropertyListFormat format;
};

/// @throws std::runtime_error  the bytes aren't a property list; the text gives the reason.
Plist parse_plist(const std::vector<UInt8>& bytes);

/// @throws std::runtime_error  as above, or the file can't be read or is larger than 64 MiB.
Plist read_plist_file(const std::string& file);

/// @throws std::runtime_error  the value can't be written to the file as XML; the text gives the
/// Writes the value as XML to the file `name` in the open `folder`.
/// @throws std::runtime_error  what failed, after the name.
void write_plist_file(CFPropertyListRef value, int folder, const char* name);

}  // namespace MobileDevice::simulator
