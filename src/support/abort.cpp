#include "support/abort.h"

#include <stdexcept>

#include "text/format.h"

namespace korvrestore {

void assertion_failed(const assertion_site& site) noexcept {
  TY::Abort<std::invalid_argument>(text::format("{}:{}:  {} Assertion {} failed.", site.file,
                                                site.line, site.function, site.expression));
}

}  // namespace korvrestore
