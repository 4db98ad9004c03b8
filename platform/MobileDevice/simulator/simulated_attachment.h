/// One attachment of a simulated device.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

#include "../backend.h"
#include "timeline.h"

namespace MobileDevice::simulator {

class SimulatedDevice;

class SimulatedAttachment final : public Attachment,
                                  public std::enable_shared_from_this<SimulatedAttachment> {
 public:
  SimulatedAttachment(SimulatedDevice& device, AMRestorableDeviceState state)
      : device_(device), state_(state) {}

  DeviceProperties properties() const override;
  bool takes_recovery_commands() const override;
  AMRError set_auto_boot(bool on) override;
  AMRError reboot() override;
  void restore(CFDictionaryRef options, StatusReceiver receiver) override;

  void arrive();
  /// False if it was not attached.
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

}  // namespace MobileDevice::simulator
