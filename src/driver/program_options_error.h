#pragma once

#include <exception>

#include "support/cf_type_deleter.h"

namespace korvrestore {

/// The tool error for an exception that parsing a command line, or a command, ended with. The
/// exception is used up.
cf_error error_from_exception(std::exception& exception);

}  // namespace korvrestore
