#include "device/RestorableDeviceHandler.h"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include "driver/error.h"
#include "output/cf_strings.h"
#include "tests/support/recorded_output.h"
#include "tests/support/temporary_directory.h"

namespace korvrestore {
namespace {

using path = TY::filesystem::path;

std::shared_ptr<device_notifier_state> make_session(const RecordedOutput& output) {
  return std::make_shared<device_notifier_state>(output.state, std::nullopt, std::nullopt);
}

/// A status report; a number that is negative is left out.
cf_mutable_dictionary report(const char* status, int operation, std::int64_t progress) {
  cf_mutable_dictionary dictionary(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  const cf_string text(
      CFStringCreateWithCString(kCFAllocatorDefault, status, kCFStringEncodingUTF8));
  const cf_object number(CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &operation));
  const cf_object percent(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &progress));
  CFDictionarySetValue(dictionary.get(), CFSTR("Status"), text.get());
  if (operation >= 0) CFDictionarySetValue(dictionary.get(), CFSTR("Operation"), number.get());
  if (progress >= 0) CFDictionarySetValue(dictionary.get(), CFSTR("Progress"), percent.get());
  return dictionary;
}

bool is_complete(device_notifier_state& session) {
  return session.completion.get_future().wait_for(std::chrono::seconds(0)) ==
         std::future_status::ready;
}

TEST(Session, NamesItsScratchDirectoryAndRemovesIt) {
  RecordedOutput output;
  const TemporaryDirectory directory;
  const std::shared_ptr<device_notifier_state> first = make_session(output);
  const device_notifier_state second(output.state, std::nullopt, path(""));
  for (const path& location : {first->scratchLocation, second.scratchLocation}) {
    const boost::filesystem::path scratch(location.native());
    EXPECT_EQ(scratch.parent_path(), boost::filesystem::temp_directory_path());
    const std::string name = scratch.filename().string();
    EXPECT_EQ(name.rfind("korvrestore.", 0), 0u);
    EXPECT_EQ(name.size(), 18u);
    EXPECT_EQ(name.find_first_not_of("0123456789abcdef", 12), std::string::npos);
  }
  EXPECT_NE(first->scratchLocation.native(), second.scratchLocation.native());
  EXPECT_FALSE(boost::filesystem::exists(first->scratchLocation.native()));

  boost::filesystem::create_directories(directory / "scratch/PRB/1");
  std::make_shared<device_notifier_state>(output.state, std::nullopt, path(directory / "scratch"));
  EXPECT_FALSE(boost::filesystem::exists(directory / "scratch"));
  std::make_shared<device_notifier_state>(output.state, std::nullopt, path("/proc/self"));
  output.finish();
  EXPECT_EQ(occurrences(output.debug, "device_notifier_state: initializing\n"), 4);
  EXPECT_EQ(occurrences(output.debug, "~device_notifier_state: Failed to clean scratch location ("),
            1);
}

TEST(Session, BuildsRestoreOptions) {
  RecordedOutput output;
  device_notifier_state session(output.state, std::nullopt, path("/scratch"));
  const struct {
    bool erase;
    const char *behavior, *boot_image, *bundle;
  } cases[] = {{true, "Erase", "UserOrInternal", "/scratch/PRB/1"},
               {false, "Update", "Update", "/scratch/PRB/2"}};
  for (const auto& expected : cases) {
    session.CreateDefaultRestoreOptions(path("a b.ipsw"), expected.erase);
    const auto option = [&](CFStringRef key) {
      return MakeString(
          static_cast<CFStringRef>(CFDictionaryGetValue(session.restoreOptions.get(), key)));
    };
    EXPECT_EQ(option(CFSTR("AuthInstallRestoreBehavior")), expected.behavior);
    EXPECT_EQ(option(CFSTR("BootImageType")), expected.boot_image);
    EXPECT_EQ(option(CFSTR("PersonalizedRestoreBundlePath")), expected.bundle);
    EXPECT_EQ(option(CFSTR("RestoreBundlePath")), "a b.ipsw");
  }
  EXPECT_THROW(session.CreateDefaultRestoreOptions(path("\xff"), /*erase=*/false),
               std::invalid_argument);
}

TEST(RestoreCallback, ForwardsReportsAndCompletesOnTheRightOnes) {
  const struct {
    command_kind command;
    int operation;
    std::int64_t progress;
    bool sent, named, completes;
  } cases[] = {{command_kind::restore, 0, 99, true, false, false},
               {command_kind::restore, 0, 100, true, false, true},
               {command_kind::restore, 9, 100, true, true, false},
               {command_kind::restore, 12345, -1, false, false, false},
               {command_kind::restore, 4, std::int64_t{1} << 40, true, true, false},
               {command_kind::restore, -1, 1, false, false, false},
               {command_kind::enter_restore_mode, 9, 3, true, true, true},
               {command_kind::enter_restore_mode, 0, 100, true, false, true},
               {command_kind::enter_restore_mode, 4, 100, true, true, false}};
  for (const auto& expected : cases) {
    SCOPED_TRACE(expected.operation);
    RecordedOutput output;
    const std::shared_ptr<device_notifier_state> session = make_session(output);
    session->operation = expected.command;
    const cf_mutable_dictionary status = report("Restoring", expected.operation, expected.progress);
    CFDictionarySetValue(status.get(), CFSTR("Odd"), kCFNull);
    for (int times = 0; times < 2; ++times)  // a second end is no fault
      device_notifier_state::restoreCallback(nullptr, status.get(), session.get());
    EXPECT_EQ(is_complete(*session), expected.completes);
    output.finish();
    EXPECT_EQ(occurrences(output.messages, "<string>RestoreStatus</string>"),
              expected.sent ? 2 : 0);
    EXPECT_EQ(occurrences(output.messages, "<key>TY_OperationName</key>"), expected.named ? 2 : 0);
    EXPECT_EQ(occurrences(output.messages, "Odd"), 0);
    EXPECT_EQ(occurrences(output.debug, "restoreCallback: Ignoring invalid statusDict"),
              expected.sent ? 0 : 2);
  }
}

TEST(RestoreCallback, RefusesReportsOfTheWrongShape) {
  RecordedOutput output;
  const std::shared_ptr<device_notifier_state> session = make_session(output);
  const cf_mutable_dictionary wrong_type = report("Restoring", 0, 100);
  CFDictionarySetValue(wrong_type.get(), CFSTR("Progress"), CFSTR("100"));
  const cf_mutable_dictionary lossy = report("Restoring", -1, 100);
  const std::int64_t large = std::int64_t{1} << 33;
  const cf_object number(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &large));
  CFDictionarySetValue(lossy.get(), CFSTR("Operation"), number.get());
  for (CFDictionaryRef status :
       {static_cast<CFDictionaryRef>(wrong_type.get()), static_cast<CFDictionaryRef>(lossy.get())})
    device_notifier_state::restoreCallback(nullptr, status, session.get());
  device_notifier_state::restoreCallback(nullptr, nullptr, session.get());
  EXPECT_FALSE(is_complete(*session));
  output.finish();
  EXPECT_EQ(output.debug,
            "device_notifier_state: initializing\nrestoreCallback: Ignoring invalid statusDict\n"
            "restoreCallback: Ignoring invalid statusDict\nrestoreCallback: Invalid argument\n");
}

