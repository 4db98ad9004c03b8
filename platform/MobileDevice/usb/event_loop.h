/// The thread that handles libusb's events.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "libusb_handles.h"

namespace MobileDevice::usb {

/// Completes transfers, receives hotplug reports, and runs the tasks that these post. libusb's
/// callbacks only post a task: any libusb call that waits may call them, and there no other use of
/// libusb is allowed.
class EventLoop {
 public:
  using Task = std::function<void()>;

  explicit EventLoop(Context context) : context_(std::move(context)) {}

  libusb_context* context() const { return context_.get(); }

  /// Runs `task` on the loop's thread, after those posted before. May be called on any thread.
  void post(Task task);

  /// Runs the posted tasks, and those that they post.
  void run_posted();

  /// Never returns. No other thread may handle libusb's events.
  [[noreturn]] void run();

 private:
  Context context_;
  std::mutex mutex_;
  std::vector<Task> posted_;  // guarded by mutex_
};

}  // namespace MobileDevice::usb
