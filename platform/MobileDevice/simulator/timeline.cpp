#include "timeline.h"

#include <thread>
#include <utility>

namespace MobileDevice::simulator {

void Timeline::add(Clock::time_point due, Event event) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    events_.emplace(due, std::move(event));
  }
  added_.notify_one();
}

void Timeline::start() {
  std::thread([this] { run(); }).detach();
}

void Timeline::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    if (events_.empty()) {
      added_.wait(lock);
    } else if (const Clock::time_point due = events_.begin()->first; due > Clock::now()) {
      added_.wait_until(lock, due);
    } else {
      const Event event = std::move(events_.begin()->second);
      events_.erase(events_.begin());
      lock.unlock();
      event();
      lock.lock();
    }
  }
}

}  // namespace MobileDevice::simulator
