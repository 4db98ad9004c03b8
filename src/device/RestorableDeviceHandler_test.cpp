/// The session alone: the linker puts the test's functions in front of MobileDevice's.
#include "device/RestorableDeviceHandler.h"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <functional>
#include <new>
#include <vector>

#include "driver/error.h"
#include "output/cf_strings.h"
#include "tests/support/recorded_output.h"
#include "tests/support/temporary_directory.h"

using korvrestore::device_notifier_state;

namespace {

using Calls = std::vector<std::string>;

Calls calls;
char some_object;
const AMDeviceNotificationRef notification_handle =
    reinterpret_cast<AMDeviceNotificationRef>(&some_object);
const AMRestorableDeviceRef device = reinterpret_cast<AMRestorableDeviceRef>(&some_object);
void* registered = nullptr;

}  // namespace

extern "C" {

int __wrap_AMDeviceNotificationSubscribe(AMDeviceNotificationCallback callback, unsigned int first,
                                         unsigned int second, void* context,
                                         AMDeviceNotificationRef* notification) {
  EXPECT_TRUE(callback == korvrestore::dummyCallback && context == nullptr);
  calls.push_back(fmt::format("subscribe {} {}", first, second));
  *notification = notification_handle;
  return -1;
}

int __wrap_AMDeviceNotificationUnsubscribe(AMDeviceNotificationRef notification) {
  EXPECT_EQ(notification, notification_handle);
  calls.push_back("unsubscribe");
  return -1;
}

int __wrap_AMRestoreEnableFileLogging(const char* path) {
  calls.push_back(path);
  return 0;
}

AMRestorableDeviceClientID __wrap_AMRestorableDeviceRegisterForNotifications(
    AMRestorableDeviceNotificationCallback, void* context, CFErrorRef*) {
  calls.push_back("register");
  registered = context;
  return 77;
}

/// A device comes while the command ends.
void __wrap_AMRestorableDeviceUnregisterForNotifications(AMRestorableDeviceClientID client) {
  calls.push_back(fmt::format("unregister {}", client));
  device_notifier_state::deviceNotificationCallback(device, kAMRestorableDeviceConnected,
                                                    registered);
}

/// There is no memory left as soon as a report is looked into.
AMRestorableDeviceState __wrap_AMRestorableDeviceGetState(AMRestorableDeviceRef) {
  throw std::bad_alloc();
}

CFStringRef __wrap_AMRLocalizedCopyStringForAMROperation(int) { throw std::bad_alloc(); }

AMRError __wrap_AMRestorableDeviceRestore(AMRestorableDeviceRef, CFDictionaryRef,
                                          AMRestorableDeviceRestoreCallback callback,
                                          void* context) {
  const int one = 1;
  const korvrestore::cf_object number(CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &one));
  const void* keys[] = {CFSTR("Status"), CFSTR("Operation"), CFSTR("Progress")};
  const void* values[] = {CFSTR("Restoring"), number.get(), number.get()};
  const korvrestore::cf_dictionary report(CFDictionaryCreate(kCFAllocatorDefault, keys, values, 3,
                                                             &kCFTypeDictionaryKeyCallBacks,
                                                             &kCFTypeDictionaryValueCallBacks));
  for (int times = 0; times < 2; ++times) callback(device, report.get(), context);
  return kAMRSuccess;
}

}  // extern "C"

