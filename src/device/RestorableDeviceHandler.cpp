#include "device/RestorableDeviceHandler.h"

#include <boost/filesystem/operations.hpp>
#include <cstdint>

#include "output/cf_strings.h"
#include "support/abort.h"

namespace korvrestore {
namespace {

TY::filesystem::path unique_scratch_location() {
  return TY::filesystem::path(boost::filesystem::temp_directory_path().string()) /
         boost::filesystem::unique_path("korvrestore.%%%%%%").string();
}

void enable_file_logging(output_str_state& output, const TY::filesystem::path& log_file) {
  constexpr const char* speaker = "device_notifier_state";
  output.say(speaker, "AMRestoreEnableFileLogging({})", log_file.native());
  const int status = AMRestoreEnableFileLogging(log_file.native().c_str());
  if (status == 0) return;
  const cf_string text(AMRLocalizedCopyStringForAMRError(status));
  output.say(speaker, "AMRestoreEnableFileLogging failed ({}: {})", status,
             MakeDescription(text.get()));
}

}  // namespace

void dummyCallback(void*, void*) {}

device_notifier_state::device_notifier_state(std::shared_ptr<output_str_state> outputter,
                                             std::optional<TY::filesystem::path> logFile,
                                             std::optional<TY::filesystem::path> scratchOverride)
    : outputter(std::move(outputter)) {
  if (!this->outputter) {
    assertion_failed(
        {restorable_device_handler_file, 139, "device_notifier_state", "this->outputter"});
  }
  this->outputter->say("device_notifier_state", "initializing");

  scratchLocation = scratchOverride && !scratchOverride->empty() ? std::move(*scratchOverride)
                                                                 : unique_scratch_location();

  // MobileDevice requires these two calls before any other; their results don't matter.
  AMDeviceNotificationRef notification = nullptr;
  AMDeviceNotificationSubscribe(dummyCallback, 0, 1, 0, &notification);
  AMDeviceNotificationUnsubscribe(notification);

  if (logFile) enable_file_logging(*this->outputter, *logFile);
}

device_notifier_state::~device_notifier_state() {
  if (scratchLocation.empty()) {
    assertion_failed({restorable_device_handler_file, 171, "~device_notifier_state",
                      "!scratchLocation.empty()"});
  }
  gate.reset();
  boost::system::error_code ec;
  std::uintmax_t removed = UINTMAX_MAX;
  // A restore that is still running may add a file to a folder while that is being emptied, and
  // memory or descriptors may be short for a moment.
  for (int attempts = 10; removed == UINTMAX_MAX && attempts > 0; --attempts)
    removed = boost::filesystem::remove_all(scratchLocation.native(), ec);
  if (removed == UINTMAX_MAX)
    outputter->say("~device_notifier_state", "Failed to clean scratch location ({})", ec.message());
}

}  // namespace korvrestore
