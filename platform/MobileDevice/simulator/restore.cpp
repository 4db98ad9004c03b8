#include "restore.h"

#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>

#include "../operation_and_error_numbers.h"
#include "../status_report.h"
#include "build_identity.h"
#include "failure.h"
#include "ipsw.h"
#include "plist_file.h"

namespace MobileDevice::simulator {
namespace {

/// A report that is due when `progress` per cent of the time have passed.
struct Step {
  Operation operation;
  int progress;
};

constexpr int kProgressWhenChecked = 10;
constexpr std::array kStepsAfterPersonalizing = {
    Step{kOperationEnterRestoreMode, 15}, Step{kOperationEnterRestoreMode, 20},
    Step{kOperationEnterRestoreMode, 25}, Step{kOperationCreateFileSystems, 30},
    Step{kOperationSendSystem, 35},       Step{kOperationSendSystem, 45},
    Step{kOperationSendSystem, 55},       Step{kOperationSendSystem, 65},
    Step{kOperationVerifySystem, 70},     Step{kOperationVerifySystem, 80},
    Step{kOperationUpdateFirmware, 85},   Step{kOperationUpdateFirmware, 90},
    Step{kOperationRestart, 95},
};

/// Sends the reports of one restore, each when it is due.
class Reporter {
 public:
  Reporter(Seconds duration, const StayUntil& stay_until, const StatusReceiver& receiver)
      : duration_(duration), stay_until_(stay_until), receiver_(receiver) {}

  void report(Step step, const char* status = "Restoring") const {
    if (!stay_until_(after(start_, duration_ * step.progress / 100)))
      throw Failure(FailureCode::kDeviceLeft, "the device left during the restore");
    receiver_(make_status_report(status, step.operation, step.progress, nullptr).get());
  }

 private:
  const Clock::time_point start_ = Clock::now();
  const Seconds duration_;
  const StayUntil& stay_until_;
  const StatusReceiver& receiver_;
};

std::string path_option(CFDictionaryRef options, const char* key) {
  const CFStringRef path = cast<CFStringRef>(
      CFDictionaryGetValue(options, make_cfstring(key).get()), CFStringGetTypeID());
  std::string text = path == nullptr ? "" : to_text(path);
  if (text.empty() || text.find('\0') != std::string::npos) {
    throw Failure(FailureCode::kOptions,
                  fmt::format("restore options: {}: expected a path, a string", key));
  }
  return text;
}

void write_personalized_bundle(CFDictionaryRef manifest, const std::string& directory) {
  try {
    std::filesystem::create_directories(directory);
    write_plist_file(manifest, directory + "/BuildManifest.plist");
  } catch (const std::system_error& failure) {
    throw Failure(FailureCode::kPersonalizedBundle,
                  fmt::format("{}: {}", directory, failure.code().message()));
  } catch (const std::runtime_error& failure) {
    throw Failure(FailureCode::kPersonalizedBundle, failure.what());
  }
}

void restore(const DeviceProperties& device, CFDictionaryRef options, const Reporter& reporter) {
  reporter.report({kOperationCheckBundle, 0});
  const std::string bundle = path_option(options, "RestoreBundlePath");
  const std::string personalized = path_option(options, "PersonalizedRestoreBundlePath");
  Ipsw ipsw(bundle);
  int progress = 0;
  ipsw.verify([&](double share) {
    const int now = static_cast<int>(share * kProgressWhenChecked);
    for (; progress < now; ++progress) reporter.report({kOperationCheckBundle, progress + 1});
  });
  reporter.report({kOperationPersonalizeBundle, kProgressWhenChecked + 2});
  const Owned<CFDictionaryRef> manifest =
      personalize(ipsw.build_manifest().value.get(), device,
                  CFDictionaryGetValue(options, CFSTR("AuthInstallRestoreBehavior")), bundle);
  write_personalized_bundle(manifest.get(), personalized);
  for (const Step& step : kStepsAfterPersonalizing) reporter.report(step);
  reporter.report({kOperationEnd, 100}, "Successful");
}

}  // namespace

void play_script(const std::vector<ScriptedStatus>& script, const StatusReceiver& receiver) {
  Clock::time_point due = Clock::now();
  for (const ScriptedStatus& step : script) {
    due = after(due, step.after);
    std::this_thread::sleep_until(due);
    receiver(step.status.get());
  }
}

void run_course(const DeviceProperties& device, CFDictionaryRef options, Seconds duration,
                const StayUntil& stay_until, const StatusReceiver& receiver) {
  Owned<CFErrorRef> error;
  try {
    restore(device, options, Reporter(duration, stay_until, receiver));
    return;
  } catch (const Failure& failure) {
    error = failure.error();
  } catch (const std::exception& failure) {
    error = Failure(FailureCode::kInternal, failure.what()).error();
  }
  receiver(make_failure_report(error.get()).get());
}

void report_absence(const StatusReceiver& receiver) {
  const Failure failure(FailureCode::kDeviceLeft, "the device is not attached");
  receiver(make_failure_report(failure.error().get()).get());
}

}  // namespace MobileDevice::simulator
