#include "simulated_attachment.h"

#include <thread>
#include <utility>

#include "../operation_and_error_numbers.h"
#include "restore.h"
#include "simulated_device.h"

namespace MobileDevice::simulator {

DeviceProperties SimulatedAttachment::properties() const {
  DeviceProperties properties = device_.plan().properties;
  const std::lock_guard<std::mutex> lock(mutex_);
  properties.state = state_;
  return properties;
}

bool SimulatedAttachment::takes_recovery_commands() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return state_ == kAMRestorableDeviceStateRecovery && !device_.plan().no_recovery_device;
}

AMRError SimulatedAttachment::set_auto_boot(bool on) {
  if (!is_here()) return kAMRDeviceLeft;
  const AMRError error = device_.plan().set_auto_boot_error;
  if (error == kAMRSuccess) device_.set_auto_boot(on);
  return error;
}

AMRError SimulatedAttachment::reboot() {
  if (!is_here()) return kAMRDeviceLeft;
  const AMRError error = device_.plan().reboot_error;
  if (error != kAMRSuccess) return error;
  if (!leave()) return kAMRDeviceLeft;
  device_.boot_after(shared_from_this());
  return kAMRSuccess;
}

void SimulatedAttachment::restore(CFDictionaryRef options, StatusReceiver receiver) {
  const std::shared_ptr<const __CFDictionary> kept(retained(options));
  const bool here = is_here();
  std::shared_ptr<const PersonalizedFolder> folder;
  if (here && !device_.plan().restore) folder = std::make_shared<PersonalizedFolder>(options);
  std::thread([self = shared_from_this(), here, kept, folder, receiver = std::move(receiver)] {
    const DevicePlan& plan = self->device_.plan();
    if (!here) {
      report_absence(receiver);
    } else if (plan.restore) {
      play_script(*plan.restore, receiver);
    } else {
      run_course(
          plan.properties, kept.get(), *folder, plan.restore_seconds,
          [&](Clock::time_point due) { return self->stay_until(due); }, receiver);
    }
  }).detach();
}

void SimulatedAttachment::arrive() {
  const std::lock_guard<std::mutex> lock(mutex_);
  here_ = true;
}

bool SimulatedAttachment::leave() {
  const std::lock_guard<std::mutex> lock(mutex_);
  left_.notify_all();
  return std::exchange(here_, false);
}

void SimulatedAttachment::set_state(AMRestorableDeviceState state) {
  const std::lock_guard<std::mutex> lock(mutex_);
  state_ = state;
}

bool SimulatedAttachment::is_here() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return here_;
}

bool SimulatedAttachment::stay_until(Clock::time_point due) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return !left_.wait_until(lock, due, [this] { return !here_; });
}

}  // namespace MobileDevice::simulator
