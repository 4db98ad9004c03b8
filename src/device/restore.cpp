
#include <atomic>
#include <stdexcept>

#include "device/RestorableDeviceHandler.h"
#include "device/mobile_device_format.h"
#include "driver/error.h"
#include "output/cf_strings.h"
#include "output/plist_values.h"
#include "support/abort.h"
#include "text/format.h"

namespace korvrestore {
namespace {

constexpr const char* speaker = "restoreCallback";

/// The number under `key`; empty if there is none or it doesn't fit.
template <typename Number, CFNumberType Type>
std::optional<Number> number_under(CFDictionaryRef dictionary, CFStringRef key) {
  const void* value = CFDictionaryGetValue(dictionary, key);
  if (value == nullptr || CFGetTypeID(value) != CFNumberGetTypeID()) return std::nullopt;
  Number number = 0;
  if (!CFNumberGetValue(static_cast<CFNumberRef>(value), Type, &number)) return std::nullopt;
  return number;
}

std::optional<std::string> string_under(CFDictionaryRef dictionary, CFStringRef key) {
  const void* value = CFDictionaryGetValue(dictionary, key);
  if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID()) return std::nullopt;
  return make_string(static_cast<CFStringRef>(value));
}

void set_path(CFMutableDictionaryRef dictionary, CFStringRef key, const std::string& path) {
  const cf_string string(
      CFStringCreateWithCString(kCFAllocatorDefault, path.c_str(), kCFStringEncodingUTF8));
  if (!string) throw std::invalid_argument("Path is not valid UTF-8");
  CFDictionarySetValue(dictionary, key, string.get());
}

/// The values that every status report has.
struct restore_status {
  std::string status;
  operation_type operation;
  std::int64_t progress;
};

std::optional<restore_status> read_status(CFDictionaryRef dictionary) {
  std::optional<std::string> status = string_under(dictionary, CFSTR("Status"));
  const std::optional<std::int32_t> operation =
      number_under<std::int32_t, kCFNumberSInt32Type>(dictionary, CFSTR("Operation"));
  const std::optional<std::int64_t> progress =
      number_under<std::int64_t, kCFNumberSInt64Type>(dictionary, CFSTR("Progress"));
  if (!status || !operation || !progress) return std::nullopt;
  return restore_status{std::move(*status), operation_type{*operation}, *progress};
}

/// The report as a message value: safe for XML, with the operation's name.
cf_mutable_dictionary make_report(CFDictionaryRef sanitized, operation_type operation) {
  auto report = not_null<cf_mutable_dictionary>(
      CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, sanitized));
  if (operation != operation_type::ended) {
    const cf_string name(
        AMRLocalizedCopyStringForAMROperation(static_cast<std::int32_t>(operation)));
    if (name) CFDictionarySetValue(report.get(), CFSTR("TY_OperationName"), name.get());
  }
  return report;
}

}  // namespace

void device_notifier_state::CreateDefaultRestoreOptions(const TY::filesystem::path& bundlePath,
                                                        bool erase) {
  static std::atomic<std::uint32_t> gBundleCounter = 0;

  cf_mutable_dictionary options(AMRestoreCreateDefaultOptions(kCFAllocatorDefault));
  if (!options) throw std::runtime_error("AMRestoreCreateDefaultOptions failed");
  CFDictionarySetValue(options.get(), CFSTR("AuthInstallRestoreBehavior"),
                       erase ? CFSTR("Erase") : CFSTR("Update"));
  CFDictionarySetValue(options.get(), CFSTR("BootImageType"),
                       erase ? CFSTR("UserOrInternal") : CFSTR("Update"));
  const TY::filesystem::path personalizedPath =
      scratchLocation / "PRB" / std::to_string(++gBundleCounter);
  set_path(options.get(), CFSTR("PersonalizedRestoreBundlePath"), personalizedPath.native());
  set_path(options.get(), CFSTR("RestoreBundlePath"), bundlePath.native());
  restoreOptions = std::move(options);
}

void device_notifier_state::operateRestore(AMRestorableDeviceRef device) {
  if (!restoreOptions) throw CreateDomainError(Error::InvalidArgument, "restoreOptions not set");
  completion = std::promise<void>();
  // The result is ignored: MobileDevice also reports a restore that can't start in a status report,
  // which is the message that readers of the stream wait for.
  AMRestorableDeviceRestore(device, restoreOptions.get(), restoreCallback, this);

  std::future<void> completed = completion.get_future();
  const std::chrono::steady_clock::time_point deadline =
      std::chrono::steady_clock::now() + restoreTimeout;
  if (completed.wait_until(deadline) == std::future_status::timeout) {
    const cf_error error = CreateDomainError(
        Error::RestoreTimeout,
        text::format("Aborting, restore did not complete in {} seconds",
                     std::chrono::duration_cast<std::chrono::seconds>(restoreTimeout).count()));
    outputter->print_formatted_error(error.get());
    return;
  }
  completed.get();
}

void device_notifier_state::restoreCallback(AMRestorableDeviceRef, CFDictionaryRef statusDict,
                                            void* context) noexcept {
  if (context == nullptr)
    assertion_failed({restorable_device_handler_file, 328, speaker, "context"});
  const callback_entry entry(context);
  if (!entry.is_open()) return;
  device_notifier_state& session = *static_cast<device_notifier_state*>(context);
  try {
    session.restoreReported(statusDict);
  } catch (...) {
    // MobileDevice's frames can't be unwound, and the lost report may have been the last.
    session.notifyCompletion(std::current_exception());
  }
}

void device_notifier_state::restoreReported(CFDictionaryRef statusDict) {
  if (statusDict == nullptr) {
    outputter->say(speaker, "Invalid argument");
    return;
  }
  const std::optional<restore_status> status = read_status(statusDict);
  if (!status) {
    outputter->say(speaker, "Ignoring invalid statusDict");
    return;
  }
  outputter->say(speaker, "status {}, operation {}, progress {}", status->status, status->operation,
                 status->progress);

  const cf_object sanitized = sanitize_for_xml(statusDict, on_error::skip);
  if (!sanitized || CFGetTypeID(sanitized.get()) != CFDictionaryGetTypeID()) {
    outputter->say(speaker, "Could not convert statusDict");
    return;
  }
  const cf_mutable_dictionary report =
      make_report(static_cast<CFDictionaryRef>(sanitized.get()), status->operation);
  outputter->print_value(CFSTR("RestoreStatus"), report.get());

  if (status->operation == operation_type::ended && status->progress == 100) {
    outputter->say(speaker, "Notifying restore complete");
    notifyCompletion();
  } else if (operation == command_kind::enter_restore_mode &&
             status->operation == operation_type::entered_restore_mode) {
    outputter->say(speaker, "Notifying enter restore mode complete");
    notifyCompletion();
  }
}

void device_notifier_state::notifyCompletion(std::exception_ptr failure) {
  try {
    if (failure) {
      completion.set_exception(failure);
    } else {
      completion.set_value();
    }
  } catch (const std::future_error&) {
    // The end was already reported: MobileDevice may report it more than once.
  }
}

}  // namespace korvrestore
