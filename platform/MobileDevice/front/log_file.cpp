#include "log_file.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <utility>

#include "text/format.h"

namespace MobileDevice {

bool LogFile::open(const char* path) {
  // O_NONBLOCK: a FIFO without a reader can't be opened, and one with a slow reader loses lines.
  // The log must not delay a restore.
  constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK;
  const int descriptor = ::open(path, kFlags, 0600);
  if (descriptor < 0) return false;
  const std::lock_guard<std::mutex> lock(mutex_);
  const int previous = std::exchange(descriptor_, descriptor);
  if (previous >= 0) ::close(previous);
  return true;
}

void LogFile::write(std::uint64_t ecid, std::string_view call, AMRError result) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (descriptor_ < 0) return;
  namespace time = std::chrono;
  const time::system_clock::time_point now = time::system_clock::now();
  const auto second = time::floor<time::seconds>(now);
  const std::string line = text::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z {:016X} {}: {}\n",
                                        fmt::gmtime(time::system_clock::to_time_t(second)),
                                        time::floor<time::milliseconds>(now - second).count(), ecid,
                                        call, static_cast<std::int32_t>(result));
  // One write for each line keeps it whole if other processes write too. A full disk must not stop
  // a restore, so a line that can't be written is lost.
  [[maybe_unused]] const ssize_t written = ::write(descriptor_, line.data(), line.size());
}

}  // namespace MobileDevice
