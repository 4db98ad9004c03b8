/// Events with a time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>

namespace MobileDevice::simulator {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

/// The time `seconds` after `start`.
inline Clock::time_point after(Clock::time_point start, Seconds seconds) {
  return start + std::chrono::duration_cast<Clock::duration>(seconds);
}

/// Runs events when they are due, one at a time. Events of the same time run in the order in which
/// they were added. Once its thread runs, it exists until the process ends.
class Timeline {
 public:
  using Event = std::function<void()>;

  void add(Clock::time_point due, Event event);
  /// Starts the thread. @throws std::system_error
  void start();

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable added_;
  std::multimap<Clock::time_point, Event> events_;
};

}  // namespace MobileDevice::simulator
