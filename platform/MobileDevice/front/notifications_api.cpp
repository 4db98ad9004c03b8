/// The C API's functions for notifications.
#include <exception>
#include <new>

#include "../cf_values.h"
#include "../operation_and_error_numbers.h"
#include "guarded.h"
#include "library.h"

using MobileDevice::guarded;
using MobileDevice::library;

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
