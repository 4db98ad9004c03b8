/// System calls that can fail are replaced by the test (linker --wrap).
#include "support/file.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>
#include <cerrno>
#include <functional>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "support/file_error.h"
#include "tests/support/temporary_directory.h"

namespace {

using boost::system::error_code;
using TY::file::errc;
using TY::file::file_mutex;
using TY::file::readable_file;
using TY::file::writable_file;

constexpr std::size_t largest_part = 60000;  // of one transfer

struct System {
  int flock_error = 0;
  int epoll_error = 0;
  std::size_t largest_allocation = SIZE_MAX;
  int error_of_second_transfer = 0;
  std::vector<int> flocks = {};             // the requested operations
  std::vector<std::size_t> transfers = {};  // the requested sizes
} the_system;

error_code system_code(int number) { return {number, boost::system::generic_category()}; }

template <typename Call>
ssize_t transfer(std::size_t size, Call call) {
  the_system.transfers.push_back(size);
  errno = the_system.transfers.size() == 2 ? the_system.error_of_second_transfer : 0;
  return errno == 0 ? call(std::min(size, largest_part)) : -1;
}

}  // namespace

extern "C" {

int __real_flock(int descriptor, int operation);
int __wrap_flock(int descriptor, int operation) {
  the_system.flocks.push_back(operation);
  errno = the_system.flock_error;
  return errno == 0 ? __real_flock(descriptor, operation) : -1;
}

int __real_epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event);
int __wrap_epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event) {
  errno = the_system.epoll_error;
  return errno == 0 ? __real_epoll_ctl(epoll, operation, descriptor, event) : -1;
}

ssize_t __real_read(int descriptor, void* bytes, std::size_t size);
ssize_t __wrap_read(int descriptor, void* bytes, std::size_t size) {
  return transfer(size, [&](std::size_t part) { return __real_read(descriptor, bytes, part); });
}

ssize_t __real_write(int descriptor, const void* bytes, std::size_t size);
ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t size) {
  return transfer(size, [&](std::size_t part) { return __real_write(descriptor, bytes, part); });
}

void* __real__Znwm(std::size_t size);
void* __wrap__Znwm(std::size_t size) {  // operator new
  if (size > the_system.largest_allocation) throw std::bad_alloc();
  return __real__Znwm(size);
}

}  // extern "C"

namespace {

class File : public testing::Test {
 protected:
  ~File() override { the_system = {}; }

  /// `operation` fails with `code` in both forms: without an argument, with a text that begins with
  /// `text`, and with an error_code.
  template <typename Code, typename Operation>
  static void expect_failure(const std::string& text, Code code, Operation operation) {
    SCOPED_TRACE(text);
    try {
      operation();
      ADD_FAILURE() << "nothing thrown";
    } catch (const boost::system::system_error& error) {
      EXPECT_EQ(error.code(), code);
      EXPECT_EQ(std::string(error.what()).rfind(text + ": ", 0), 0u) << error.what();
    }
    error_code ec;
    operation(ec);
    EXPECT_EQ(ec, code);
  }

  const TemporaryDirectory directory;
  const std::size_t size = 200000;
  const std::string content = std::string(size, 'x');
  const std::string path = directory.write("file", content);
  error_code ec = make_error_code(errc::lock_failed);  // every operation clears it
};

TEST_F(File, HasThreeWriteModes) {
  const std::string created = directory / "a", other = directory / "b";
  writable_file::create_new(created, ec).write("one", ec);
  EXPECT_FALSE(ec);
  EXPECT_EQ(read_file(created), "one");
  for (const char* text : {"two", "three"}) {
    writable_file::open_append(other).write(text);
    writable_file::open_clobber(created).write(text);
  }
  EXPECT_EQ(read_file(created) + read_file(other), "threetwothree");
}

TEST_F(File, TransfersUpToFirstError) {
  const std::string copy = directory / "copy";
  readable_file reader(path);
  writable_file writer = writable_file::open_clobber(copy);
  const auto expect_whole = [&](auto&... ec) {
    the_system = {};
    const std::vector<unsigned char> bytes = readable_file(path).read_whole_file_impl(size, ec...);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), content);
    writable_file::open_append(directory / "whole").write(content, ec...);
    EXPECT_EQ(the_system.transfers,
              (std::vector<std::size_t>{65536, 65536, 65536, 20000, 65536, 65536, 65536, 20000}));
  };
  expect_whole();
  expect_whole(ec);
  EXPECT_FALSE(ec);
  EXPECT_EQ(read_file(directory / "whole"), content + content);

  for (const int error : {EINTR, EIO}) {
    const error_code code(error, boost::system::system_category());
    const System failing = {.error_of_second_transfer = error};
    expect_failure("read", code, [&](auto&... ec) {
      the_system = failing;
      EXPECT_EQ(reader.read_whole_file_impl(size, ec...).size(), size);
    });
    EXPECT_EQ(the_system.transfers.size(), 2u);
    expect_failure("write", code, [&](auto&... ec) {
      the_system = failing;
      writer.write(content, ec...);
    });
    EXPECT_EQ(the_system.transfers.size(), 2u);
  }
  EXPECT_EQ(read_file(copy).size(), 4 * largest_part);
}

