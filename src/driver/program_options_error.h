#pragma once

#include <exception>

#include "support/cf_type_deleter.h"

namespace korvrestore {

/// The tool error for an exception of parsing the command line or of running a command. Changes the
/// exception.
cf_error error_from_exception(std::exception& exception);

}  // namespace korvrestore
