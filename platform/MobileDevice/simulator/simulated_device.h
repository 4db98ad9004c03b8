/// One device of the scenario.
#pragma once

#include <atomic>
#include <memory>

#include "../backend.h"
#include "scenario.h"
#include "timeline.h"

namespace MobileDevice::simulator {

class SimulatedAttachment;

/// One device of the scenario with all its attachments. Exists until the process ends.
class SimulatedDevice {
 public:
  SimulatedDevice(DevicePlan plan, Timeline& timeline, Listener& listener);
  SimulatedDevice(const SimulatedDevice&) = delete;
  SimulatedDevice& operator=(const SimulatedDevice&) = delete;

  /// Adds the events of the plan to the timeline.
  void schedule(Clock::time_point start);

  const DevicePlan& plan() const { return plan_; }
  void set_auto_boot(bool on) { auto_boot_ = on; }
  /// Reports that `attachment`, the current one, has left, and brings the device back later.
  void boot_after(std::shared_ptr<SimulatedAttachment> attachment);

 private:
  void attach();
  void unplug();
  void report(const RawReport& report);

  const DevicePlan plan_;
  Timeline& timeline_;
  Listener& listener_;
  std::atomic<bool> auto_boot_ = true;
  // Used only by events of the timeline:
  std::shared_ptr<SimulatedAttachment> current_;  // before the first arrival: the next one
  bool unplugged_ = false;
};

}  // namespace MobileDevice::simulator
