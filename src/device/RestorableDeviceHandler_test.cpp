/// The session alone: the test replaces MobileDevice's functions (linker --wrap).
#include "device/RestorableDeviceHandler.h"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <functional>
#include <new>
#include <vector>

#include "driver/error.h"
#include "output/MobileDeviceDebug.h"
#include "output/cf_strings.h"
#include "tests/support/recorded_output.h"
#include "tests/support/temporary_directory.h"
#include "text/format.h"

using korvrestore::device_notifier_state;

namespace {

using Calls = std::vector<std::string>;

Calls calls;
char some_object;
const AMDeviceNotificationRef notification_handle =
    reinterpret_cast<AMDeviceNotificationRef>(&some_object);
const AMRestorableDeviceRef device = reinterpret_cast<AMRestorableDeviceRef>(&some_object);
void* registered = nullptr;

korvrestore::cf_object plist(const std::string& text) {
  const korvrestore::cf_data data(CFDataCreate(kCFAllocatorDefault,
                                               reinterpret_cast<const UInt8*>(text.data()),
                                               static_cast<CFIndex>(text.size())));
  return korvrestore::cf_object(
      CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(), 0, nullptr, nullptr));
}

}  // namespace

extern "C" {

int __wrap_AMDeviceNotificationSubscribe(AMDeviceNotificationCallback callback, unsigned int first,
                                         unsigned int second, void* context,
                                         AMDeviceNotificationRef* notification) {
  EXPECT_TRUE(callback == korvrestore::dummyCallback && context == nullptr);
  calls.push_back(text::format("subscribe {} {}", first, second));
  *notification = notification_handle;
  return -1;
}

int __wrap_AMDeviceNotificationUnsubscribe(AMDeviceNotificationRef notification) {
  EXPECT_EQ(notification, notification_handle);
  calls.push_back("unsubscribe");
  return -1;
}

AMRestorableDeviceClientID __wrap_AMRestorableDeviceRegisterForNotifications(
    AMRestorableDeviceNotificationCallback, void* context, CFErrorRef*) {
  calls.push_back("register");
  registered = context;
  return 77;
}

/// A device arrives while the command ends.
void __wrap_AMRestorableDeviceUnregisterForNotifications(AMRestorableDeviceClientID client) {
  calls.push_back(text::format("unregister {}", client));
  device_notifier_state::deviceNotificationCallback(device, kAMRestorableDeviceConnected,
                                                    registered);
}

/// Memory runs out when a report is read.
AMRestorableDeviceState __wrap_AMRestorableDeviceGetState(AMRestorableDeviceRef) {
  throw std::bad_alloc();
}

CFStringRef __wrap_AMRLocalizedCopyStringForAMROperation(int) { throw std::bad_alloc(); }

AMRError __wrap_AMRestorableDeviceRestore(AMRestorableDeviceRef, CFDictionaryRef,
                                          AMRestorableDeviceRestoreCallback callback,
                                          void* context) {
  const korvrestore::cf_object report = plist(
      "<plist><dict><key>Status</key><string/><key>Operation</key><integer>1</integer>"
      "<key>Progress</key><integer>1</integer></dict></plist>");
  for (int times = 0; times < 2; ++times)
    callback(device, static_cast<CFDictionaryRef>(report.get()), context);
  return kAMRSuccess;
}

}  // extern "C"

