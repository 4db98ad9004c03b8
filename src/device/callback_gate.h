#pragma once

#include <shared_mutex>

namespace korvrestore {

/// Keeps MobileDevice's callbacks from using a context that has been destroyed. A session ends a
/// little before the process, and MobileDevice may still call: a restore continues after the device
/// has entered restore mode or the restore has timed out, and a command that failed keeps its
/// registration.
///
/// A context is open from construction to destruction, which waits for running callbacks. So no
/// callback may destroy its own context.
class callback_gate {
 public:
  explicit callback_gate(const void* context);
  callback_gate(const callback_gate&) = delete;
  callback_gate& operator=(const callback_gate&) = delete;
  ~callback_gate();

 private:
  const void* context_;
};

/// One running callback: while this object exists, the context can't close.
class callback_entry {
 public:
  explicit callback_entry(const void* context);

  /// Whether the context is open; if not, it must not be used.
  bool is_open() const { return is_open_; }

 private:
  std::shared_lock<std::shared_mutex> inside_;
  bool is_open_;
};

}  // namespace korvrestore