TEST(Callbacks, StayOutOfASessionThatHasEnded) {
  RecordedOutput output;
  std::shared_ptr<device_notifier_state> session = make_session(output);
  void* const gone = session.get();
  session.reset();
  const cf_mutable_dictionary status = report("Late", 0, 100);
  device_notifier_state::restoreCallback(nullptr, status.get(), gone);
  device_notifier_state::deviceNotificationCallback(nullptr, kAMRestorableDeviceConnected, gone);
  output.finish();
  EXPECT_EQ(output.debug, "device_notifier_state: initializing\n");
  EXPECT_EQ(output.messages, "");
}

TEST(Session, RefusesARestoreWithoutOptions) {
  RecordedOutput output;
  try {
    make_session(output)->operateRestore(nullptr);
    FAIL();
  } catch (const cf_error& error) {
    EXPECT_EQ(GetCode(error.get()), 2);
    EXPECT_EQ(MakeString(cf_string(CFErrorCopyFailureReason(error.get())).get()),
              "restoreOptions not set");
  }
}

TEST(SessionDeathTest, ReportsAssertionsByTheirSites) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(device_notifier_state(nullptr, std::nullopt, std::nullopt),
               "RestorableDeviceHandler:139:  device_notifier_state Assertion this->outputter "
               "failed\\.");
  EXPECT_DEATH(
      {
        RecordedOutput output;
        make_session(output)->scratchLocation = path();
      },
      "RestorableDeviceHandler:171:  ~device_notifier_state Assertion !scratchLocation.empty\\(\\) "
      "failed\\.");
  EXPECT_DEATH(device_notifier_state::deviceNotificationCallback(
                   nullptr, kAMRestorableDeviceConnected, nullptr),
               "RestorableDeviceHandler:180:  deviceNotificationCallback Assertion context "
               "failed\\.");
  EXPECT_DEATH(
      {
        RecordedOutput output;
        make_session(output)->operateOnRecoveryDevice(nullptr);
      },
      "RestorableDeviceHandler:270:  operateOnRecoveryDevice Assertion recoveryDevice != nullptr "
      "failed\\.");
  EXPECT_DEATH(device_notifier_state::restoreCallback(nullptr, nullptr, nullptr),
               "RestorableDeviceHandler:328:  restoreCallback Assertion context failed\\.");
}

}  // namespace
}  // namespace korvrestore
