/// The simulated devices.
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "../Backend.h"
#include "scenario.h"
#include "timeline.h"

namespace MobileDevice {

class Attachment;

/// One device of the scenario through all its attachments. Lives until the process ends.
class SimulatedDevice {
 public:
  SimulatedDevice(DevicePlan plan, Timeline& timeline, Listener& listener);
  SimulatedDevice(const SimulatedDevice&) = delete;
  SimulatedDevice& operator=(const SimulatedDevice&) = delete;

  /// Puts what the plan says onto the timeline.
  void schedule(Clock::time_point start);

  const DevicePlan& plan() const { return plan_; }
  void set_auto_boot(bool on) { auto_boot_ = on; }
  /// Reports that `attachment`, the current one, has left, and brings the device back later.
  void boot_after(std::shared_ptr<Attachment> attachment);

 private:
  void attach();
  void unplug();
  void report(const RawReport& report);

  const DevicePlan plan_;
  Timeline& timeline_;
  Listener& listener_;
  std::atomic<bool> auto_boot_ = true;
  // Only touched by events of the timeline:
  std::shared_ptr<Attachment> current_;  // before the first arrival: the one to come
  bool unplugged_ = false;
};

class Attachment final : public Device, public std::enable_shared_from_this<Attachment> {
 public:
  Attachment(SimulatedDevice& device, AMRestorableDeviceState state)
      : device_(device), state_(state) {}

  DeviceProperties properties() const override;
  bool takes_recovery_commands() const override;
  AMRError set_auto_boot(bool on) override;
  AMRError reboot() override;
  void restore(CFDictionaryRef options, StatusReceiver receiver) override;

  void arrive();
  /// False when it wasn't here.
  bool leave();
  void set_state(AMRestorableDeviceState state);

 private:
  bool is_here() const;
  bool stay_until(Clock::time_point due) const;

  SimulatedDevice& device_;
  mutable std::mutex mutex_;
  mutable std::condition_variable left_;
  AMRestorableDeviceState state_;
  bool here_ = false;
};

}  // namespace MobileDevice
