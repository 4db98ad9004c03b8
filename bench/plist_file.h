/// What the benchmark programs read their input with.
#pragma once

#include <string>

#include "support/cf_type_deleter.h"

/// The whole file.
/// @throws std::runtime_error  it can't be opened or read.
std::string read_file(const std::string& path);

/// The property list that `bytes` hold; `bytes` are borrowed for the call.
/// @throws std::runtime_error  they hold none.
korvrestore::cf_object parse_plist(const std::string& bytes);
