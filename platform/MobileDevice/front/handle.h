/// The handles that clients hold, as CF types.
#pragma once

#include <CoreFoundation/CFRuntime.h>

#include <memory>
#include <mutex>

#include "../backend.h"
#include "../cf_values.h"

namespace MobileDevice {

/// The device as last reported: a client sees the properties as the last report that it was given
/// found them, so what it reads in its callback fits the report.
class ReportedDevice {
 public:
  ReportedDevice(std::shared_ptr<Attachment> attachment, DeviceProperties properties) noexcept;

  const std::shared_ptr<Attachment>& attachment() const { return attachment_; }
  DeviceProperties properties() const;
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
