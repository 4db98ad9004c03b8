#include "support/file_mutex.h"

#include <sys/file.h>

#include <cerrno>
#include <system_error>

namespace TY::file {
namespace {

void flock_(int descriptor, int operation) {
  if (flock(descriptor, operation) != 0)
    throw std::system_error(errno, std::generic_category(), "flock_");
}

bool try_flock(int descriptor, int operation) {
  if (flock(descriptor, operation | LOCK_NB) == 0) return true;
  const std::error_code error(errno, std::generic_category());
  if (error == std::errc::resource_unavailable_try_again) return false;
  throw std::system_error(error, "try_flock");
}

}  // namespace

void file_mutex::lock() { flock_(descriptor_, LOCK_EX); }
bool file_mutex::try_lock() { return try_flock(descriptor_, LOCK_EX); }
void file_mutex::unlock() { flock_(descriptor_, LOCK_UN); }
void file_mutex::lock_shared() { flock_(descriptor_, LOCK_SH); }
bool file_mutex::try_lock_shared() { return try_flock(descriptor_, LOCK_SH); }
void file_mutex::unlock_shared() { flock_(descriptor_, LOCK_UN); }

}  // namespace TY::file
