#include "support/file.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/execution/executor.hpp>
#include <boost/system/system_error.hpp>
#include <functional>
#include <optional>
#include <system_error>

#include "support/file_error.h"
#include "support/ios_device_error.h"
#include "tests/support/temporary_directory.h"

namespace {

using TY::file::errc;
using TY::file::readable_file;
using TY::file::writable_file;
namespace generic = boost::system::errc;

/// What the throwing form says, its code in `code`.
std::string failure(const std::function<void()>& operation, boost::system::error_code& code) {
  try {
    operation();
  } catch (const boost::system::system_error& error) {
    code = error.code();
    return error.what();
  }
  return "nothing thrown";
}

/// A process of its own that holds a lock on a file from construction to destruction.
class LockHolder {
 public:
  LockHolder(const std::string& path, int operation) {
    int locked[2], release[2];
    if (pipe(locked) != 0 || pipe(release) != 0) throw std::runtime_error("pipe");
    child_ = fork();
    if (child_ == 0) {
      const int file = open(path.c_str(), O_RDONLY);
      const char byte = flock(file, operation) == 0 ? '+' : '-';
      close(release[1]);
      char end;
      _exit(write(locked[1], &byte, 1) == 1 && read(release[0], &end, 1) == 0 ? 0 : 1);
    }
    close(locked[1]);
    close(release[0]);
    char answer = '-';
    if (read(locked[0], &answer, 1) != 1 || answer != '+') throw std::runtime_error("not locked");
    close(locked[0]);
    release_ = release[1];
  }
  ~LockHolder() {
    close(release_);
    waitpid(child_, nullptr, 0);
  }

 private:
  pid_t child_;
  int release_;
};

TEST(ReadableFile, ReadsUpToTheLimit) {
  const TemporaryDirectory directory;
  const std::string content(200000, 'x');
  const std::string path = directory.write("file", content);
  boost::system::error_code ec = generic::make_error_code(generic::io_error);

  readable_file file(path);
  EXPECT_EQ(file.get_total_size(), 200000);
  EXPECT_EQ(file.get_total_size(ec), 200000);
  EXPECT_FALSE(ec);
  const std::vector<unsigned char> bytes = file.read_whole_file_impl(200000);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), content);
  EXPECT_EQ(readable_file(path).read_whole_file_impl(200000, ec), bytes);
  EXPECT_FALSE(ec);

  const std::string text = failure([&] { file.read_whole_file_impl(199999); }, ec);
  EXPECT_EQ(ec, errc::file_too_large);
  EXPECT_EQ(ec, generic::not_enough_memory);
  EXPECT_EQ(text.rfind("'" + path + "' is 200000 bytes (max size is 199999 bytes)", 0), 0u) << text;
  EXPECT_TRUE(file.read_whole_file_impl(10, ec).empty());
  EXPECT_EQ(ec, errc::file_too_large);

  EXPECT_TRUE(readable_file(directory.write("empty", "")).read_whole_file_impl(0).empty());
  truncate(path.c_str(), 100);
  EXPECT_THROW(file.read_whole_file_impl(200000), boost::system::system_error);  // at its end
}

TEST(ReadableFile, ReportsFailuresInBothForms) {
  const TemporaryDirectory directory;
  const std::string missing = directory / "missing";
  boost::system::error_code thrown, ec;
  const std::string text = failure([&] { readable_file file(missing); }, thrown);
  EXPECT_EQ(text.rfind("when opening file '" + missing + "' for reading", 0), 0u) << text;
  EXPECT_EQ(thrown, generic::no_such_file_or_directory);

  readable_file unopened(missing, ec);
  EXPECT_EQ(ec, generic::no_such_file_or_directory);
  EXPECT_EQ(unopened.get_total_size(ec), -1);
  EXPECT_EQ(ec, generic::bad_file_descriptor);
  const std::string size_text = failure([&] { unopened.get_total_size(); }, thrown);
  EXPECT_EQ(size_text.rfind("when getting size of file '", 0), 0u) << size_text;

  readable_file folder(directory / "");
  EXPECT_THROW(folder.read_whole_file_impl(1 << 20), boost::system::system_error);
}

