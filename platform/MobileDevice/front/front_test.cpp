/// The C API over the test's own backend. The main thread serves the main queue, as in the tool,
/// and another thread runs the tests.
#include <dispatch/dispatch.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "../device_backend.h"
#include "../operation_and_error_numbers.h"
#include "notification_center.h"
#include "tests/support/temporary_directory.h"
#include "text/format.h"

using namespace MobileDevice;

namespace {

class FakeAttachment final : public Attachment {
 public:
  explicit FakeAttachment(std::uint64_t ecid) { values.ecid = ecid; }

  DeviceProperties properties() const override { return values; }
  bool takes_recovery_commands() const override { return values.state == 2; }
  AMRError set_auto_boot(bool on) override { return on ? kAMRSuccess : AMRError{-3}; }
  AMRError reboot() override { throw std::runtime_error("lost"); }
  void restore(CFDictionaryRef, StatusReceiver) override {
    if (restore_fails) throw std::runtime_error("no thread");
  }

  DeviceProperties values;
  bool restore_fails = false;
};

class FakeBackend final : public Backend {
 public:
  Owned<CFErrorRef> start(Listener& to) override {
    if (std::exchange(fails, false)) return make_error("Fake", 5, "no bus");
    listener = &to;
    return nullptr;
  }

  bool fails = false;
  Listener* listener = nullptr;
};

FakeBackend* the_backend = nullptr;

/// Returns when everything queued before has been delivered.
void drain() {
  std::promise<void> drained;
  dispatch_async_f(dispatch_get_main_queue(), &drained,
                   [](void* promise) { static_cast<std::promise<void>*>(promise)->set_value(); });
  drained.get_future().wait();
}

using Texts = std::vector<std::string>;

/// A registration and its reports: type, ECID and state. Keeps the handles.
struct Client {
  explicit Client(std::function<void()> in_each_call = {}) : inside(std::move(in_each_call)) {
    id = AMRestorableDeviceRegisterForNotifications(receive, this, nullptr);
  }
  ~Client() { AMRestorableDeviceUnregisterForNotifications(id); }

  static void receive(AMRestorableDeviceRef device, AMRestorableDeviceNotificationType type,
                      void* context) {
    Client& self = *static_cast<Client*>(context);
    self.events.push_back(text::format("{} {} {}", int{type}, AMRestorableDeviceGetECID(device),
                                       int{AMRestorableDeviceGetState(device)}));
    self.kept.push_back(retained(device));
    if (self.inside) self.inside();
  }

  Texts events;
  std::vector<Owned<AMRestorableDeviceRef>> kept;
  const std::function<void()> inside;
  AMRestorableDeviceClientID id;
};

class Front : public testing::Test {
 protected:
  Front() { Client starts_the_backend; }

  std::shared_ptr<FakeAttachment> attach(std::uint64_t ecid, int state = 2) {
    std::shared_ptr<FakeAttachment> device = std::make_shared<FakeAttachment>(ecid);
    device->values.state = AMRestorableDeviceState{state};
    the_backend->listener->attached(device);
    attached_.push_back(device);
    return device;
  }
  void TearDown() override {
    for (const std::shared_ptr<FakeAttachment>& device : attached_)
      the_backend->listener->detached(device);
  }

 private:
  std::vector<std::shared_ptr<FakeAttachment>> attached_;
};

}  // namespace

std::unique_ptr<Backend> MobileDevice::make_device_backend() {
  std::unique_ptr<FakeBackend> backend = std::make_unique<FakeBackend>();
  the_backend = backend.get();
  return backend;
}

TEST_F(Front, ReportsInOrderWithStableHandles) {
  const std::shared_ptr<FakeAttachment> first = attach(1);
  const std::shared_ptr<FakeAttachment> second = attach(2, 1);
  std::promise<void> block;
  std::shared_future<void> blocked = block.get_future();
  Client client([blocked] { blocked.wait(); });
  Listener& listener = *the_backend->listener;
  second->values.state = AMRestorableDeviceState{4};
  listener.reported(second, AMRestorableDeviceNotificationType{7});
  second->values.state = AMRestorableDeviceState{3};
  listener.detached(second);
  attach(2);
  block.set_value();
  Client late;
  drain();

  EXPECT_EQ(client.events, (Texts{"0 1 2", "0 2 1", "7 2 4", "1 2 3", "0 2 2"}));
  EXPECT_EQ(late.events, (Texts{"0 1 2", "0 2 2"}));
  const auto& kept = client.kept;
  EXPECT_TRUE(kept.at(1) == kept.at(2) && kept[1] == kept.at(3) && kept[1] != kept.at(4));
  EXPECT_TRUE(late.kept.at(0) == kept[0] && late.kept.at(1) == kept[4]);
}

