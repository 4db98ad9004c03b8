/// The clients' handles, which are CF types.
#pragma once

#include <CoreFoundation/CFRuntime.h>

#include <memory>
#include <mutex>

#include "../backend.h"
#include "../cf_values.h"

namespace MobileDevice {

/// The device as last reported: clients see its properties at the time of the last report, so a
/// callback reads the properties that belong to its report.
class ReportedDevice {
 public:
  ReportedDevice(std::shared_ptr<Attachment> attachment, DeviceProperties properties) noexcept;

  const std::shared_ptr<Attachment>& attachment() const { return attachment_; }
  template <typename Member>
  Member property(Member DeviceProperties::*member) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return properties_.*member;
  }
  void set_properties(DeviceProperties properties);

 private:
  const std::shared_ptr<Attachment> attachment_;
  mutable std::mutex mutex_;
  DeviceProperties properties_;
};

}  // namespace MobileDevice

struct _AMRestorableDevice {
  CFRuntimeBase base;
  MobileDevice::ReportedDevice reported;
};

struct _AMRecoveryModeDevice {
  CFRuntimeBase base;
  std::shared_ptr<MobileDevice::Attachment> attachment;
};

namespace MobileDevice {

/// @throws std::bad_alloc
Owned<AMRestorableDeviceRef> make_restorable_device(std::shared_ptr<Attachment> attachment);
Owned<AMRecoveryModeDeviceRef> make_recovery_mode_device(std::shared_ptr<Attachment> attachment);

}  // namespace MobileDevice
