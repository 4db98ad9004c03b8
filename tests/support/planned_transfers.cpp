#include "tests/support/planned_transfers.h"

#include <sys/types.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>

namespace {

struct {
  bool planned = false;
  std::vector<Transfer> plan;
  std::vector<std::size_t> asked;
} the_system;

/// Transfers as much as is planned, by a `call` of so many bytes.
template <typename Call>
ssize_t transfer(std::size_t asked, Call call) {
  if (!the_system.planned) return call(asked);
  const std::size_t index = the_system.asked.size();
  the_system.asked.push_back(asked);
  if (index >= the_system.plan.size()) return call(asked);
  errno = the_system.plan[index].error;
  return errno == 0 ? call(std::min(asked, the_system.plan[index].at_most)) : -1;
}

/// The first `size` bytes of the buffers.
std::vector<iovec> shortened(const iovec* buffers, int count, std::size_t size) {
  std::vector<iovec> result(buffers, buffers + count);
  for (iovec& buffer : result) {
    buffer.iov_len = std::min(buffer.iov_len, size);
    size -= buffer.iov_len;
  }
  return result;
}

}  // namespace

std::vector<std::size_t> planned_transfers(const std::vector<Transfer>& plan,
                                           const std::function<void()>& operation) {
  the_system = {true, plan, {}};
  operation();
  the_system.planned = false;
  return the_system.asked;
}

extern "C" {

ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
  return transfer(size, [&](std::size_t part) { return __real_read(descriptor, buffer, part); });
}

ssize_t __real_write(int descriptor, const void* buffer, std::size_t size);
ssize_t __wrap_write(int descriptor, const void* buffer, std::size_t size) {
  return transfer(size, [&](std::size_t part) { return __real_write(descriptor, buffer, part); });
}

ssize_t __real_writev(int descriptor, const iovec* buffers, int count);
ssize_t __wrap_writev(int descriptor, const iovec* buffers, int count) {
  std::size_t size = 0;
  for (int i = 0; i < count; ++i) size += buffers[i].iov_len;
  return transfer(size, [&](std::size_t part) {
    return __real_writev(descriptor, shortened(buffers, count, part).data(), count);
  });
}

}  // extern "C"
