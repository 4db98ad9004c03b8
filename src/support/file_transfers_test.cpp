#include <gtest/gtest.h>

#include <boost/system/system_error.hpp>
#include <cerrno>
#include <string>
#include <utility>

#include "support/file.h"
#include "tests/support/planned_transfers.h"
#include "tests/support/temporary_directory.h"

namespace {

using boost::system::error_code;
using TY::file::readable_file;
using TY::file::writable_file;

/// Each operation is tried in both forms; what either reports is in `ec`.
class FileTransfers : public testing::Test {
 protected:
  FileTransfers() {
    for (std::size_t i = 0; i < 200000; ++i) content += static_cast<char>(i % 251);
    directory.write("file", content);
  }

  /// These return what each transfer asked for.
  std::vector<std::size_t> read(const std::vector<Transfer>& plan, auto&... form) {
    readable_file file(directory / "file");
    return planned_transfers(plan, [&] {
      try {
        const std::vector<unsigned char> bytes = file.read_whole_file_impl(200000, form...);
        received.assign(bytes.begin(), bytes.end());
      } catch (const boost::system::system_error& thrown) {
        ec = thrown.code();
      }
    });
  }
  std::vector<std::size_t> write(const std::vector<Transfer>& plan, auto&... form) {
    writable_file file = writable_file::open_clobber(directory / "file");
    return planned_transfers(plan, [&] {
      try {
        file.write(content, form...);
      } catch (const boost::system::system_error& thrown) {
        ec = thrown.code();
      }
    });
  }

  const TemporaryDirectory directory;
  std::string content, received;
  error_code ec;
};

TEST_F(FileTransfers, GoOnWhereTheLastOneEnded) {
  const std::vector<Transfer> plan = {{.at_most = 1}, {.at_most = 1000}};
  const std::vector<std::size_t> asked = {65536, 65536, 65536, 65536, 65536, 2391};
  const auto expect_whole = [&](auto&... form) {
    EXPECT_EQ(read(plan, form...), asked);
    EXPECT_EQ(std::exchange(received, ""), content);
    EXPECT_EQ(write(plan, form...), asked);
    EXPECT_EQ(read_file(directory / "file"), content);
    EXPECT_FALSE(ec);
  };
  expect_whole();
  expect_whole(ec);
}

TEST_F(FileTransfers, EndAtTheFirstError) {
  const std::string begin = content.substr(0, 10);
  for (const int error : {EINTR, EIO, ENOSPC}) {
    const auto expect_failure = [&](auto&... form) {
      const std::vector<Transfer> plan = {{.at_most = 10}, {.error = error}};
      const error_code expected(error, boost::system::system_category());
      directory.write("file", content);
      EXPECT_EQ(read(plan, form...), (std::vector<std::size_t>{65536, 65536}));
      EXPECT_EQ(std::exchange(ec, {}), expected);
      EXPECT_EQ(write(plan, form...), (std::vector<std::size_t>{65536, 65536}));
      EXPECT_EQ(std::exchange(ec, {}), expected);
      EXPECT_EQ(read_file(directory / "file"), begin);
    };
    expect_failure();
    expect_failure(ec);
    EXPECT_EQ(received, begin + std::string(content.size() - 10, '\0')) << "the form with ec";
  }
}

}  // namespace
