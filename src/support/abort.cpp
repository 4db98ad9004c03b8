#include "support/abort.h"

#include <fmt/format.h>

#include <stdexcept>

namespace korvrestore {

void assertion_failed(const assertion_site& site) noexcept {
  TY::Abort<std::invalid_argument>(fmt::format("{}:{}:  {} Assertion {} failed.", site.file,
                                               site.line, site.function, site.expression));
}

}  // namespace korvrestore
