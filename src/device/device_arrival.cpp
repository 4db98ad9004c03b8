#include <fmt/format.h>

#include "device/RestorableDeviceHandler.h"
#include "device/mobile_device_format.h"
#include "support/abort.h"

namespace korvrestore {
namespace {

constexpr const char* speaker = "deviceNotificationCallback";

/// If there is no memory for the line either, nothing reports the loss.
void say_lost(output_str_state& output, const std::exception& error) noexcept {
  try {
    output.say(speaker, "Lost notification ({})", error.what());
  } catch (const std::exception&) {
  }
}

}  // namespace

void device_notifier_state::deviceNotificationCallback(AMRestorableDeviceRef device,
                                                       AMRestorableDeviceNotificationType type,
                                                       void* context) noexcept {
  if (context == nullptr)
    assertion_failed({restorable_device_handler_file, 180, speaker, "context"});
  const callback_entry entry(context);
  if (!entry.is_open()) return;
  device_notifier_state& session = *static_cast<device_notifier_state*>(context);
  try {
    session.deviceReported(device, type);
  } catch (const std::exception& error) {
    // MobileDevice's frames can't be unwound, and nobody waits for this particular report.
    say_lost(*session.outputter, error);
  }
}

void device_notifier_state::deviceReported(AMRestorableDeviceRef device,
                                           AMRestorableDeviceNotificationType type) {
  if (device == nullptr) {
    outputter->say(speaker, "called with null device");
    return;
  }
  std::unique_lock<std::mutex> lock(mutex);
  if (inTeardown) {
    outputter->say(speaker, "Ignoring notification, inTeardown");
    return;
  }
  if (AMRestorableDeviceGetState(device) == kAMRestorableDeviceStateBootedOS) {
    outputter->say(speaker, "Ignoring booted device");
    return;
  }
  const TY::ecid reported(AMRestorableDeviceGetECID(device));
  if (reported.number() == 0) {
    outputter->say(speaker, "Ignoring AMRestorableDevice with invalid ECID ({} type {})",
                   fmt::ptr(device), type);
    return;
  }

  switch (type) {
    case kAMRestorableDeviceConnected:
      deviceConnected(reported, device);
      break;
    case kAMRestorableDeviceDisconnected:
      deviceDisconnected(reported);
      break;
    default:
      outputter->say(speaker, "called with invalid notification type {}",
                     static_cast<std::int32_t>(type));
  }
  lock.unlock();
  deviceArrived.notify_all();
}

void device_notifier_state::deviceConnected(const TY::ecid& ecid, AMRestorableDeviceRef device) {
  if (devices.contains(ecid))
    outputter->say(speaker, "Connected AMRestorableDevice, but '{}' already present", ecid);
  outputter->say(speaker, "Adding '{}' ({})", ecid, fmt::ptr(device));
  CFRetain(device);
  // The handle releases the reference also if there is no memory for the entry.
  devices.insert_or_assign(ecid, std::shared_ptr<_AMRestorableDevice>(device, CFTypeDeleter()));
}

void device_notifier_state::deviceDisconnected(const TY::ecid& ecid) {
  // Inverted: printed for a device that is present. Kept because readers match these lines.
  if (devices.contains(ecid))
    outputter->say(speaker, "Disconnected AMRestorableDevice, but '{}' not present", ecid);
  outputter->say(speaker, "Removing '{}'", ecid);
  devices.erase(ecid);
}

std::shared_ptr<_AMRestorableDevice> device_notifier_state::waitForDevice(const TY::ecid& ecid) {
  outputter->say("waitForDevice", "Looking for device '{}'", std::string_view(ecid));
  std::unique_lock<std::mutex> lock(mutex);
  const auto is_present = [&] { return devices.contains(ecid); };
  if (!is_present()) {
    outputter->say("waitForDevice", "Waiting for device '{}'", std::string_view(ecid));
    const std::chrono::steady_clock::time_point deadline =
        std::chrono::steady_clock::now() + detectTimeout;
    if (!deviceArrived.wait_until(lock, deadline, is_present)) return nullptr;
  }
  return devices.at(ecid);
}

}  // namespace korvrestore
