#pragma once

#include <boost/program_options/options_description.hpp>
#include <tuple>

#include "driver/start_options.h"
#include "support/cf_type_deleter.h"

namespace korvrestore {

/// Parses the command line: the options, the description that --help prints, and an error, empty
/// when all went well; after an error no option is filled in. When --amr-logfile names a file that
/// doesn't exist, it is made and begins with the command line; not so after an error.
std::tuple<start_options, boost::program_options::options_description, cf_error> parse_arguments(
    int argc, const char** argv);

}  // namespace korvrestore
