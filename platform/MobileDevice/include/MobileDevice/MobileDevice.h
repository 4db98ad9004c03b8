/// The C API of the MobileDevice framework, as far as this project calls it. The framework has no
/// public header, so this one serves on macOS too, where the names bind to the framework.
///
/// What a function with Create or Copy in its name returns belongs to the caller, who gives it
/// back with CFRelease. All functions may be called on any thread.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

/// One attachment of a device in DFU, Recovery, RestoreOS or booted state; a CF type.
using AMRestorableDeviceRef = struct _AMRestorableDevice*;
/// What a restorable device in Recovery takes commands through; a CF type.
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

/// 0: no registration.
using AMRestorableDeviceClientID = std::int32_t;

/// One report about a device. `device` is borrowed for the call.
using AMRestorableDeviceNotificationCallback = void (*)(AMRestorableDeviceRef device,
                                                        AMRestorableDeviceNotificationType type,
                                                        void* context);
/// One status report of a restore: "Status" (string), "Operation" and "Progress" (numbers) and
/// whatever else there is to say. Both objects are borrowed for the call.
using AMRestorableDeviceRestoreCallback = void (*)(AMRestorableDeviceRef device,
                                                   CFDictionaryRef status, void* context);
using AMDeviceNotificationCallback = void (*)(void* info, void* context);

#pragma GCC visibility push(default)
extern "C" {

/// Booted devices' notifications; `*notification` is what unsubscribing takes. 0 on success.
int AMDeviceNotificationSubscribe(AMDeviceNotificationCallback callback, unsigned int unused1,
                                  unsigned int unused2, void* context,
                                  AMDeviceNotificationRef* notification);
int AMDeviceNotificationUnsubscribe(AMDeviceNotificationRef notification);

/// Has `callback` called on the main dispatch queue, in order: once for each device that is
/// attached already, then at each change. On failure returns 0 and, unless `error` is NULL, puts a
/// new CFError (the caller's) into `*error`.
AMRestorableDeviceClientID AMRestorableDeviceRegisterForNotifications(
    AMRestorableDeviceNotificationCallback callback, void* context, CFErrorRef* error);
/// A barrier: once it has returned, no callback of the registration runs or will run. Called from
/// inside the callback, it lets that one call finish.
void AMRestorableDeviceUnregisterForNotifications(AMRestorableDeviceClientID client);

AMRestorableDeviceState AMRestorableDeviceGetState(AMRestorableDeviceRef device);
std::uint64_t AMRestorableDeviceGetECID(AMRestorableDeviceRef device);
std::uint16_t AMRestorableDeviceGetProductID(AMRestorableDeviceRef device);
std::uint32_t AMRestorableDeviceGetBoardID(AMRestorableDeviceRef device);
std::uint32_t AMRestorableDeviceGetChipID(AMRestorableDeviceRef device);
std::uint32_t AMRestorableDeviceGetProductType(AMRestorableDeviceRef device);
std::uint32_t AMRestorableDeviceGetFusingInfo(AMRestorableDeviceRef device);
/// The USB location: the bus in the top byte, then one hexadecimal digit per hub port.
std::uint32_t AMRestorableDeviceGetLocationID(AMRestorableDeviceRef device);
/// NULL when the device gives none.
CFStringRef AMRestorableDeviceCopySerialNumber(AMRestorableDeviceRef device);
/// NULL when the device gives none.
CFStringRef AMRestorableDeviceCopyProductString(AMRestorableDeviceRef device);
/// NULL when the device can't be spoken to in Recovery.
AMRecoveryModeDeviceRef AMRestorableDeviceCopyRecoveryModeDevice(AMRestorableDeviceRef device);

/// Whether the device boots its system at the next start. Blocks until it has answered.
AMRError AMRecoveryModeDeviceSetAutoBoot(AMRecoveryModeDeviceRef device, Boolean auto_boot);
/// Blocks until the device has taken the command, not until it is back.
AMRError AMRecoveryModeDeviceReboot(AMRecoveryModeDeviceRef device);

/// The options that a restore needs besides the bundle; NULL when there are none.
CFMutableDictionaryRef AMRestoreCreateDefaultOptions(CFAllocatorRef allocator);
/// Starts a restore and returns. `callback` is called on a thread of the library, for every report
/// until the one of operation 0 with progress 100, the end. `device` and `options` are retained.
AMRError AMRestorableDeviceRestore(AMRestorableDeviceRef device, CFDictionaryRef options,
                                   AMRestorableDeviceRestoreCallback callback, void* context);
/// Logs what reaches devices to the end of the file `path` from now on. 0 on success.
int AMRestoreEnableFileLogging(const char* path);

/// The texts of a restore operation and of an AMRError; never NULL for 0. An unknown number gives
/// "Unrecognized operation" or "Unrecognized error", or NULL.
CFStringRef AMRLocalizedCopyStringForAMROperation(int operation);
CFStringRef AMRLocalizedCopyStringForAMRError(int error);

}  // extern "C"
#pragma GCC visibility pop
