/// The simulator as a backend, in real time but without deadlines: tests wait for each event.
#include "simulator.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "../cf_values.h"
#include "../operation_and_error_numbers.h"
#include "tests/support/temporary_directory.h"

using namespace MobileDevice;
using namespace MobileDevice::simulator;

namespace {

/// The reports to a listener, as text: "+2" attached in Recovery, "-2" left, "7:3" report of
/// type 7.
class Recorder final : public Listener {
 public:
  void attached(std::shared_ptr<Attachment> attachment) override { add("+", attachment); }
  void detached(const std::shared_ptr<Attachment>& attachment) override { add("-", attachment); }
  void reported(const std::shared_ptr<Attachment>& attachment,
                AMRestorableDeviceNotificationType type) override {
    add(std::to_string(type) + ":", attachment);
  }

  /// Waits for the first `count` reports.
  std::vector<std::string> wait_for(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return heard_.size() >= count; });
    return {heard_.begin(), heard_.begin() + static_cast<std::ptrdiff_t>(count)};
  }
  std::shared_ptr<Attachment> attachment(std::size_t index) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return attachments_.at(index);
  }

 private:
  void add(const std::string& what, std::shared_ptr<Attachment> attachment) {
    const std::lock_guard<std::mutex> lock(mutex_);
    heard_.push_back(what + std::to_string(attachment->properties().state));
    attachments_.push_back(std::move(attachment));
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> heard_;
  std::vector<std::shared_ptr<Attachment>> attachments_;
};

/// A backend and its listener. They exist until the process ends, as the backend's thread does.
struct Lab {
  std::unique_ptr<Backend> backend;
  Recorder recorder;
};

Lab& start_lab(const std::string& devices) {
  static std::vector<std::unique_ptr<Lab>>& labs = *new std::vector<std::unique_ptr<Lab>>;
  const TemporaryDirectory directory;
  Lab& lab = *labs.emplace_back(std::make_unique<Lab>());
  lab.backend = make_simulator(directory.write("lab.plist", "{ Devices = (" + devices + "); }"));
  EXPECT_EQ(lab.backend->start(lab.recorder), nullptr);
  return lab;
}

/// The description of a restore's first report.
std::string first_report(Attachment& attachment) {
  const std::shared_ptr<std::promise<std::string>> said =
      std::make_shared<std::promise<std::string>>();
  attachment.restore(nullptr, [said](CFDictionaryRef report) {
    said->set_value(to_text(Owned<CFStringRef>(CFCopyDescription(report)).get()));
  });
  return said->get_future().get();
}

using Heard = std::vector<std::string>;

}  // namespace

TEST(Simulator, ReportsScenarioEvents) {
  Lab& lab = start_lab(
      "{ ECID = 1; State = DFU; AttachAfter = \"0.2\"; DetachAfter = \"0.1\"; },"
      "{ ECID = 2; State = Recovery; Notifications = ("
      "  { Type = 7; }, { After = \"0.1\"; Type = 0; State = 4; }, { After = 1; Type = 1; } ); }");
  EXPECT_EQ(lab.recorder.wait_for(2), (Heard{"+2", "7:2"}));  // present once it has started
  EXPECT_EQ(lab.recorder.wait_for(6), (Heard{"+2", "7:2", "0:4", "+1", "-1", "1:4"}));
  EXPECT_EQ(lab.recorder.attachment(0), lab.recorder.attachment(5));
}

TEST(Simulator, AutoBootDecidesStateAfterReboot) {
  Lab& lab = start_lab("{ ECID = 1; State = Recovery; BootSeconds = \"0.01\"; }");
  const std::shared_ptr<Attachment> first = lab.recorder.attachment(0);
  EXPECT_TRUE(first->takes_recovery_commands());
  EXPECT_EQ(first->set_auto_boot(false), kAMRSuccess);
  EXPECT_EQ(first->reboot(), kAMRSuccess);
  EXPECT_EQ(first->reboot(), kAMRDeviceLeft);
  EXPECT_EQ(lab.recorder.wait_for(3), (Heard{"+2", "-2", "+2"}));
  EXPECT_EQ(first->set_auto_boot(true), kAMRDeviceLeft);
  EXPECT_NE(first_report(*first).find("the device is not attached"), std::string::npos);
  const std::shared_ptr<Attachment> second = lab.recorder.attachment(2);
  EXPECT_NE(first, second);
  EXPECT_EQ(second->set_auto_boot(true), kAMRSuccess);
  EXPECT_EQ(second->reboot(), kAMRSuccess);
  EXPECT_EQ(lab.recorder.wait_for(5), (Heard{"+2", "-2", "+2", "-2", "+4"}));
  EXPECT_FALSE(lab.recorder.attachment(4)->takes_recovery_commands());
}

TEST(Simulator, UnpluggedDeviceDoesNotFinishReboot) {
  Lab& lab = start_lab(
      "{ ECID = 1; State = Recovery; DetachAfter = \"0.05\"; BootSeconds = \"0.1\"; },"
      "{ ECID = 2; State = DFU; AttachAfter = \"0.2\"; }");
  lab.recorder.attachment(0)->reboot();
  EXPECT_EQ(lab.recorder.wait_for(3), (Heard{"+2", "-2", "+1"}));
}
