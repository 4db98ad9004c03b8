#include "restore.h"

#include <array>
#include <new>
#include <string>
#include <thread>

#include "../operation_and_error_numbers.h"
#include "../status_report.h"
#include "build_identity.h"
#include "failure.h"
#include "ipsw.h"

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

  void check_presence(Clock::time_point due = Clock::time_point::min()) const {
    if (!stay_until_(due))
      throw Failure(FailureCode::kDeviceLeft, "the device left during the restore");
  }

  void report(Step step, const char* status = "Restoring") const {
    check_presence(after(start_, duration_ * step.progress / 100));
    receiver_(make_status_report(status, step.operation, step.progress, nullptr).get());
  }

 private:
  const Clock::time_point start_ = Clock::now();
  const Seconds duration_;
  const StayUntil& stay_until_;
  const StatusReceiver& receiver_;
};

void restore(const DeviceProperties& device, CFDictionaryRef options,
             const PersonalizedFolder& folder, const Reporter& reporter) {
  reporter.report({kOperationCheckBundle, 0});
  const std::string bundle = path_option(options, "RestoreBundlePath");
  folder.check_path();
  Ipsw ipsw(bundle);
  int progress = 0;
  ipsw.verify([&](double share) {
    const int now = static_cast<int>(share * kProgressWhenChecked);
    for (; progress < now; ++progress) reporter.report({kOperationCheckBundle, progress + 1});
    reporter.check_presence();
  });
  reporter.report({kOperationPersonalizeBundle, kProgressWhenChecked + 2});
  const Owned<CFDictionaryRef> manifest =
      personalize(ipsw.build_manifest().value.get(), device,
                  CFDictionaryGetValue(options, CFSTR("AuthInstallRestoreBehavior")), bundle);
  folder.write(manifest.get());
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

void run_course(const DeviceProperties& device, CFDictionaryRef options,
                const PersonalizedFolder& folder, Seconds duration, const StayUntil& stay_until,
                const StatusReceiver& receiver) {
  Owned<CFErrorRef> error;
  try {
    restore(device, options, folder, Reporter(duration, stay_until, receiver));
    return;
  } catch (const Failure& failure) {
    error = failure.error();
  } catch (const std::bad_alloc&) {
    error = Failure(FailureCode::kInternal, "no memory").error();
  } catch (const std::exception& failure) {
    error = Failure(FailureCode::kInternal, failure.what()).error();
  }
  folder.discard();
  receiver(make_failure_report(error.get()).get());
}

void report_absence(const StatusReceiver& receiver) {
  const Failure failure(FailureCode::kDeviceLeft, "the device is not attached");
  receiver(make_failure_report(failure.error().get()).get());
}

}  // namespace MobileDevice::simulator
