
#include "device/RestorableDeviceHandler.h"
#include "device/mobile_device_format.h"
#include "driver/error.h"
#include "support/abort.h"
#include "text/format.h"

namespace korvrestore {
namespace {

constexpr const char* speaker = "operateOnRecoveryDevice";

void set_auto_boot(output_str_state& output, AMRecoveryModeDeviceRef device, bool on) {
  output.say(speaker, "AMRecoveryModeDeviceSetAutoBoot({})", on);
  const AMRError result = AMRecoveryModeDeviceSetAutoBoot(device, on);
  if (result != kAMRSuccess) {
    throw CreateDomainError(Error::RecoveryCommandFailed,
                            text::format("SetAutoBoot command failed ({})", result));
  }
}

void reboot(output_str_state& output, AMRecoveryModeDeviceRef device) {
  output.say(speaker, "AMRecoveryModeDeviceReboot()");
  const AMRError result = AMRecoveryModeDeviceReboot(device);
  if (result != kAMRSuccess) {
    throw CreateDomainError(Error::RecoveryCommandFailed,
                            text::format("Reboot command failed ({})", result));
  }
}

}  // namespace

void device_notifier_state::runRecoveryCommand(AMRestorableDeviceRef device) {
  const AMRestorableDeviceState state = AMRestorableDeviceGetState(device);
  if (state != kAMRestorableDeviceStateRecovery) {
    throw CreateDomainError(
        Error::DeviceBadState,
        text::format("Device in state {} not valid for {}", state, commandName));
  }
  const std::unique_ptr<_AMRecoveryModeDevice, CFTypeDeleter> recoveryDevice(
      AMRestorableDeviceCopyRecoveryModeDevice(device));
  if (!recoveryDevice) {
    throw CreateDomainError(Error::DeviceBadState,
                            "Recovery device not available for this Restorable device");
  }
  operateOnRecoveryDevice(recoveryDevice.get());
}

void device_notifier_state::operateOnRecoveryDevice(AMRecoveryModeDeviceRef recoveryDevice) {
  if (recoveryDevice == nullptr)
    assertion_failed({restorable_device_handler_file, 270, speaker, "recoveryDevice != nullptr"});
  switch (operation) {
    case command_kind::no_exit_recovery:
      set_auto_boot(*outputter, recoveryDevice, /*on=*/false);
      break;
    case command_kind::exit_recovery:
      set_auto_boot(*outputter, recoveryDevice, /*on=*/true);
      reboot(*outputter, recoveryDevice);
      break;
    default:
      return;
  }
  outputter->print_value(CFSTR("CommandSuccess"), kCFBooleanTrue);
}

}  // namespace korvrestore
