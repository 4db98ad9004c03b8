/// One attachment of a real device.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

#include "../backend.h"
#include "event_loop.h"
#include "libusb_handles.h"

namespace MobileDevice::usb {

class UsbAttachment final : public Attachment {
 public:
  UsbAttachment(DeviceReference device, DeviceProperties properties,
                std::shared_ptr<EventLoop> loop);

  DeviceProperties properties() const override { return properties_; }
  bool takes_recovery_commands() const override;
  AMRError set_auto_boot(bool on) override;
  AMRError reboot() override;
  void restore(CFDictionaryRef options, StatusReceiver receiver) override;

  /// Wakes the threads that wait for the departure.
  void mark_left();

 private:
  int open_checked(OpenDevice& owner);
  bool leaves_in_time();

  const DeviceReference device_;
  const DeviceProperties properties_;
  const std::shared_ptr<EventLoop> loop_;
  std::mutex mutex_;
  std::condition_variable departure_;
  bool left_ = false;  // guarded by mutex_
};

}  // namespace MobileDevice::usb
