#include "simulated_device.h"

#include <thread>
#include <utility>

#include "../numbers.h"
#include "restore.h"

namespace MobileDevice {

SimulatedDevice::SimulatedDevice(DevicePlan plan, Timeline& timeline, Listener& listener)
    : plan_(std::move(plan)), timeline_(timeline), listener_(listener) {}

void SimulatedDevice::schedule(Clock::time_point start) {
  current_ = std::make_shared<Attachment>(*this, plan_.properties.state);
  const Clock::time_point arrival = after(start, plan_.attach_after);
  timeline_.add(arrival, [this] { attach(); });
  for (const RawReport& report : plan_.notifications) {
    timeline_.add(after(start, report.after), [this, &report] { this->report(report); });
  }
  if (plan_.detach_after) {
    timeline_.add(after(arrival, *plan_.detach_after), [this] { unplug(); });
  }
}

void SimulatedDevice::boot_after(std::shared_ptr<Attachment> attachment) {
  const Clock::time_point now = Clock::now();
  timeline_.add(now, [this, attachment] { listener_.detached(attachment); });
  timeline_.add(after(now, plan_.boot_seconds), [this] {
    if (unplugged_) return;
    current_ = std::make_shared<Attachment>(
        *this, auto_boot_ ? kAMRestorableDeviceStateBootedOS : kAMRestorableDeviceStateRecovery);
    attach();
  });
}

void SimulatedDevice::attach() {
  current_->arrive();
  listener_.attached(current_);
}

void SimulatedDevice::unplug() {
  unplugged_ = true;
  if (current_->leave()) listener_.detached(current_);
}

void SimulatedDevice::report(const RawReport& report) {
  if (report.state) current_->set_state(*report.state);
  listener_.reported(current_, report.type);
}

DeviceProperties Attachment::properties() const {
  DeviceProperties properties = device_.plan().properties;
  const std::lock_guard lock(mutex_);
  properties.state = state_;
  return properties;
}

bool Attachment::takes_recovery_commands() const {
  const std::lock_guard lock(mutex_);
  return state_ == kAMRestorableDeviceStateRecovery && !device_.plan().no_recovery_device;
}

AMRError Attachment::set_auto_boot(bool on) {
  if (!is_here()) return kAMRDeviceLeft;
  const AMRError error = device_.plan().set_auto_boot_error;
  if (error == kAMRSuccess) device_.set_auto_boot(on);
  return error;
}

AMRError Attachment::reboot() {
  if (!is_here()) return kAMRDeviceLeft;
  const AMRError error = device_.plan().reboot_error;
  if (error != kAMRSuccess) return error;
  if (!leave()) return kAMRDeviceLeft;
  device_.boot_after(shared_from_this());
  return kAMRSuccess;
}

void Attachment::restore(CFDictionaryRef options, StatusReceiver receiver) {
  const std::shared_ptr<const __CFDictionary> kept(retained(options));
  std::thread([self = shared_from_this(), here = is_here(), kept, receiver = std::move(receiver)] {
    const DevicePlan& plan = self->device_.plan();
    if (!here) {
      report_absence(receiver);
    } else if (plan.restore) {
      play_script(*plan.restore, receiver);
    } else {
      run_course(
          plan.properties, kept.get(), plan.restore_seconds,
          [&](Clock::time_point due) { return self->stay_until(due); }, receiver);
    }
  }).detach();
}

void Attachment::arrive() {
  const std::lock_guard lock(mutex_);
  here_ = true;
}

bool Attachment::leave() {
  const std::lock_guard lock(mutex_);
  left_.notify_all();
  return std::exchange(here_, false);
}

void Attachment::set_state(AMRestorableDeviceState state) {
  const std::lock_guard lock(mutex_);
  state_ = state;
}

bool Attachment::is_here() const {
  const std::lock_guard lock(mutex_);
  return here_;
}

bool Attachment::stay_until(Clock::time_point due) const {
  std::unique_lock lock(mutex_);
  return !left_.wait_until(lock, due, [this] { return !here_; });
}

}  // namespace MobileDevice
