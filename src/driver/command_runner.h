#pragma once

#include <boost/program_options/options_description.hpp>
#include <memory>

#include "driver/start_options.h"
#include "output/output_str_state.h"

namespace korvrestore {

/// Runs the command that the options choose and returns the exit status. Prints every failure to
/// `output` as one error message and returns its code. Blocks; must not run on the thread that
/// serves the main dispatch queue.
int runProgramMain(const start_options& options,
                   const boost::program_options::options_description& description,
                   std::shared_ptr<output_str_state> output);

}  // namespace korvrestore
