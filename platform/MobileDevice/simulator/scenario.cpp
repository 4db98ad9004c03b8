#include "scenario.h"

#include <array>
#include <charconv>
#include <limits>
#include <utility>

#include "failure.h"
#include "fields.h"
#include "plist_file.h"

namespace MobileDevice::simulator {
namespace {

constexpr double kSmallestTimeScale = 0.001;
constexpr double kLargestTimeScale = 1'000'000;

template <typename Number>
Number number_in(const Field& field) {
  return static_cast<Number>(
      field.integer(std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max()));
}

template <typename Number>
void read_number(const Fields& fields, const char* key, Number& result) {
  if (const std::optional<Field> field = fields.get_if_present(key))
    result = number_in<Number>(*field);
}

void read_error(const Fields& fields, const char* key, AMRError& result) {
  std::int32_t number = kAMRSuccess;
  read_number(fields, key, number);
  result = AMRError{number};
}

void read_text(const Fields& fields, const char* key, std::optional<std::string>& result) {
  if (const std::optional<Field> field = fields.get_if_present(key)) result = field->text();
}

void read_boolean(const Fields& fields, const char* key, bool& result) {
  if (const std::optional<Field> field = fields.get_if_present(key)) result = field->boolean();
}

void read_seconds(const Fields& fields, const char* key, Seconds& result) {
  if (const std::optional<Field> field = fields.get_if_present(key)) result = field->seconds();
}

std::uint64_t read_ecid(const Field& field) {
  if (const CFStringRef string = cast<CFStringRef>(field.value, CFStringGetTypeID())) {
    const std::string digits = to_text(string);
    std::uint64_t ecid = 0;
    const char* const end = digits.data() + digits.size();
    if (digits.size() == 16 && std::from_chars(digits.data(), end, ecid, 16).ptr == end)
      return ecid;
    const std::optional<std::int64_t> number =
        field.all_text ? parse_integer(digits) : std::nullopt;
    if (number && *number >= 0) return static_cast<std::uint64_t>(*number);
  } else if (const std::optional<std::uint64_t> ecid = unsigned_integer_in(field.value)) {
    return *ecid;
  }
  field.expected("16 hexadecimal digits or an integer from 0 to 18446744073709551615");
}

AMRestorableDeviceState read_state(const Field& field) {
  static constexpr std::array<const char*, 5> kNames = {"Unknown", "DFU", "Recovery", "RestoreOS",
                                                        "BootedOS"};
  std::optional<std::int64_t> number = integer_in(field.value);
  if (const CFStringRef string = cast<CFStringRef>(field.value, CFStringGetTypeID())) {
    const std::string text = to_text(string);
    for (std::size_t i = 0; i < kNames.size(); ++i)
      if (text == kNames[i]) return AMRestorableDeviceState{static_cast<std::int32_t>(i)};
    if (field.all_text) number = parse_integer(text);
  }
  if (!number || *number != static_cast<std::int32_t>(*number))
    field.expected("Unknown, DFU, Recovery, RestoreOS, BootedOS or a 32-bit integer");
  return AMRestorableDeviceState{static_cast<std::int32_t>(*number)};
}

RawReport read_raw_report(const Field& field) {
  const Fields fields(field, {"After", "Type", "State"});
  RawReport report;
  read_seconds(fields, "After", report.after);
  report.type = AMRestorableDeviceNotificationType{number_in<std::int32_t>(fields.get("Type"))};
  if (const std::optional<Field> state = fields.get_if_present("State"))
    report.state = read_state(*state);
  return report;
}

ScriptedStatus read_scripted_status(const Field& field) {
  ScriptedStatus step;
  const Fields fields(field);
  read_seconds(fields, "After", step.after);
  CFMutableDictionaryRef const status =
      CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, field.dictionary());
  CFDictionaryRemoveValue(status, CFSTR("After"));
  step.status.reset(status);
  return step;
}

DevicePlan read_device(const Field& field) {
  const Fields fields(
      field, {"ECID", "State", "ProductID", "BoardID", "ChipID", "ProductType", "FusingInfo",
              "LocationID", "SerialNumber", "ProductString", "AttachAfter", "DetachAfter",
              "NoRecoveryDevice", "SetAutoBootError", "RebootError", "Notifications", "BootSeconds",
              "RestoreSeconds", "Restore"});
  DevicePlan plan;
  DeviceProperties& properties = plan.properties;
  properties.ecid = read_ecid(fields.get("ECID"));
  properties.state = read_state(fields.get("State"));
  read_number(fields, "ProductID", properties.product_id);
  read_number(fields, "BoardID", properties.board_id);
  read_number(fields, "ChipID", properties.chip_id);
  read_number(fields, "ProductType", properties.product_type);
  read_number(fields, "FusingInfo", properties.fusing_info);
  read_number(fields, "LocationID", properties.location_id);
  read_text(fields, "SerialNumber", properties.serial_number);
  read_text(fields, "ProductString", properties.product_string);
  read_seconds(fields, "AttachAfter", plan.attach_after);
  if (const std::optional<Field> detach_after = fields.get_if_present("DetachAfter"))
    plan.detach_after = detach_after->seconds();
  read_boolean(fields, "NoRecoveryDevice", plan.no_recovery_device);
  read_error(fields, "SetAutoBootError", plan.set_auto_boot_error);
  read_error(fields, "RebootError", plan.reboot_error);
  if (const std::optional<Field> notifications = fields.get_if_present("Notifications")) {
    for (const Field& element : notifications->elements())
      plan.notifications.push_back(read_raw_report(element));
  }
  read_seconds(fields, "BootSeconds", plan.boot_seconds);
  read_seconds(fields, "RestoreSeconds", plan.restore_seconds);
  if (const std::optional<Field> restore = fields.get_if_present("Restore")) {
    if (field.all_text)
      restore->expected("no script in OpenStep text, where every value is text; use XML or binary");
    plan.restore.emplace();
    for (const Field& element : restore->elements())
      plan.restore->push_back(read_scripted_status(element));
  }
  return plan;
}

void divide_times(DevicePlan& plan, double scale) {
  plan.attach_after /= scale;
  if (plan.detach_after) *plan.detach_after /= scale;
  plan.boot_seconds /= scale;
  plan.restore_seconds /= scale;
  for (RawReport& report : plan.notifications) report.after /= scale;
  if (!plan.restore) return;
  for (ScriptedStatus& step : *plan.restore) step.after /= scale;
}

void read_texts(const Fields& fields, const char* key, std::map<int, std::string>& texts) {
  const std::optional<Field> field = fields.get_if_present(key);
  if (!field) return;
  const Fields by_number(*field);
  for (const auto& [number_text, text] : by_number.all()) {
    const std::optional<std::int64_t> number = parse_integer(number_text);
    if (!number || std::to_string(static_cast<std::int32_t>(*number)) != number_text)
      field->expected("keys that are 32-bit decimal integers, not " + number_text);
    texts.emplace(static_cast<std::int32_t>(*number), text.text());
  }
}

Owned<CFErrorRef> read_registration_error(const Field& field) {
  const Fields fields(field, {"Domain", "Code", "Description"});
  const std::string domain = fields.get("Domain").text();
  const CFIndex code = number_in<CFIndex>(fields.get("Code"));
  const std::string description = fields.get("Description").text();
  return make_error(domain, code, description);
}

Plist open_scenario(const std::string& file) {
  if (file.empty()) {
    throw Failure(FailureCode::kScenario,
                  "MOBILEDEVICE_SCENARIO is empty, expected the path of a scenario file");
  }
  try {
    return read_plist_file(file);
  } catch (const std::runtime_error& failure) {
    throw Failure(FailureCode::kScenario, failure.what());
  }
}

}  // namespace

Scenario read_scenario(const std::string& file) {
  const Plist plist = open_scenario(file);
  const Fields fields(
      Field{plist.value.get(), file, "", plist.format == kCFPropertyListOpenStepFormat},
      {"Devices", "TimeScale", "OperationTexts", "ErrorTexts", "RegistrationError",
       "FileLoggingError", "NoDefaultRestoreOptions"});
  Scenario scenario;
  for (const Field& element : fields.get("Devices").elements())
    scenario.devices.push_back(read_device(element));
  if (const std::optional<Field> scale = fields.get_if_present("TimeScale")) {
    const double number = scale->number("a number", kSmallestTimeScale, kLargestTimeScale);
    for (DevicePlan& device : scenario.devices) divide_times(device, number);
  }
  read_texts(fields, "OperationTexts", scenario.operation_texts);
  read_texts(fields, "ErrorTexts", scenario.error_texts);
  if (const std::optional<Field> error = fields.get_if_present("RegistrationError"))
    scenario.registration_error = read_registration_error(*error);
  read_number(fields, "FileLoggingError", scenario.file_logging_error);
  read_boolean(fields, "NoDefaultRestoreOptions", scenario.no_default_restore_options);
  return scenario;
}

}  // namespace MobileDevice::simulator
