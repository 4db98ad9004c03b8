/// Reads the input of the benchmark programs.
#pragma once

#include <string>

#include "platform/cf_owned.h"

/// The whole file.
/// @throws std::runtime_error  it can't be opened or read.
std::string read_file(const std::string& path);

/// The property list in `bytes`, which are borrowed for the call.
/// @throws std::runtime_error  the bytes aren't a property list.
cf::Owned<CFPropertyListRef> parse_plist(const std::string& bytes);
