#include "notification_center.h"

#include <dispatch/dispatch.h>

#include <algorithm>
#include <atomic>
#include <utility>

namespace MobileDevice {

struct NotificationCenter::Registration {
  AMRestorableDeviceNotificationCallback callback;
  void* context;
  /// Locked while the callback runs; recursive, since the callback may end its own registration.
  std::recursive_mutex calling;
  std::atomic<bool> active = true;
};

struct NotificationCenter::Delivery {
  std::shared_ptr<Registration> registration;
  Handle handle;
  AMRestorableDeviceNotificationType type;
  DeviceProperties properties;
};

NotificationCenter::Result NotificationCenter::add(AMRestorableDeviceNotificationCallback callback,
                                                   void* context) {
  const std::lock_guard<std::mutex> start_lock(start_mutex_);
  const auto registration = std::make_shared<Registration>();
  registration->callback = callback;
  registration->context = context;
  Result result;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    result.client = ++last_client_;
    registrations_.emplace(result.client, registration);
    for (const Handle& handle : attached_)
      queue(registration, handle.get(), kAMRestorableDeviceConnected);
  }
  if (started_) return result;
  try {
    result.error = backend_.start(*this);
  } catch (...) {
    remove(result.client);
    throw;
  }
  started_ = result.error == nullptr;
  if (!started_) remove(std::exchange(result.client, 0));
  return result;
}

void NotificationCenter::remove(AMRestorableDeviceClientID client) {
  std::shared_ptr<Registration> registration;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = registrations_.find(client);
    if (found == registrations_.end()) return;
    registration = std::move(found->second);
    registrations_.erase(found);
    registration->active = false;
  }
  const std::lock_guard<std::recursive_mutex> no_callback_runs(registration->calling);
}

void NotificationCenter::attached(std::shared_ptr<Attachment> attachment) {
  Handle handle = make_restorable_device(std::move(attachment));
  const std::lock_guard<std::mutex> lock(mutex_);
  attached_.push_back(std::move(handle));
  queue_to_all(attached_.back().get(), kAMRestorableDeviceConnected);
}

void NotificationCenter::detached(const std::shared_ptr<Attachment>& attachment) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = find(attachment);
  if (found == attached_.end()) return;
  const Handle handle = std::move(*found);
  attached_.erase(found);
  queue_to_all(handle.get(), kAMRestorableDeviceDisconnected);
}

void NotificationCenter::reported(const std::shared_ptr<Attachment>& attachment,
                                  AMRestorableDeviceNotificationType type) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = find(attachment);
  const Handle handle =
      found == attached_.end() ? make_restorable_device(attachment) : retained(found->get());
  queue_to_all(handle.get(), type);
}

void NotificationCenter::deliver(void* context) {
  const std::unique_ptr<Delivery> delivery(static_cast<Delivery*>(context));
  delivery->handle->reported.set_properties(std::move(delivery->properties));
  Registration& registration = *delivery->registration;
  const std::lock_guard<std::recursive_mutex> lock(registration.calling);
  if (registration.active)
    registration.callback(delivery->handle.get(), delivery->type, registration.context);
}

void NotificationCenter::queue(const std::shared_ptr<Registration>& registration,
                               AMRestorableDeviceRef handle,
                               AMRestorableDeviceNotificationType type) {
  auto delivery = std::make_unique<Delivery>(
      Delivery{registration, retained(handle), type, handle->reported.attachment()->properties()});
  dispatch_async_f(dispatch_get_main_queue(), delivery.release(), deliver);
}

void NotificationCenter::queue_to_all(AMRestorableDeviceRef handle,
                                      AMRestorableDeviceNotificationType type) {
  for (const auto& [client, registration] : registrations_) queue(registration, handle, type);
}

std::vector<NotificationCenter::Handle>::iterator NotificationCenter::find(
    const std::shared_ptr<Attachment>& attachment) {
  return std::find_if(attached_.begin(), attached_.end(), [&](const Handle& handle) {
    return handle->reported.attachment() == attachment;
  });
}

}  // namespace MobileDevice
