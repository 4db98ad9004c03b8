#pragma once

#include <shared_mutex>

namespace korvrestore {

/// Keeps MobileDevice's callbacks away from a context that is gone. A session ends a little before
/// the process, and MobileDevice may go on calling: when the device has entered restore mode, or a
/// restore has timed out, the restore and its reports go on; a command that failed leaves its
/// registration in place.
///
/// A context is open from construction to destruction, which waits for the calls that are inside;
/// so no callback may destroy its own context.
class callback_gate {
 public:
  explicit callback_gate(const void* context);
  callback_gate(const callback_gate&) = delete;
  callback_gate& operator=(const callback_gate&) = delete;
  ~callback_gate();

 private:
  const void* context_;
};

/// One callback's stay inside its context: while it lasts, the context can't close.
class callback_entry {
 public:
  explicit callback_entry(const void* context);

  /// Whether the context is open; if not, it must not be touched.
  bool is_open() const { return is_open_; }

 private:
  std::shared_lock<std::shared_mutex> inside_;
  bool is_open_;
};

}  // namespace korvrestore
