#include "log_file.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <utility>

namespace MobileDevice {

bool LogFile::open(const char* path) {
  const int descriptor = ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (descriptor < 0) return false;
  const std::lock_guard<std::mutex> lock(mutex_);
  const int previous = std::exchange(descriptor_, descriptor);
  if (previous >= 0) ::close(previous);
  return true;
}

void LogFile::write(std::uint64_t ecid, std::string_view call, AMRError result) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (descriptor_ < 0) return;
  const std::chrono::milliseconds now = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::system_clock::now().time_since_epoch());
  const std::string line =
      fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z {:016X} {}: {}\n", fmt::gmtime(now.count() / 1000),
                  now.count() % 1000, ecid, call, static_cast<std::int32_t>(result));
  // One write for each line keeps it whole if other processes write too. A full disk must not stop
  // a restore, so a line that can't be written is lost.
  [[maybe_unused]] const ssize_t written = ::write(descriptor_, line.data(), line.size());
}

}  // namespace MobileDevice
