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

/// The command that a session carries out.
enum class command_kind : std::uint32_t {
  list_devices = 0,
  device_info = 1,
  exit_recovery = 2,
  no_exit_recovery = 3,
  restore = 4,
  enter_restore_mode = 5,
};

/// The file name in the assertions of the device session.
inline constexpr const char* restorable_device_handler_file = "RestorableDeviceHandler";

/// The callback for AMDeviceNotificationSubscribe; does nothing.
void dummyCallback(void*, void*);

/// The session of one command with MobileDevice: the attached devices, the scratch directory and
/// the command's parameters. The runner creates it in a shared pointer, sets the parameters and
/// calls `waitForCompletion` once.
///
/// Errors are thrown as `cf_error` (driver/error.h).
///
/// Each group of members is defined in a separate file:
///   RestorableDeviceHandler.cpp  construction, destruction, scratch directory, log file
///   command_dispatch.cpp         waitForCompletion, listDevices
///   device_arrival.cpp           deviceNotificationCallback, waitForDevice, the table of devices
///   device_info.cpp              printDeviceInfo
///   recovery_commands.cpp        runRecoveryCommand, operateOnRecoveryDevice
///   restore.cpp                  restore options, operateRestore, restoreCallback
struct device_notifier_state {
  using duration = std::chrono::duration<std::int64_t, std::nano>;

  /// Chooses the name of the scratch directory without creating it: `scratchOverride`, or a unique
  /// name in the system's temporary directory. Asks MobileDevice to log to `logFile`, if given;
  /// failure to do so is ignored.
  /// @throws boost::filesystem::filesystem_error  no temporary directory.
  device_notifier_state(std::shared_ptr<output_str_state> outputter,
                        std::optional<TY::filesystem::path> logFile,
                        std::optional<TY::filesystem::path> scratchOverride);
  device_notifier_state(const device_notifier_state&) = delete;
  device_notifier_state& operator=(const device_notifier_state&) = delete;
  /// Removes the scratch directory and its contents. Waits for running callbacks.
  ~device_notifier_state();

  /// Carries out the command; blocks. Call it on a thread that doesn't serve the main dispatch
  /// queue, on which MobileDevice reports devices. If it throws, the registration for devices
  /// remains: the process ends soon after.
  void waitForCompletion();

  /// Sets `restoreOptions` to MobileDevice's default options for the bundle.
  /// @throws std::runtime_error  MobileDevice has no default options.
  void CreateDefaultRestoreOptions(const TY::filesystem::path& bundlePath, bool erase);

  /// Callbacks for MobileDevice's reports; `context` is the session.
  static void deviceNotificationCallback(AMRestorableDeviceRef device,
                                         AMRestorableDeviceNotificationType type,
                                         void* context) noexcept;
  static void restoreCallback(AMRestorableDeviceRef device, CFDictionaryRef statusDict,
                              void* context) noexcept;

  /// Waits up to `detectTimeout` for the device with that ECID; empty if it doesn't arrive.
  std::shared_ptr<_AMRestorableDevice> waitForDevice(const TY::ecid& ecid);

  /// Carries out command 2 or 3 on a borrowed device; any other command does nothing.
  void operateOnRecoveryDevice(AMRecoveryModeDeviceRef recoveryDevice);

  /// Restores with `restoreOptions`, waiting up to `restoreTimeout` for the end. A timeout is
  /// reported as a message, not thrown, and doesn't stop the restore.
  /// @throws the exception of a status report that couldn't be passed on; the restore continues.
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
  std::optional<callback_gate> gate{this};  // empty once the destructor has closed it

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
