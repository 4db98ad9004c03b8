/// The simulator as a backend, in real time but without a deadline: what must come is waited for.
#include "simulator.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "../cf.h"
#include "../numbers.h"
#include "tests/support/temporary_directory.h"

using namespace MobileDevice;
using namespace MobileDevice::simulator;

namespace {

/// What a listener heard of, as text: "+2" attached in Recovery, "-2" left, "7:3" report of type 7.
class Recorder final : public Listener {
 public:
  void attached(std::shared_ptr<Attachment> attachment) override { add("+", attachment); }
  void detached(const std::shared_ptr<Attachment>& attachment) override { add("-", attachment); }
  void reported(const std::shared_ptr<Attachment>& attachment,
                AMRestorableDeviceNotificationType type) override {
    add(std::to_string(type) + ":", attachment);
  }

  /// The first `count`, once they are there.
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

/// A backend and its listener, which live until the process ends, as its thread does.
struct Lab {
  std::unique_ptr<Backend> backend;
  Recorder recorder;
};

Lab& make_lab(const std::string& content) {
  static std::vector<std::unique_ptr<Lab>>& labs = *new std::vector<std::unique_ptr<Lab>>;
  const TemporaryDirectory directory;
  Lab& lab = *labs.emplace_back(std::make_unique<Lab>());
  lab.backend = make_simulator(directory.write("lab.plist", content));
  lab.backend->file_logging_error();  // has the file read
  return lab;
}

Lab& start_lab(const std::string& devices) {
  Lab& lab = make_lab("{ Devices = (" + devices + "); }");
  EXPECT_EQ(lab.backend->start(lab.recorder), nullptr);
  return lab;
}

/// A restore that has been started.
class Restore {
 public:
  Restore(Attachment& attachment, const std::string& bundle, const std::string& personalized) {
    const Owned<CFStringRef> paths[] = {make_string(bundle), make_string(personalized)};
    const void* keys[] = {CFSTR("RestoreBundlePath"), CFSTR("PersonalizedRestoreBundlePath")};
    const void* values[] = {paths[0].get(), paths[1].get()};
    const Owned<CFDictionaryRef> options(CFDictionaryCreate(nullptr, keys, values, 2,
                                                            &kCFTypeDictionaryKeyCallBacks,
                                                            &kCFTypeDictionaryValueCallBacks));
    attachment.restore(options.get(), [this](CFDictionaryRef status) {
      const std::lock_guard<std::mutex> lock(mutex_);
      statuses_.push_back(
          to_text(static_cast<CFStringRef>(CFDictionaryGetValue(status, CFSTR("Status")))));
      reported_.notify_all();
    });
  }

