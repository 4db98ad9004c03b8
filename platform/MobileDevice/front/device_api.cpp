/// The C API's calls on devices.
#include <functional>
#include <utility>

#include "../operation_and_error_numbers.h"
#include "guarded.h"
#include "handle.h"
#include "library.h"

using MobileDevice::Attachment;
using MobileDevice::DeviceProperties;
using MobileDevice::guarded;
using MobileDevice::library;

namespace {

/// The member of the properties, or its type's zero if the handle is NULL.
template <typename Member>
Member property(AMRestorableDeviceRef device, Member DeviceProperties::*member) noexcept {
  return device == nullptr ? Member{} : device->reported.property(member);
}

CFStringRef copy_string(AMRestorableDeviceRef device,
                        std::optional<std::string> DeviceProperties::*member) noexcept {
  const std::optional<std::string> text = property(device, member);
  return text ? MobileDevice::make_cfstring(*text).release() : nullptr;
}

/// Sends `command` to the device and logs its result as `call`.
AMRError logged(AMRecoveryModeDeviceRef device, std::string_view call,
                const std::function<AMRError(Attachment&)>& command) noexcept {
  if (device == nullptr) return MobileDevice::kAMRInvalidArgument;
  const AMRError result =
      guarded(MobileDevice::kAMRInternalError, [&] { return command(*device->attachment); });
  library().log_file.write(device->attachment->properties().ecid, call, result);
  return result;
}

}  // namespace

AMRestorableDeviceState AMRestorableDeviceGetState(AMRestorableDeviceRef device) {
  return property(device, &DeviceProperties::state);
}

std::uint64_t AMRestorableDeviceGetECID(AMRestorableDeviceRef device) {
  return property(device, &DeviceProperties::ecid);
}

std::uint16_t AMRestorableDeviceGetProductID(AMRestorableDeviceRef device) {
  return property(device, &DeviceProperties::product_id);
}

std::uint32_t AMRestorableDeviceGetBoardID(AMRestorableDeviceRef device) {
  return property(device, &DeviceProperties::board_id);
}

std::uint32_t AMRestorableDeviceGetChipID(AMRestorableDeviceRef device) {
  return property(device, &DeviceProperties::chip_id);
}

std::uint32_t AMRestorableDeviceGetProductType(AMRestorableDeviceRef device) {
  return property(device, &DeviceProperties::product_type);
}

std::uint32_t AMRestorableDeviceGetFusingInfo(AMRestorableDeviceRef device) {
  return property(device, &DeviceProperties::fusing_info);
}

std::uint32_t AMRestorableDeviceGetLocationID(AMRestorableDeviceRef device) {
  return property(device, &DeviceProperties::location_id);
}

CFStringRef AMRestorableDeviceCopySerialNumber(AMRestorableDeviceRef device) {
  return copy_string(device, &DeviceProperties::serial_number);
}

CFStringRef AMRestorableDeviceCopyProductString(AMRestorableDeviceRef device) {
  return copy_string(device, &DeviceProperties::product_string);
}

AMRecoveryModeDeviceRef AMRestorableDeviceCopyRecoveryModeDevice(AMRestorableDeviceRef device) {
  if (device == nullptr) return nullptr;
  return guarded(AMRecoveryModeDeviceRef{}, [&]() -> AMRecoveryModeDeviceRef {
    if (!device->reported.attachment()->takes_recovery_commands()) return nullptr;
    return MobileDevice::make_recovery_mode_device(device->reported.attachment()).release();
  });
}

AMRError AMRecoveryModeDeviceSetAutoBoot(AMRecoveryModeDeviceRef device, Boolean auto_boot) {
  const bool on = auto_boot != 0;
  return logged(
      device,
      on ? "AMRecoveryModeDeviceSetAutoBoot(true)" : "AMRecoveryModeDeviceSetAutoBoot(false)",
      [on](Attachment& target) { return target.set_auto_boot(on); });
}

AMRError AMRecoveryModeDeviceReboot(AMRecoveryModeDeviceRef device) {
  return logged(device, "AMRecoveryModeDeviceReboot()", &Attachment::reboot);
}
