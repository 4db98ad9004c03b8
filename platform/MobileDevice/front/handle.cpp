#include "handle.h"

#include <new>
#include <utility>

namespace MobileDevice {
namespace {

void finalize_restorable_device(CFTypeRef cf) {
  std::destroy_at(&static_cast<AMRestorableDeviceRef>(const_cast<void*>(cf))->reported);
}

void finalize_recovery_mode_device(CFTypeRef cf) {
  std::destroy_at(&static_cast<AMRecoveryModeDeviceRef>(const_cast<void*>(cf))->attachment);
}

CFRuntimeClass runtime_class(const char* name, void (*finalize)(CFTypeRef)) {
  CFRuntimeClass result{};
  result.className = name;
  result.finalize = finalize;
  return result;
}

/// An object of the type `id`. The caller constructs the part after the CFRuntimeBase.
template <typename Ref>
Ref create_instance(CFTypeID id) {
  const CFIndex extra_bytes = sizeof(std::remove_pointer_t<Ref>) - sizeof(CFRuntimeBase);
  CFTypeRef const instance =
      _CFRuntimeCreateInstance(kCFAllocatorDefault, id, extra_bytes, /*category=*/nullptr);
  if (instance == nullptr) throw std::bad_alloc();
  return static_cast<Ref>(const_cast<void*>(instance));
}

}  // namespace

ReportedDevice::ReportedDevice(std::shared_ptr<Attachment> attachment,
                               DeviceProperties properties) noexcept
    : attachment_(std::move(attachment)), properties_(std::move(properties)) {}

void ReportedDevice::set_properties(DeviceProperties properties) {
  const std::lock_guard<std::mutex> lock(mutex_);
  properties_ = std::move(properties);
}

Owned<AMRestorableDeviceRef> make_restorable_device(std::shared_ptr<Attachment> attachment) {
  static const CFRuntimeClass cls = runtime_class("AMRestorableDevice", finalize_restorable_device);
  static const CFTypeID id = _CFRuntimeRegisterClass(&cls);
  DeviceProperties properties = attachment->properties();
  const AMRestorableDeviceRef handle = create_instance<AMRestorableDeviceRef>(id);
  new (&handle->reported) ReportedDevice(std::move(attachment), std::move(properties));
  return Owned<AMRestorableDeviceRef>(handle);
}

Owned<AMRecoveryModeDeviceRef> make_recovery_mode_device(std::shared_ptr<Attachment> attachment) {
  static const CFRuntimeClass cls =
      runtime_class("AMRecoveryModeDevice", finalize_recovery_mode_device);
  static const CFTypeID id = _CFRuntimeRegisterClass(&cls);
  const AMRecoveryModeDeviceRef handle = create_instance<AMRecoveryModeDeviceRef>(id);
  new (&handle->attachment) std::shared_ptr<Attachment>(std::move(attachment));
  return Owned<AMRecoveryModeDeviceRef>(handle);
}

}  // namespace MobileDevice