  /// The "Status" of the first `count` reports, once they are there.
  std::vector<std::string> wait_for(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    reported_.wait(lock, [&] { return statuses_.size() >= count; });
    return statuses_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable reported_;
  std::vector<std::string> statuses_;
};

using Heard = std::vector<std::string>;

}  // namespace

TEST(Simulator, PlaysTheTimeline) {
  Lab& lab = start_lab(
      "{ ECID = 1; State = DFU; AttachAfter = \"0.2\"; DetachAfter = \"0.1\"; },"
      "{ ECID = 2; State = Recovery; Notifications = ("
      "  { Type = 7; }, { After = \"0.1\"; Type = 0; State = 4; }, { After = 1; Type = 1; } ); }");
  EXPECT_EQ(lab.recorder.wait_for(2), (Heard{"+2", "7:2"}));  // there once it has started
  EXPECT_EQ(lab.recorder.wait_for(6), (Heard{"+2", "7:2", "0:4", "+1", "-1", "1:4"}));
  EXPECT_EQ(lab.recorder.attachment(0), lab.recorder.attachment(5));
}

TEST(Simulator, RebootsIntoWhatAutoBootSays) {
  Lab& lab = start_lab("{ ECID = 1; State = Recovery; BootSeconds = \"0.01\"; }");
  const std::shared_ptr<Attachment> first = lab.recorder.attachment(0);
  EXPECT_TRUE(first->takes_recovery_commands());
  EXPECT_EQ(first->set_auto_boot(false), kAMRSuccess);
  EXPECT_EQ(first->reboot(), kAMRSuccess);
  EXPECT_EQ(first->reboot(), kAMRDeviceLeft);
  EXPECT_EQ(lab.recorder.wait_for(3), (Heard{"+2", "-2", "+2"}));
  EXPECT_EQ(first->set_auto_boot(true), kAMRDeviceLeft);
  EXPECT_EQ(Restore(*first, "", "").wait_for(1), Heard{"Failed"});
  const std::shared_ptr<Attachment> second = lab.recorder.attachment(2);
  EXPECT_NE(first, second);
  EXPECT_EQ(second->set_auto_boot(true), kAMRSuccess);
  EXPECT_EQ(second->reboot(), kAMRSuccess);
  EXPECT_EQ(lab.recorder.wait_for(5), (Heard{"+2", "-2", "+2", "-2", "+4"}));
  EXPECT_FALSE(lab.recorder.attachment(4)->takes_recovery_commands());
}

TEST(Simulator, RefusesAsThePlanSays) {
  Lab& lab = start_lab(
      "{ ECID = 1; State = Recovery; SetAutoBootError = 8; RebootError = 9; },"
      "{ ECID = 2; State = Recovery; NoRecoveryDevice = YES; },"
      "{ ECID = 3; State = Recovery; DetachAfter = \"0.05\"; BootSeconds = \"0.1\"; },"
      "{ ECID = 4; State = DFU; AttachAfter = \"0.2\"; }");
  EXPECT_EQ(lab.recorder.attachment(0)->set_auto_boot(true), AMRError{8});
  EXPECT_EQ(lab.recorder.attachment(0)->reboot(), AMRError{9});
  EXPECT_FALSE(lab.recorder.attachment(1)->takes_recovery_commands());
  lab.recorder.attachment(2)->reboot();  // unplugged while it boots, it doesn't come back
  EXPECT_EQ(lab.recorder.wait_for(5), (Heard{"+2", "+2", "+2", "-2", "+1"}));
}

TEST(Simulator, AnswersWhatTheScenarioSaysForTheWholeLibrary) {
  Lab& lab = make_lab(
      "{ Devices = (); OperationTexts = { 77 = Polish; }; ErrorTexts = { \"-3\" = Sad; };"
      "  FileLoggingError = 5; NoDefaultRestoreOptions = YES;"
      "  RegistrationError = { Domain = D; Code = 6; Description = Why; }; }");
  EXPECT_EQ(lab.backend->operation_text(77), "Polish");
  EXPECT_EQ(lab.backend->operation_text(9), std::nullopt);
  EXPECT_EQ(lab.backend->error_text(-3), "Sad");
  EXPECT_EQ(lab.backend->file_logging_error(), 5);
  EXPECT_FALSE(lab.backend->has_default_restore_options());
  const Owned<CFErrorRef> error(lab.backend->start(lab.recorder));
  EXPECT_EQ(CFErrorGetCode(error.get()), 6);
}

TEST(Simulator, DoesNotStartWithAScenarioThatCannotBeUsed) {
  Lab& lab = make_lab("{ Device = (); }");
  EXPECT_EQ(lab.backend->operation_text(9), std::nullopt);
  for (int i = 0; i < 2; ++i) {
    const Owned<CFErrorRef> error(lab.backend->start(lab.recorder));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(to_text(CFErrorGetDomain(error.get())), "MobileDeviceSimulator");
    const Owned<CFStringRef> text(CFErrorCopyDescription(error.get()));
    EXPECT_NE(to_text(text.get()).find("Devices: expected an array"), std::string::npos);
  }
}