TEST_F(Front, UnregisteringWaitsForRunningCallback) {
  std::promise<void> entered, leave;
  std::atomic<bool> left = false;
  Client client([&] {
    entered.set_value();
    leave.get_future().wait();
    left = true;
  });
  for (std::uint64_t ecid : {1, 2, 3}) attach(ecid);
  entered.get_future().wait();
  std::future<bool> unregistered = std::async(std::launch::async, [&] {
    AMRestorableDeviceUnregisterForNotifications(client.id);
    return left.load();
  });
  EXPECT_EQ(unregistered.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  leave.set_value();
  EXPECT_TRUE(unregistered.get());
  drain();
  EXPECT_EQ(client.events.size(), 1u);
}

TEST_F(Front, CallbackMayUnregisterItself) {
  AMRestorableDeviceClientID id = 0;
  Client client([&] { AMRestorableDeviceUnregisterForNotifications(id); });
  id = client.id;
  for (std::uint64_t ecid : {1, 2, 3}) attach(ecid);
  drain();
  EXPECT_EQ(client.events.size(), 1u);
}

TEST_F(Front, FailedStartCanBeRepeated) {
  FakeBackend backend;
  backend.fails = true;
  NotificationCenter center(backend);
  const NotificationCenter::Result refused = center.add(Client::receive, nullptr);
  EXPECT_EQ(refused.client, 0);
  EXPECT_EQ(CFErrorGetCode(refused.error.get()), 5);
  Client client;
  const NotificationCenter::Result taken = center.add(Client::receive, &client);
  EXPECT_NE(taken.client, 0);
  center.attached(std::make_shared<FakeAttachment>(9));
  center.remove(taken.client);
  drain();
}

TEST_F(Front, CallsReachDeviceAndLog) {
  const TemporaryDirectory directory;
  const std::string log = directory / "log";
  EXPECT_EQ(AMRestoreEnableFileLogging(directory.write("closed again", "").c_str()), 0);
  ASSERT_EQ(AMRestoreEnableFileLogging(log.c_str()), 0);
  EXPECT_EQ(AMRestoreEnableFileLogging((log + "/below").c_str()), kAMRLogFileNotOpened);
  EXPECT_EQ(boost::filesystem::status(log).permissions(), boost::filesystem::perms(0600));

  Client client;
  attach(0x1A2B3C4D5E6F70);
  drain();
  const AMRestorableDeviceRef device = client.kept.at(0).get();
  const Owned<AMRecoveryModeDeviceRef> recovery(AMRestorableDeviceCopyRecoveryModeDevice(device));
  EXPECT_EQ(AMRecoveryModeDeviceSetAutoBoot(recovery.get(), true), kAMRSuccess);
  EXPECT_EQ(AMRecoveryModeDeviceSetAutoBoot(recovery.get(), false), AMRError{-3});
  EXPECT_EQ(AMRecoveryModeDeviceReboot(recovery.get()), kAMRInternalError);  // it throws
  const std::string logged = read_file(log);
  for (const char* result : {"SetAutoBoot(true): 0\n", "SetAutoBoot(false): -3\n", "(): 2\n"})
    EXPECT_NE(logged.find(result), std::string::npos) << logged;
}

TEST_F(Front, RestoreThatCannotStartIsReported) {
  attach(1)->restore_fails = true;
  Client client;
  drain();
  const Owned<CFMutableDictionaryRef> options(AMRestoreCreateDefaultOptions(nullptr));
  const auto describe = [](AMRestorableDeviceRef, CFDictionaryRef status, void* context) {
    const Owned<CFStringRef> text(CFCopyDescription(status));
    *static_cast<std::string*>(context) += to_text(text.get());
  };
  std::string report;
  EXPECT_EQ(AMRestorableDeviceRestore(client.kept.at(0).get(), options.get(), describe, &report),
            kAMRInternalError);
  for (const char* part : {"Failed", "no thread", "100"})
    EXPECT_NE(report.find(part), std::string::npos) << report;
}

TEST_F(Front, WrongArgumentsReturnErrors) {
  CFErrorRef error = nullptr;
  EXPECT_EQ(AMRestorableDeviceRegisterForNotifications(nullptr, nullptr, &error), 0);
  EXPECT_NE(Owned<CFErrorRef>(error), nullptr);
  AMRestorableDeviceUnregisterForNotifications(4711);
  EXPECT_EQ(AMRestorableDeviceGetECID(nullptr), 0u);
  EXPECT_EQ(AMRestorableDeviceCopySerialNumber(nullptr), nullptr);
  EXPECT_EQ(AMRecoveryModeDeviceReboot(nullptr), kAMRInvalidArgument);
  EXPECT_EQ(AMRestorableDeviceRestore(nullptr, nullptr, nullptr, nullptr), kAMRInvalidArgument);
  EXPECT_NE(AMRestoreEnableFileLogging(nullptr), 0);
  AMDeviceNotificationRef notification = nullptr;
  EXPECT_EQ(AMDeviceNotificationSubscribe([](void*, void*) {}, 0, 1, nullptr, &notification), 0);
  EXPECT_EQ(AMDeviceNotificationUnsubscribe(notification), 0);
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  std::thread([] { std::exit(RUN_ALL_TESTS()); }).detach();
  dispatch_main();
}
