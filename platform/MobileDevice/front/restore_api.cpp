/// The C API's functions for restores: default options, log file, restore.
#include <exception>
#include <memory>

#include "../cf_values.h"
#include "../operation_and_error_numbers.h"
#include "../status_report.h"
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
  const std::shared_ptr<_AMRestorableDevice> handle(MobileDevice::retained(device));
  const MobileDevice::StatusReceiver receiver = [handle, callback,
                                                 context](CFDictionaryRef status) {
    callback(handle.get(), status, context);
  };
  AMRError result = kAMRSuccess;
  try {
    device->reported.attachment()->restore(options, receiver);
  } catch (const std::exception& failure) {
    result = MobileDevice::kAMRInternalError;
    const MobileDevice::Owned<CFErrorRef> error =
        MobileDevice::make_error("MobileDevice", result, failure.what());
    receiver(MobileDevice::make_failure_report(error.get()).get());
  }
  library().log_file.write(AMRestorableDeviceGetECID(device), "AMRestorableDeviceRestore()",
                           result);
  return result;
}
