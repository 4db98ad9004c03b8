#pragma once

namespace TY::file {

/// The advisory lock of one open file (flock), for `std::unique_lock` and `std::shared_lock`.
/// Borrows the descriptor. All operations throw `std::system_error` if flock fails or is
/// interrupted.
class file_mutex {
 public:
  explicit file_mutex(int descriptor) : descriptor_(descriptor) {}

  void lock();
  /// False if another open file holds the lock.
  bool try_lock();
  void unlock();
  void lock_shared();
  /// False if another open file holds the lock exclusively.
  bool try_lock_shared();
  void unlock_shared();

 private:
  int descriptor_;
};

}  // namespace TY::file
