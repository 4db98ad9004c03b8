/// The content of a scenario file.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "../backend.h"
#include "../cf_values.h"
#include "timeline.h"

namespace MobileDevice::simulator {

/// A report in addition to those of arrivals and departures.
struct RawReport {
  Seconds after{0};  // since the start
  AMRestorableDeviceNotificationType type = kAMRestorableDeviceConnected;
  std::optional<AMRestorableDeviceState> state;  // the device's from this report on
};

/// One step of a scripted restore.
struct ScriptedStatus {
  Seconds after{0};  // since the one before
  Owned<CFDictionaryRef> status;
};

struct DevicePlan {
  DeviceProperties properties;  // as the device first attaches
  Seconds attach_after{0};      // since the start
  std::optional<Seconds> detach_after;
  bool no_recovery_device = false;
  AMRError set_auto_boot_error = kAMRSuccess;
  AMRError reboot_error = kAMRSuccess;
  std::vector<RawReport> notifications;
  Seconds boot_seconds{2};
  Seconds restore_seconds{2};
  std::optional<std::vector<ScriptedStatus>> restore;  // without: the built-in restore
};

struct Scenario {
  std::vector<DevicePlan> devices;
  std::map<int, std::string> operation_texts;
  std::map<int, std::string> error_texts;
  Owned<CFErrorRef> registration_error;
  int file_logging_error = 0;
  bool no_default_restore_options = false;
};

/// @throws Failure  the text names the file, the place in it and the expected value.
Scenario read_scenario(const std::string& file);

}  // namespace MobileDevice::simulator
