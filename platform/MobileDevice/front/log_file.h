/// The log of the calls that reach devices.
#pragma once

#include <MobileDevice/MobileDevice.h>

#include <cstdint>
#include <mutex>
#include <string_view>

namespace MobileDevice {

/// Thread-safe; exists until the process ends.
class LogFile {
 public:
  /// Appends to the file `path` from now on, created with mode 0600 if it isn't there. False when
  /// it can't be opened: then the log stays as it was.
  bool open(const char* path);
  /// Writes one line: the time, the ECID, the call and its result. Does nothing without an open
  /// file.
  void write(std::uint64_t ecid, std::string_view call, AMRError result) noexcept;

 private:
  std::mutex mutex_;
  int descriptor_ = -1;
};

}  // namespace MobileDevice
