/// The attached devices and the registered clients.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "../backend.h"
#include "handle.h"

namespace MobileDevice {

/// Delivers the backend's events to the registered clients on the main dispatch queue, in order.
/// Exists until the process ends.
class NotificationCenter final : public Listener {
 public:
  explicit NotificationCenter(Backend& backend) : backend_(backend) {}
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  /// Implements AMRestorableDeviceRegisterForNotifications. The first call starts the backend. On
  /// failure `client` is 0 and `error` is set.
  struct Result {
    AMRestorableDeviceClientID client = 0;
    Owned<CFErrorRef> error;
  };
  Result add(AMRestorableDeviceNotificationCallback callback, void* context);
  /// Implements AMRestorableDeviceUnregisterForNotifications.
  void remove(AMRestorableDeviceClientID client);

  void attached(std::shared_ptr<Attachment> attachment) override;
  void detached(const std::shared_ptr<Attachment>& attachment) override;
  void reported(const std::shared_ptr<Attachment>& attachment,
                AMRestorableDeviceNotificationType type) override;

 private:
  struct Registration;
  struct Delivery;
  using Handle = Owned<AMRestorableDeviceRef>;

  static void deliver(void* delivery);
  void queue(const std::shared_ptr<Registration>& registration, AMRestorableDeviceRef handle,
             AMRestorableDeviceNotificationType type);
  void queue_to_all(AMRestorableDeviceRef handle, AMRestorableDeviceNotificationType type);
  std::vector<Handle>::iterator find(const std::shared_ptr<Attachment>& attachment);

  Backend& backend_;
  std::mutex start_mutex_;
  bool started_ = false;  // guarded by start_mutex_
  std::mutex mutex_;      // guards all members below, and the order in which reports are queued
  std::vector<Handle> attached_;
  std::map<AMRestorableDeviceClientID, std::shared_ptr<Registration>> registrations_;
  AMRestorableDeviceClientID last_client_ = 0;
};

}  // namespace MobileDevice
