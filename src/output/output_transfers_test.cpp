/// How messages are written when the system writes less than it was asked, or nothing.
#include <gtest/gtest.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tests/support/recorded_output.h"

namespace {

std::size_t largest_write = SIZE_MAX;
int write_error = 0;

}  // namespace

extern "C" {

ssize_t __real_writev(int descriptor, const iovec* buffers, int count);
ssize_t __wrap_writev(int descriptor, const iovec* buffers, int count) {
  if (count > 1 && buffers->iov_len == 0) ++buffers;
  const iovec part = {buffers->iov_base, std::min(buffers->iov_len, largest_write)};
  errno = write_error;
  return errno == 0 ? __real_writev(descriptor, &part, 1) : -1;
}

}  // extern "C"

namespace {

TEST(OutputTransfers, GoOnWhereTheLastOneEnded) {
  for (largest_write = 1; largest_write < 5; ++largest_write) {
    RecordedOutput output;
    output.state->print("text");
    output.state->print("more");
    output.finish();
    EXPECT_EQ(output.messages, "text\nmore\n");
  }
}

TEST(OutputTransfersDeathTest, EndTheProcessWhenTheyFail) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const int error : {EINTR, EIO}) {
    EXPECT_DEATH(
        {
          RecordedOutput output;
          output.state->print("text");
          output.state->quit();
          write_error = error;
          std::thread([&] { output.state->loop(); }).join();
        },
        std::string("write: ") + std::strerror(error));
  }
}

}  // namespace
