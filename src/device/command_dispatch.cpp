
#include <algorithm>
#include <thread>
#include <vector>

#include "device/RestorableDeviceHandler.h"
#include "device/device_info.h"
#include "driver/error.h"
#include "text/format.h"

namespace korvrestore {
namespace {

constexpr const char* speaker = "waitForCompletion";

}  // namespace

void device_notifier_state::waitForCompletion() {
  outputter->say(speaker, "AMRestorableDeviceRegisterForNotifications()");
  CFErrorRef failure = nullptr;
  const AMRestorableDeviceClientID registration =
      AMRestorableDeviceRegisterForNotifications(deviceNotificationCallback, this, &failure);
  if (failure != nullptr) {
    cf_error error(failure);
    outputter->print_formatted_error(error.get());
    throw error;
  }

  if (operation == command_kind::list_devices) {
    listDevices();
  } else {
    if (!ecid) {
      throw CreateDomainError(Error::BadCommand,
                              text::format("{} command requires device ecid", commandName));
    }
    const std::shared_ptr<_AMRestorableDevice> device = waitForDevice(*ecid);
    if (!device) {
      throw CreateDomainError(
          Error::BadEcid,
          text::format("Failed to find device with ecid {} after {} seconds",
                       std::string_view(*ecid),
                       std::chrono::duration_cast<std::chrono::seconds>(detectTimeout).count()));
    }
    switch (operation) {
      case command_kind::exit_recovery:
      case command_kind::no_exit_recovery:
        runRecoveryCommand(device.get());
        break;
      case command_kind::restore:
      case command_kind::enter_restore_mode:
        operateRestore(device.get());
        break;
      case command_kind::device_info:
        printDeviceInfo(device.get());
        break;
      default:
        throw CreateDomainError(Error::InvalidArgument, "Internal error, missing operation");
    }
  }

  {
    const std::lock_guard<std::mutex> lock(mutex);
    inTeardown = true;
  }
  outputter->say(speaker, "AMRestorableDeviceUnregisterForNotifications()");
  AMRestorableDeviceUnregisterForNotifications(registration);
}

void device_notifier_state::listDevices() {
  std::this_thread::sleep_for(detectTimeout);
  const std::lock_guard<std::mutex> lock(mutex);
  std::vector<TY::ecid> ecids;
  ecids.reserve(devices.size());
  for (const auto& [ecid, device] : devices) ecids.push_back(ecid);
  std::sort(ecids.begin(), ecids.end());
  const cf_object list(make_cftype(std::span<const TY::ecid>(ecids)));
  outputter->print_value(CFSTR("DeviceList"), list.get());
}

}  // namespace korvrestore