TEST_F(File, ReportsReadErrors) {
  readable_file file(path), unopened(directory / "none", ec);
  EXPECT_EQ(ec, system_code(ENOENT));
  const auto read_up_to = [&](std::uint64_t limit) {
    return [&file, limit](auto&... ec) { return file.read_whole_file_impl(limit, ec...); };
  };
  expect_failure("when getting size of file ''", system_code(EBADF),
                 [&](auto&... ec) { EXPECT_EQ(unopened.get_total_size(ec...), -1); });
  expect_failure("'" + path + "' is 200000 bytes (max size is 199999 bytes)",
                 make_error_code(errc::file_too_large), read_up_to(size - 1));
  file.read_whole_file_impl(size);
  expect_failure("read", boost::asio::error::eof, read_up_to(size));
  the_system.largest_allocation = size - 1;
  expect_failure("while allocating 200000 bytes for '" + path + "': std::bad_alloc",
                 make_error_code(errc::buffer_allocation_failed), read_up_to(size));
}

TEST_F(File, ReportsOpenErrors) {
  const std::string nowhere = directory / "no/file";
  const auto open = [&](auto&... ec) { readable_file file(path, ec...); };
  expect_failure("when opening file '" + nowhere + "' for reading", system_code(ENOENT),
                 [&](auto&... ec) { readable_file file(nowhere, ec...); });
  expect_failure("when creating new file '" + path + "' for writing", system_code(EEXIST),
                 [&](auto&... ec) { writable_file::create_new(path, ec...); });
  expect_failure("when clobbering file '" + nowhere + "' for writing", system_code(ENOENT),
                 [&](auto&... ec) { writable_file::open_clobber(nowhere, ec...); });
  expect_failure("when opening file '" + nowhere + "' for appending", system_code(ENOENT),
                 [&](auto&... ec) { writable_file::open_append(nowhere, ec...); });

  const int next_descriptor = dup(STDIN_FILENO);
  close(next_descriptor);
  the_system = {.epoll_error = ENOSPC};
  expect_failure("when opening file '" + path + "' for reading",
                 boost::system::errc::no_space_on_device, open);
  the_system = {.flock_error = EWOULDBLOCK};
  expect_failure("open_and_assign", make_error_code(errc::lock_failed), open);
  the_system = {.flock_error = ENOLCK};
  EXPECT_THROW(open(), std::system_error);
  readable_file unlocked(path, ec);
  EXPECT_EQ(ec, system_code(ENOLCK));
  EXPECT_EQ(dup(STDIN_FILENO), next_descriptor);  // nothing stayed open
  close(next_descriptor);
}

TEST_F(File, StaysLockedUntilClosed) {
  const auto code_of = [&](auto open) { return open(ec), ec; };
  const auto reading = [&](error_code& ec) { readable_file file(path, ec); };
  const auto writing = [&](error_code& ec) { writable_file::open_append(path, ec); };
  readable_file reader(path);
  EXPECT_FALSE(code_of(reading));
  EXPECT_EQ(code_of(writing), boost::system::errc::resource_unavailable_try_again);
  reader.close();
  writable_file opened = writable_file::open_append(path);
  writable_file writer = std::move(opened);
  EXPECT_EQ(code_of(reading), errc::lock_failed);
  writer.close();
  EXPECT_FALSE(code_of(writing));
}

TEST_F(File, LockErrorsArePassedOn) {
  const struct {
    std::function<void(file_mutex&)> ask;
    int operation;
    std::string text;
  } cases[] = {
      {&file_mutex::lock, LOCK_EX, "flock_: "},
      {&file_mutex::try_lock, LOCK_EX | LOCK_NB, "try_flock: "},
      {&file_mutex::unlock, LOCK_UN, "flock_: "},
      {&file_mutex::lock_shared, LOCK_SH, "flock_: "},
      {&file_mutex::try_lock_shared, LOCK_SH | LOCK_NB, "try_flock: "},
      {&file_mutex::unlock_shared, LOCK_UN, "flock_: "},
  };
  for (const auto& [ask, operation, text] : cases) {
    the_system = {.flock_error = EINTR};
    file_mutex mutex(STDIN_FILENO);
    try {
      ask(mutex);
      ADD_FAILURE() << "nothing thrown";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), std::error_code(EINTR, std::generic_category()));
      EXPECT_EQ(std::string(error.what()).rfind(text, 0), 0u) << error.what();
    }
    EXPECT_EQ(the_system.flocks, std::vector<int>{operation});
  }
}

}  // namespace