TEST(WritableFile, OpensInItsThreeModes) {
  const TemporaryDirectory directory;
  const std::string path = directory / "file";
  boost::system::error_code ec;
  writable_file::create_new(path).write("one");
  EXPECT_EQ(read_file(path), "one");
  const std::string text = failure([&] { writable_file::create_new(path); }, ec);
  EXPECT_EQ(text.rfind("when creating new file '" + path + "' for writing", 0), 0u) << text;
  EXPECT_EQ(ec, generic::file_exists);
  ec.clear();
  writable_file::create_new(path, ec);
  EXPECT_EQ(ec, generic::file_exists);

  writable_file::open_append(path, ec).write("two", ec);
  EXPECT_EQ(read_file(path), "onetwo");
  writable_file::open_clobber(path).write("three");
  EXPECT_EQ(read_file(path), "three");

  const std::string nowhere = directory / "no/file";
  EXPECT_EQ(failure([&] { writable_file::open_clobber(nowhere); }, ec)
                .rfind("when clobbering file '" + nowhere + "' for writing", 0),
            0u);
  EXPECT_EQ(failure([&] { writable_file::open_append(nowhere); }, ec)
                .rfind("when opening file '" + nowhere + "' for appending", 0),
            0u);
}

TEST(FileLock, KeepsOtherProcessesOut) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("file", "text");
  boost::system::error_code ec;
  {
    const LockHolder writer(path, LOCK_EX);
    EXPECT_EQ(failure([&] { readable_file file(path); }, ec)
                  .rfind("open_and_assign: Could not obtain file lock", 0),
              0u);
    EXPECT_EQ(ec, errc::lock_failed);
    EXPECT_EQ(ec, generic::resource_unavailable_try_again);
    ec.clear();
    readable_file file(path, ec);
    EXPECT_EQ(ec, errc::lock_failed);
  }
  const LockHolder reader(path, LOCK_SH);
  EXPECT_NO_THROW(readable_file{path});
  writable_file::open_append(path, ec);
  EXPECT_EQ(ec, errc::lock_failed);
}

TEST(FileLock, LastsUntilClose) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("file", "text");
  boost::system::error_code ec;
  writable_file writer = writable_file::open_append(path);
  writable_file moved = std::move(writer);
  readable_file(path, ec);
  EXPECT_EQ(ec, errc::lock_failed);
  moved.close();
  readable_file(path, ec);
  EXPECT_FALSE(ec);
  EXPECT_THROW(TY::file::file_mutex(-1).try_lock(), std::system_error);
  EXPECT_THROW(TY::file::file_mutex(-1).unlock_shared(), std::system_error);
}

TEST(ErrorCategories, NameTheirCodes) {
  const boost::system::error_category& file = make_error_code(errc::success).category();
  EXPECT_STREQ(file.name(), "TY::file");
  EXPECT_EQ(file.message(0), "Success");
  EXPECT_EQ(file.message(2), "Could not allocate buffer for file");
  EXPECT_EQ(file.message(4), "Unknown error 4");
  EXPECT_EQ(file.message(-1), "Unknown error -1");
  EXPECT_EQ(file.default_error_condition(4), boost::system::error_condition(4, file));
  EXPECT_FALSE(make_error_code(errc::success).failed());

  const boost::system::error_category& device =
      make_error_code(TY::SharedSupport::ios_device::errc::success).category();
  EXPECT_STREQ(device.name(), "libtorrin");
  const char* const messages[] = {"success", "USB communication failed",
                                  "Device entered invalid state", "unknown error"};
  for (int code = 0; code < 4; ++code) EXPECT_EQ(device.message(code), messages[code]);
  EXPECT_EQ(device.message(-1), "unknown error");
}

static_assert(boost::asio::execution::is_executor<TY::non_async_executor>::value);

TEST(NonAsyncExecutorDeathTest, EndsTheProcessThatUsesItAsynchronously) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(TY::non_async_executor().execute([] {}), "asynchronously");
  EXPECT_DEATH(
      {
        boost::asio::posix::basic_stream_descriptor<TY::non_async_executor> descriptor(
            TY::non_async_executor(), dup(STDIN_FILENO));
        char byte;
        descriptor.async_read_some(boost::asio::buffer(&byte, 1),
                                   [](const boost::system::error_code&, std::size_t) {});
      },
      "asynchronously");
}

}  // namespace
