#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <MobileDevice/MobileDevice.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "device/callback_gate.h"
#include "output/output_str_state.h"
#include "support/cf_type_deleter.h"
#include "support/ecid.h"
#include "support/filesystem.h"

namespace korvrestore {

/// What a session is asked to do.
enum class command_kind : std::uint32_t {
  list_devices = 0,
  device_info = 1,
  exit_recovery = 2,
  no_exit_recovery = 3,
  restore = 4,
  enter_restore_mode = 5,
};

/// The name that assertions of the device session's files carry.
inline constexpr const char* restorable_device_handler_file = "RestorableDeviceHandler";

/// Handed to AMDeviceNotificationSubscribe; does nothing.
void dummyCallback(void*, void*);

/// One command's session with MobileDevice, from the first call to the last: the devices that are
/// attached, the scratch directory, the command's parameters. The runner makes one in a shared
/// pointer, sets the parameters and calls `waitForCompletion` once.
///
/// Errors are thrown as `cf_error` (driver/error.h).
///
/// Each group of members is defined in a file of its own:
///   RestorableDeviceHandler.cpp  construction, destruction, scratch directory, log file
///   command_dispatch.cpp         waitForCompletion, listDevices
///   device_arrival.cpp           deviceNotificationCallback, waitForDevice, the table of devices
///   device_info.cpp              printDeviceInfo
///   recovery_commands.cpp        runRecoveryCommand, operateOnRecoveryDevice
///   restore.cpp                  restore options, operateRestore, restoreCallback,
///   notifyCompletion
struct device_notifier_state {
  using duration = std::chrono::duration<std::int64_t, std::nano>;

  /// Names the scratch directory (without making it): `scratchOverride`, or a unique name under
  /// the system's temporary directory. Has MobileDevice log restores to `logFile`, if given; that
  /// it can't is no error.
  /// @throws boost::filesystem::filesystem_error  no temporary directory.
  device_notifier_state(std::shared_ptr<output_str_state> outputter,
                        std::optional<TY::filesystem::path> logFile,
                        std::optional<TY::filesystem::path> scratchOverride);
  device_notifier_state(const device_notifier_state&) = delete;
  device_notifier_state& operator=(const device_notifier_state&) = delete;
  /// Removes the scratch directory and all that is in it. Waits for callbacks that are running.
  ~device_notifier_state();

  /// Carries the command out; blocks. Called on a thread that doesn't serve the main dispatch
  /// queue, on which devices are reported. On a thrown error the registration for devices stays in
  /// place: the process ends soon after.
  void waitForCompletion();

  /// Sets `restoreOptions` to MobileDevice's default ones for the bundle.
  /// @throws std::runtime_error  MobileDevice has no default options.
  void CreateDefaultRestoreOptions(const TY::filesystem::path& bundlePath, bool erase);

  /// MobileDevice's reports; `context` is the session. They let no exception out.
  static void deviceNotificationCallback(AMRestorableDeviceRef device,
                                         AMRestorableDeviceNotificationType type,
                                         void* context) noexcept;
  static void restoreCallback(AMRestorableDeviceRef device, CFDictionaryRef statusDict,
                              void* context) noexcept;

  /// The device with that ECID, waited for up to `detectTimeout`; empty when it didn't come.
  std::shared_ptr<_AMRestorableDevice> waitForDevice(const TY::ecid& ecid);

  /// Carries out command 2 or 3 on a borrowed device; any other command does nothing.
  void operateOnRecoveryDevice(AMRecoveryModeDeviceRef recoveryDevice);

  /// Restores with `restoreOptions`, waiting up to `restoreTimeout` for the end. A timeout is
  /// reported as a message, not thrown, and doesn't stop the restore.
  /// @throws the exception that a status report ended with; the restore goes on then too.
  void operateRestore(AMRestorableDeviceRef device);

  std::shared_ptr<output_str_state> outputter;
  TY::filesystem::path scratchLocation;
  cf_dictionary restoreOptions;
  std::unordered_map<TY::ecid, std::shared_ptr<_AMRestorableDevice>> devices;
  std::mutex mutex;  // guards devices and inTeardown
  std::condition_variable deviceArrived;
  bool inTeardown = false;
  command_kind operation = command_kind::list_devices;
  std::string commandName;  // the command's option as typed
  duration detectTimeout = std::chrono::seconds(3);
  std::optional<TY::ecid> ecid;
  duration restoreTimeout = std::chrono::hours(2);
  std::promise<void> completion;  // fulfilled when a restore has ended or a report was lost
  callback_gate gate{this};       // the last member: it closes before the others are gone

 private:
  void deviceReported(AMRestorableDeviceRef device, AMRestorableDeviceNotificationType type);
  void deviceConnected(const TY::ecid& ecid, AMRestorableDeviceRef device);
  void deviceDisconnected(const TY::ecid& ecid);
  void restoreReported(CFDictionaryRef statusDict);
  void notifyCompletion(std::exception_ptr failure = nullptr);

  void listDevices();
  void printDeviceInfo(AMRestorableDeviceRef device);
  /// Checks that the device is in Recovery, then calls `operateOnRecoveryDevice`.
  void runRecoveryCommand(AMRestorableDeviceRef device);
};

}  // namespace korvrestore
