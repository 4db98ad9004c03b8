/// What the benchmark programs read their input with.
#pragma once

#include <string>

#include "platform/cf_owned.h"

/// The whole file.
/// @throws std::runtime_error  it can't be opened or read.
std::string read_file(const std::string& path);

/// The property list that `bytes` hold; `bytes` are borrowed for the call.
/// @throws std::runtime_error  they hold none.
cf::Owned<CFPropertyListRef> parse_plist(const std::string& bytes);
