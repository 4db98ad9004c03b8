/// The status reports of a restore.
#pragma once

#include "cf_values.h"

namespace MobileDevice {

/// "Status", "Operation" and "Progress" (per cent of the whole restore) and, unless it is NULL, the
/// borrowed `error` as "Error".
Owned<CFDictionaryRef> make_status_report(std::string_view status, int operation,
                                          std::int64_t progress, CFErrorRef error);

/// The report that ends a restore which failed, with the borrowed reason.
Owned<CFDictionaryRef> make_failure_report(CFErrorRef error);

}  // namespace MobileDevice
