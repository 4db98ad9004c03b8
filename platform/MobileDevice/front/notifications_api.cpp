/// The C API's registrations, defaults, texts and log.
#include <exception>
#include <new>
#include <optional>

#include "../cf_values.h"
#include "../numbers.h"
#include "guarded.h"
#include "library.h"
#include "texts.h"

using MobileDevice::guarded;
using MobileDevice::library;
using MobileDevice::make_cfstring;

struct _AMDeviceNotification {};

int AMDeviceNotificationSubscribe(AMDeviceNotificationCallback, unsigned int, unsigned int, void*,
                                  AMDeviceNotificationRef* notification) {
  if (notification == nullptr) return MobileDevice::kAMRInvalidArgument;
  *notification = new (std::nothrow) _AMDeviceNotification;
  return *notification == nullptr ? MobileDevice::kAMRInternalError : kAMRSuccess;
}

int AMDeviceNotificationUnsubscribe(AMDeviceNotificationRef notification) {
  delete notification;
  return notification == nullptr ? MobileDevice::kAMRInvalidArgument : kAMRSuccess;
}

AMRestorableDeviceClientID AMRestorableDeviceRegisterForNotifications(
    AMRestorableDeviceNotificationCallback callback, void* context, CFErrorRef* error) {
  using MobileDevice::NotificationCenter;
  return guarded(AMRestorableDeviceClientID{0}, [&]() -> AMRestorableDeviceClientID {
    NotificationCenter::Result result;
    try {
      if (callback == nullptr) throw std::invalid_argument("no callback");
      result = library().notification_center.add(callback, context);
    } catch (const std::exception& failure) {
      result.error =
          MobileDevice::make_error("MobileDevice", MobileDevice::kAMRInternalError, failure.what());
    }
    if (error != nullptr) *error = result.error.release();
    return result.client;
  });
}

void AMRestorableDeviceUnregisterForNotifications(AMRestorableDeviceClientID client) {
  guarded(0, [&] {
    library().notification_center.remove(client);
    return 0;
  });
}

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
