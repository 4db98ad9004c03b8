#include "support/cf_type_deleter.h"

#include <cstdio>
#include <cstdlib>

namespace korvrestore {

void no_memory() noexcept {
  std::fputs("korvrestore: no memory for a CoreFoundation object\n", stderr);
  std::abort();
}

}  // namespace korvrestore
