#pragma once

#include <MobileDevice/MobileDevice.h>
#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace korvrestore {

/// MobileDevice's number of a restore operation in status reports. 0 with progress 100 is the end
/// of the restore.
enum class operation_type : std::int32_t {
  ended = 0,
  entered_restore_mode = 9,
};

/// Texts of MobileDevice's numbers in messages. If MobileDevice has no text, the number itself is
/// named.
std::string get_error_str(AMRError error);
std::string get_operation_str(operation_type operation);
std::string get_state_str(AMRestorableDeviceState state);
std::string get_notification_type_str(AMRestorableDeviceNotificationType type);

/// Formats a number of MobileDevice's as the string that `Text` returns for it.
template <typename Number, std::string (*Text)(Number)>
struct text_formatter : fmt::formatter<std::string_view> {
  template <typename Context>
  auto format(Number number, Context& context) const {
    return fmt::formatter<std::string_view>::format(Text(number), context);
  }
};

}  // namespace korvrestore

template <>
struct fmt::formatter<AMRError>
    : korvrestore::text_formatter<AMRError, korvrestore::get_error_str> {};

template <>
struct fmt::formatter<korvrestore::operation_type>
    : korvrestore::text_formatter<korvrestore::operation_type, korvrestore::get_operation_str> {};

template <>
struct fmt::formatter<AMRestorableDeviceState>
    : korvrestore::text_formatter<AMRestorableDeviceState, korvrestore::get_state_str> {};

template <>
struct fmt::formatter<AMRestorableDeviceNotificationType>
    : korvrestore::text_formatter<AMRestorableDeviceNotificationType,
                                  korvrestore::get_notification_type_str> {};
