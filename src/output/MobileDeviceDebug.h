#pragma once

#include <memory>

#include "output/output_str_state.h"

namespace korvrestore {

/// Print as debug lines MobileDevice's texts of the operations 0 to 999 and of the errors 0 to
/// 9999, each as a C `case` label that returns the text. A null `output` ends the process.
void print_imp_AMRLocalizedCopyStringForAMROperation(std::shared_ptr<output_str_state> output);
void print_imp_AMRLocalizedCopyStringForAMRError(std::shared_ptr<output_str_state> output);

}  // namespace korvrestore
