#include "device/mobile_device_format.h"

#include <algorithm>
#include <initializer_list>
#include <optional>

#include "output/cf_strings.h"
#include "text/format.h"

namespace korvrestore {
namespace {

/// The text of `owned`, which is released. Empty if it is one of MobileDevice's texts for unknown
/// numbers.
std::optional<std::string> known_text(CFStringRef owned,
                                      std::initializer_list<std::string_view> unknown) {
  std::optional<std::string> text = take_string(owned);
  if (text && std::find(unknown.begin(), unknown.end(), *text) != unknown.end()) text.reset();
  return text;
}

}  // namespace

std::string get_error_str(AMRError error) {
  const std::int32_t number = error;
  return known_text(AMRLocalizedCopyStringForAMRError(number),
                    {"Unrecognized server error", "Unrecognized error", "Unknown"})
      .value_or(text::format("Unknown error {}", number));
}

std::string get_operation_str(operation_type operation) {
  const std::int32_t number = static_cast<std::int32_t>(operation);
  return known_text(AMRLocalizedCopyStringForAMROperation(number),
                    {"Unrecognized operation", "Unknown"})
      .value_or(text::format("Unknown operation {}", number));
}

std::string get_state_str(AMRestorableDeviceState state) {
  switch (state) {
    case kAMRestorableDeviceStateUnknown:
      return "Unknown";
    case kAMRestorableDeviceStateDFU:
      return "DFU";
    case kAMRestorableDeviceStateRecovery:
      return "Recovery";
    case kAMRestorableDeviceStateRestoreOS:
      return "RestoreOS";
    case kAMRestorableDeviceStateBootedOS:
      return "BootedOS";
  }
  return text::format("<invalid device state {}>", static_cast<std::int32_t>(state));
}

std::string get_notification_type_str(AMRestorableDeviceNotificationType type) {
  switch (type) {
    case kAMRestorableDeviceConnected:
      return "connected";
    case kAMRestorableDeviceDisconnected:
      return "disconnected";
  }
  return text::format("<invalid notification type {}>", static_cast<std::int32_t>(type));
}

}  // namespace korvrestore
