/// The C API's functions for texts.
#include <optional>
#include <string>

#include "../cf_values.h"
#include "guarded.h"
#include "library.h"
#include "texts.h"

using MobileDevice::guarded;
using MobileDevice::library;
using MobileDevice::make_cfstring;

CFStringRef AMRLocalizedCopyStringForAMROperation(int operation) {
  return guarded(CFStringRef{}, [&] {
    const std::optional<std::string> text = library().backend->operation_text(operation);
    return make_cfstring(text ? *text : MobileDevice::operation_text(operation)).release();
  });
}

CFStringRef AMRLocalizedCopyStringForAMRError(int error) {
  return guarded(CFStringRef{}, [&] {
    const std::optional<std::string> text = library().backend->error_text(error);
    return make_cfstring(text ? *text : MobileDevice::error_text(error)).release();
  });
}
