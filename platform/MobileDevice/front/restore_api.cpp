/// The C API's functions for restores: default options, log file, restore.
#include <memory>

#include "../cf_values.h"
#include "../operation_and_error_numbers.h"
#include "guarded.h"
#include "handle.h"
#include "library.h"

using MobileDevice::guarded;
using MobileDevice::library;

CFMutableDictionaryRef AMRestoreCreateDefaultOptions(CFAllocatorRef allocator) {
  return guarded(CFMutableDictionaryRef{}, [&]() -> CFMutableDictionaryRef {
    if (!library().backend->has_default_restore_options()) return nullptr;
    CFMutableDictionaryRef const options = CFDictionaryCreateMutable(
        allocator, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    if (options == nullptr) return nullptr;
    CFDictionarySetValue(options, CFSTR("AuthInstallRestoreBehavior"), CFSTR("Update"));
    CFDictionarySetValue(options, CFSTR("BootImageType"), CFSTR("Update"));
    return options;
  });
}

int AMRestoreEnableFileLogging(const char* path) {
  return guarded(int{MobileDevice::kAMRInternalError}, [&]() -> int {
    if (path == nullptr) return MobileDevice::kAMRInvalidArgument;
    if (const int error = library().backend->file_logging_error()) return error;
    return library().log_file.open(path) ? kAMRSuccess : MobileDevice::kAMRLogFileNotOpened;
  });
}

AMRError AMRestorableDeviceRestore(AMRestorableDeviceRef device, CFDictionaryRef options,
                                   AMRestorableDeviceRestoreCallback callback, void* context) {
  if (device == nullptr || options == nullptr || callback == nullptr)
    return MobileDevice::kAMRInvalidArgument;
  const AMRError result = guarded(MobileDevice::kAMRInternalError, [&] {
    const std::shared_ptr<_AMRestorableDevice> handle(MobileDevice::retained(device));
    device->reported.attachment()->restore(options,
                                           [handle, callback, context](CFDictionaryRef status) {
                                             callback(handle.get(), status, context);
                                           });
    return kAMRSuccess;
  });
  return guarded(MobileDevice::kAMRInternalError, [&] {
    library().log_file.write(AMRestorableDeviceGetECID(device), "AMRestorableDeviceRestore()",
                             result);
    return result;
  });
}
