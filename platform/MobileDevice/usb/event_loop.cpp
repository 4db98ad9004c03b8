#include "event_loop.h"

#include <utility>

namespace MobileDevice::usb {

void EventLoop::post(Task task) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    posted_.push_back(std::move(task));
  }
  libusb_interrupt_event_handler(context());
}

void EventLoop::run_posted() {
  while (true) {
    std::vector<Task> tasks;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      tasks.swap(posted_);
    }
    if (tasks.empty()) return;
    for (const Task& task : tasks) task();
  }
}

void EventLoop::run() {
  while (true) {
    run_posted();
    // A failure concerns one device or one signal; the next round serves the others.
    libusb_handle_events(context());
  }
}

}  // namespace MobileDevice::usb