namespace korvrestore {
namespace {

using path = TY::filesystem::path;

std::shared_ptr<device_notifier_state> make_session(const RecordedOutput& output) {
  return std::make_shared<device_notifier_state>(output.state, std::nullopt, std::nullopt);
}

TEST(Session, CallsMobileDeviceInOrderAndIgnoresReportsAtItsEnd) {
  RecordedOutput output;
  calls.clear();
  device_notifier_state session(output.state, path("log"), std::nullopt);
  session.detectTimeout = {};
  session.waitForCompletion();
  EXPECT_EQ(calls, (Calls{"subscribe 0 1", "unsubscribe", "log", "register", "unregister 77"}));
  output.finish();
  EXPECT_EQ(
      occurrences(output.debug, "deviceNotificationCallback: Ignoring notification, inTeardown\n"),
      1);
}

TEST(Session, NamesItsScratchDirectoryAndRemovesIt) {
  RecordedOutput output;
  const TemporaryDirectory directory;
  boost::filesystem::create_directories(directory / "scratch/PRB/1");
  {
    const device_notifier_state first(output.state, std::nullopt, std::nullopt);
    const device_notifier_state second(output.state, std::nullopt, path(""));
    const boost::filesystem::path scratch(second.scratchLocation.native());
    EXPECT_EQ(scratch.parent_path(), boost::filesystem::temp_directory_path());
    EXPECT_NE(first.scratchLocation.native(), second.scratchLocation.native());
    EXPECT_FALSE(boost::filesystem::exists(scratch));
    const device_notifier_state third(output.state, std::nullopt, path(directory / "scratch"));
    const device_notifier_state stays(output.state, std::nullopt, path(std::string(300, 'x')));
  }
  EXPECT_FALSE(boost::filesystem::exists(directory / "scratch"));
  output.finish();
  EXPECT_EQ(occurrences(output.debug, "\n"), 5);
  EXPECT_EQ(occurrences(output.debug, "~device_notifier_state: Failed to clean scratch location ("),
            1);
}

TEST(Session, BuildsRestoreOptions) {
  RecordedOutput output;
  device_notifier_state session(output.state, std::nullopt, path("/scratch"));
  const auto options = [&](bool erase) {
    session.CreateDefaultRestoreOptions(path("a b.ipsw"), erase);
    std::string values;
    for (CFStringRef key : {CFSTR("AuthInstallRestoreBehavior"), CFSTR("BootImageType"),
                            CFSTR("PersonalizedRestoreBundlePath"), CFSTR("RestoreBundlePath")})
      values += "|" + MakeString(static_cast<CFStringRef>(
                          CFDictionaryGetValue(session.restoreOptions.get(), key)));
    return values;
  };
  EXPECT_EQ(options(/*erase=*/true), "|Erase|UserOrInternal|/scratch/PRB/1|a b.ipsw");
  EXPECT_EQ(options(/*erase=*/false), "|Update|Update|/scratch/PRB/2|a b.ipsw");
}

TEST(Session, RefusesARestoreWithoutOptions) {
  RecordedOutput output;
  try {
    make_session(output)->operateRestore(device);
    FAIL();
  } catch (const cf_error& error) {
    EXPECT_EQ(GetCode(error.get()), 2);
    EXPECT_EQ(MakeString(cf_string(CFErrorCopyFailureReason(error.get())).get()),
              "restoreOptions not set");
  }
}

TEST(Callbacks, LoseNothingInSilence) {
  RecordedOutput output;
  const std::shared_ptr<device_notifier_state> session = make_session(output);
  session->CreateDefaultRestoreOptions(path("bundle"), /*erase=*/false);
  session->restoreTimeout = {};
  EXPECT_THROW(session->operateRestore(device), std::bad_alloc);
  device_notifier_state::restoreCallback(device, nullptr, session.get());
  device_notifier_state::deviceNotificationCallback(device, kAMRestorableDeviceConnected,
                                                    session.get());
  EXPECT_TRUE(session->mutex.try_lock());
  session->mutex.unlock();
  output.finish();
  EXPECT_EQ(output.debug,
            "device_notifier_state: initializing\nrestoreCallback: Invalid argument\n"
            "deviceNotificationCallback: Lost notification (std::bad_alloc)\n");
}

TEST(Callbacks, StayOutOfASessionThatHasEnded) {
  RecordedOutput output;
  void* const gone = make_session(output).get();
  device_notifier_state::restoreCallback(device, nullptr, gone);
  device_notifier_state::deviceNotificationCallback(device, kAMRestorableDeviceConnected, gone);
  output.finish();
  EXPECT_EQ(output.debug, "device_notifier_state: initializing\n");
}

TEST(SessionDeathTest, ReportsAssertionsByTheirSites) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  RecordedOutput output;
  const struct {
    std::function<void()> fault;
    const char* site;
  } cases[] = {
      {[] { device_notifier_state(nullptr, std::nullopt, std::nullopt); },
       "139:  device_notifier_state Assertion this->outputter"},
      {[&] { make_session(output)->scratchLocation = path(); },
       "171:  ~device_notifier_state Assertion !scratchLocation.empty\\(\\)"},
      {[] { device_notifier_state::deviceNotificationCallback(device, {}, nullptr); },
       "180:  deviceNotificationCallback Assertion context"},
      {[&] { make_session(output)->operateOnRecoveryDevice(nullptr); },
       "270:  operateOnRecoveryDevice Assertion recoveryDevice != nullptr"},
      {[] { device_notifier_state::restoreCallback(device, nullptr, nullptr); },
       "328:  restoreCallback Assertion context"},
  };
  for (const auto& [fault, site] : cases)
    EXPECT_DEATH(fault(), "RestorableDeviceHandler:" + std::string(site) + " failed\\.");
}

}  // namespace
}  // namespace korvrestore
