/// The one thread that serves libusb and acts upon what it says.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "libusb_handles.h"

namespace MobileDevice::usb {

/// Completes transfers, takes hotplug reports, and runs the tasks that they leave. libusb's
/// callbacks only post a task: a callback may come from inside any libusb call that waits, where
/// it would be wrong to do anything else with libusb.
class EventLoop {
 public:
  using Task = std::function<void()>;

  explicit EventLoop(Context context) : context_(std::move(context)) {}

  libusb_context* context() const { return context_.get(); }

  /// Has `task` run on the loop's thread, after those posted before. Any thread.
  void post(Task task);

  /// Runs what is posted, and what that posts.
  void run_posted();

  /// Serves for ever. No other thread may handle libusb's events.
  [[noreturn]] void run();

 private:
  Context context_;
  std::mutex mutex_;
  std::vector<Task> posted_;  // guarded by mutex_
};

}  // namespace MobileDevice::usb
