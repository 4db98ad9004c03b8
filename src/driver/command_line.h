#pragma once

#include <boost/program_options/options_description.hpp>
#include <tuple>

#include "driver/start_options.h"
#include "support/cf_type_deleter.h"

namespace korvrestore {

/// Parses the command line. Returns the options, the description that --help prints, and an error,
/// which is empty on success. After an error no option is set. If --amr-logfile names a file that
/// doesn't exist, creates that file, which begins with the command line; not after an error.
std::tuple<start_options, boost::program_options::options_description, cf_error> parse_arguments(
    int argc, const char** argv);

}  // namespace korvrestore