namespace korvrestore {
namespace {

using path = TY::filesystem::path;

std::shared_ptr<device_notifier_state> make_session(const RecordedOutput& output) {
  return std::make_shared<device_notifier_state>(output.state, std::nullopt, std::nullopt);
}

TEST(Session, CallsMobileDeviceInOrder) {
  calls.clear();
  RecordedOutput output;
  const std::shared_ptr<device_notifier_state> session = make_session(output);
  session->detectTimeout = {};
  session->waitForCompletion();
  EXPECT_EQ(calls, (Calls{"subscribe 0 1", "unsubscribe", "register", "unregister 77"}));
  output.finish();
  EXPECT_EQ(output.debug,
            "device_notifier_state: initializing\n"
            "waitForCompletion: AMRestorableDeviceRegisterForNotifications()\n"
            "waitForCompletion: AMRestorableDeviceUnregisterForNotifications()\n"
            "deviceNotificationCallback: Ignoring notification, inTeardown\n");
}

TEST(Session, RemovesScratchDirectory) {
  RecordedOutput output;
  const TemporaryDirectory directory;
  boost::filesystem::create_directories(directory / "scratch/PRB/1");
  {
    const device_notifier_state given(output.state, std::nullopt, path(directory / "scratch"));
    const device_notifier_state stays(output.state, std::nullopt, path(std::string(300, 'x')));
    const device_notifier_state unnamed(output.state, std::nullopt, path(""));
    const boost::filesystem::path scratch(unnamed.scratchLocation.native());
    EXPECT_EQ(scratch.parent_path(), boost::filesystem::temp_directory_path());
    EXPECT_NE(scratch, make_session(output)->scratchLocation.native());
    EXPECT_FALSE(boost::filesystem::exists(scratch));
  }
  EXPECT_FALSE(boost::filesystem::exists(directory / "scratch"));
  output.finish();
  const std::string said = "device_notifier_state: initializing\n";
  EXPECT_EQ(output.debug,
            said + said + said + said +
                "~device_notifier_state: Failed to clean scratch location (File name too long)\n");
}

TEST(Session, BuildsRestoreOptions) {
  RecordedOutput output;
  device_notifier_state session(output.state, std::nullopt, path("/scratch"));
  for (const bool erase : {true, false}) {
    session.CreateDefaultRestoreOptions(path("a b.ipsw"), erase);
    const cf_object expected = plist(text::format(
        "{{ AuthInstallRestoreBehavior = {}; BootImageType = {}; RestoreBundlePath = \"a b.ipsw\";"
        "  PersonalizedRestoreBundlePath = \"/scratch/PRB/{}\"; }}",
        erase ? "Erase" : "Update", erase ? "UserOrInternal" : "Update", erase ? 1 : 2));
    EXPECT_TRUE(CFEqual(session.restoreOptions.get(), expected.get()));
  }
}

TEST(Session, RestoreNeedsOptions) {
  RecordedOutput output;
  try {
    make_session(output)->operateRestore(device);
    FAIL();
  } catch (const cf_error& error) {
    EXPECT_EQ(GetCode(error.get()), 2);
    const cf_string reason(CFErrorCopyFailureReason(error.get()));
    EXPECT_EQ(MakeString(reason.get()), "restoreOptions not set");
  }
}

TEST(Callbacks, ReportErrorReachesRestore) {
  RecordedOutput output;
  std::shared_ptr<device_notifier_state> session = make_session(output);
  session->CreateDefaultRestoreOptions(path("bundle"), /*erase=*/false);
  session->restoreTimeout = {};
  EXPECT_THROW(session->operateRestore(device), std::bad_alloc);
  const auto call_back = [context = static_cast<void*>(session.get())] {
    device_notifier_state::restoreCallback(device, nullptr, context);
    device_notifier_state::deviceNotificationCallback(device, kAMRestorableDeviceConnected,
                                                      context);
  };
  call_back();
  device_notifier_state::deviceNotificationCallback(nullptr, {}, session.get());
  EXPECT_TRUE(session->mutex.try_lock());
  session->mutex.unlock();
  session.reset();
  call_back();
  output.finish();
  EXPECT_EQ(output.debug,
            "device_notifier_state: initializing\nrestoreCallback: Invalid argument\n"
            "deviceNotificationCallback: Lost notification (std::bad_alloc)\n"
            "deviceNotificationCallback: called with null device\n");
}

TEST(AssertionsDeathTest, PrintTheirSites) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  RecordedOutput output;
  const struct {
    std::function<void()> fault;
    std::string site;
  } cases[] = {
      {[] { device_notifier_state(nullptr, std::nullopt, std::nullopt); },
       "RestorableDeviceHandler:139:  device_notifier_state Assertion this->outputter"},
      {[&] { make_session(output)->scratchLocation = path(); },
       "RestorableDeviceHandler:171:  ~device_notifier_state Assertion "
       "!scratchLocation.empty\\(\\)"},
      {[] { device_notifier_state::deviceNotificationCallback(device, {}, nullptr); },
       "RestorableDeviceHandler:180:  deviceNotificationCallback Assertion context"},
      {[&] { make_session(output)->operateOnRecoveryDevice(nullptr); },
       "RestorableDeviceHandler:270:  operateOnRecoveryDevice Assertion recoveryDevice != nullptr"},
      {[] { device_notifier_state::restoreCallback(device, nullptr, nullptr); },
       "RestorableDeviceHandler:328:  restoreCallback Assertion context"},
      {[] { print_imp_AMRLocalizedCopyStringForAMROperation(nullptr); },
       "MobileDeviceDebug:16:  print_imp_AMRLocalizedCopyStringForAMROperation Assertion output"},
      {[] { print_imp_AMRLocalizedCopyStringForAMRError(nullptr); },
       "MobileDeviceDebug:32:  print_imp_AMRLocalizedCopyStringForAMRError Assertion output"},
  };
  for (const auto& [fault, site] : cases) EXPECT_DEATH(fault(), site + " failed\\.");
}

}  // namespace
}  // namespace korvrestore
