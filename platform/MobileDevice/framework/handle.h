/// The handles that clients hold, as CF types.
#pragma once

#include <CoreFoundation/CFRuntime.h>

#include <memory>
#include <mutex>

#include "../Backend.h"
#include "../cf.h"

namespace MobileDevice {

/// What stands behind a restorable device's handle. A client sees the properties as the last report
/// that it was given found them, so what it reads in its callback fits the report.
class HandleContent {
 public:
  HandleContent(std::shared_ptr<Device> device, DeviceProperties properties) noexcept;

  const std::shared_ptr<Device>& device() const { return device_; }
  DeviceProperties properties() const;
  void set_properties(DeviceProperties properties);

 private:
  const std::shared_ptr<Device> device_;
  mutable std::mutex mutex_;
  DeviceProperties properties_;
};

}  // namespace MobileDevice

struct _AMRestorableDevice {
  CFRuntimeBase base;
  MobileDevice::HandleContent content;
};

struct _AMRecoveryModeDevice {
  CFRuntimeBase base;
  std::shared_ptr<MobileDevice::Device> device;
};

namespace MobileDevice {

/// @throws std::bad_alloc
Owned<AMRestorableDeviceRef> make_restorable_device(std::shared_ptr<Device> device);
Owned<AMRecoveryModeDeviceRef> make_recovery_mode_device(std::shared_ptr<Device> device);

}  // namespace MobileDevice
