/// The functions of the MobileDevice framework that this project calls. The framework has no public
/// header, so this one is used on macOS too, where the names are those of the framework.
///
/// The caller owns the result of a function with Create or Copy in its name and releases it with
/// CFRelease. All functions may be called on any thread.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

/// A device in DFU, Recovery, RestoreOS or booted state, from its arrival to its departure; a CF
/// type.
using AMRestorableDeviceRef = struct _AMRestorableDevice*;
/// The handle for commands to a device in Recovery; a CF type.
using AMRecoveryModeDeviceRef = struct _AMRecoveryModeDevice*;
using AMDeviceNotificationRef = struct _AMDeviceNotification*;

/// MobileDevice's error number; 0 is success.
enum AMRError : std::int32_t { kAMRSuccess = 0 };

enum AMRestorableDeviceState : std::int32_t {
  kAMRestorableDeviceStateUnknown = 0,
  kAMRestorableDeviceStateDFU = 1,
  kAMRestorableDeviceStateRecovery = 2,
  kAMRestorableDeviceStateRestoreOS = 3,
  kAMRestorableDeviceStateBootedOS = 4,
};

enum AMRestorableDeviceNotificationType : std::int32_t {
  kAMRestorableDeviceConnected = 0,
  kAMRestorableDeviceDisconnected = 1,
};

/// The number of a registration; 0 means none.
using AMRestorableDeviceClientID = std::int32_t;

/// One report about a device. `device` is borrowed for the call.
using AMRestorableDeviceNotificationCallback = void (*)(AMRestorableDeviceRef device,
                                                        AMRestorableDeviceNotificationType type,
                                                        void* context);
/// One status report of a restore: "Status" (string), "Operation" and "Progress" (numbers) and
/// further keys. Both objects are borrowed for the call.
using AMRestorableDeviceRestoreCallback = void (*)(AMRestorableDeviceRef device,
                                                   CFDictionaryRef status, void* context);
using AMDeviceNotificationCallback = void (*)(void* info, void* context);

#pragma GCC visibility push(default)
extern "C" {

/// Subscribes to notifications of booted devices. Stores the argument for unsubscribing in
/// `*notification`. 0 on success.
int AMDeviceNotificationSubscribe(AMDeviceNotificationCallback callback, unsigned int unused1,
                                  unsigned int unused2, void* context,
                                  AMDeviceNotificationRef* notification);
int AMDeviceNotificationUnsubscribe(AMDeviceNotificationRef notification);

/// Calls `callback` on the main dispatch queue, in order: once for each attached device, then at
/// each change. On failure returns 0 and, unless `error` is NULL, stores a new CFError in `*error`,
/// which the caller owns.
AMRestorableDeviceClientID AMRestorableDeviceRegisterForNotifications(
    AMRestorableDeviceNotificationCallback callback, void* context, CFErrorRef* error);
/// After its return no callback of the registration runs or will run. If it is called from inside
/// the callback, only that one call finishes.
void AMRestorableDeviceUnregisterForNotifications(AMRestorableDeviceClientID client);

AMRestorableDeviceState AMRestorableDeviceGetState(AMRestorableDeviceRef device);
std::uint64_t AMRestorableDeviceGetECID(AMRestorableDeviceRef device);
std::uint16_t AMRestorableDeviceGetProductID(AMRestorableDeviceRef device);
std::uint32_t AMRestorableDeviceGetBoardID(AMRestorableDeviceRef device);
std::uint32_t AMRestorableDeviceGetChipID(AMRestorableDeviceRef device);
std::uint32_t AMRestorableDeviceGetProductType(AMRestorableDeviceRef device);
std::uint32_t AMRestorableDeviceGetFusingInfo(AMRestorableDeviceRef device);
/// The USB location: the bus in the top byte, then one hexadecimal digit for each hub port.
std::uint32_t AMRestorableDeviceGetLocationID(AMRestorableDeviceRef device);
/// NULL if the device reports none.
CFStringRef AMRestorableDeviceCopySerialNumber(AMRestorableDeviceRef device);
/// NULL if the device reports none.
CFStringRef AMRestorableDeviceCopyProductString(AMRestorableDeviceRef device);
/// NULL if the device accepts no Recovery commands.
AMRecoveryModeDeviceRef AMRestorableDeviceCopyRecoveryModeDevice(AMRestorableDeviceRef device);

/// Sets whether the device boots its system at the next start. Blocks until it has answered.
AMRError AMRecoveryModeDeviceSetAutoBoot(AMRecoveryModeDeviceRef device, Boolean auto_boot);
/// Blocks until the device has accepted the command. Doesn't wait for the device to come back.
AMRError AMRecoveryModeDeviceReboot(AMRecoveryModeDeviceRef device);

/// The options that a restore needs in addition to the bundle; NULL if there are none.
CFMutableDictionaryRef AMRestoreCreateDefaultOptions(CFAllocatorRef allocator);
/// Starts a restore and returns. Calls `callback` on a thread of the library for every report until
/// the end, the report of operation 0 with progress 100. If the restore can't start, that report
/// comes on the calling thread, before the call returns. `device` and `options` are retained.
AMRError AMRestorableDeviceRestore(AMRestorableDeviceRef device, CFDictionaryRef options,
                                   AMRestorableDeviceRestoreCallback callback, void* context);
/// Appends the calls that reach devices to the file `path` from now on. 0 on success.
int AMRestoreEnableFileLogging(const char* path);

/// The texts of a restore operation and of an AMRError; never NULL for 0. For an unknown number
/// "Unrecognized operation" or "Unrecognized error", or NULL.
CFStringRef AMRLocalizedCopyStringForAMROperation(int operation);
CFStringRef AMRLocalizedCopyStringForAMRError(int error);

}  // extern "C"
#pragma GCC visibility pop
