#include "simulated_device.h"

#include <utility>

#include "simulated_attachment.h"

namespace MobileDevice::simulator {

SimulatedDevice::SimulatedDevice(DevicePlan plan, Timeline& timeline, Listener& listener)
    : plan_(std::move(plan)), timeline_(timeline), listener_(listener) {}

void SimulatedDevice::schedule(Clock::time_point start) {
  current_ = std::make_shared<SimulatedAttachment>(*this, plan_.properties.state);
  const Clock::time_point arrival = after(start, plan_.attach_after);
  timeline_.add(arrival, [this] { attach(); });
  for (const RawReport& report : plan_.notifications)
    timeline_.add(after(start, report.after), [this, &report] { this->report(report); });
  if (plan_.detach_after) timeline_.add(after(arrival, *plan_.detach_after), [this] { unplug(); });
}

void SimulatedDevice::boot_after(std::shared_ptr<SimulatedAttachment> attachment) {
  const Clock::time_point now = Clock::now();
  timeline_.add(now, [this, attachment] { listener_.detached(attachment); });
  timeline_.add(after(now, plan_.boot_seconds), [this] {
    if (unplugged_) return;
    current_ = std::make_shared<SimulatedAttachment>(
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

}  // namespace MobileDevice::simulator
