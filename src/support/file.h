#pragma once

#include <boost/asio/posix/basic_stream_descriptor.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "support/file_mutex.h"
#include "support/non_async_executor.h"

/// Files that are locked (advisory, flock) as long as they are open. Every operation comes in two
/// forms: one throws `boost::system::system_error`, or `std::system_error` for a failing flock;
/// the other clears its `ec` first and reports there instead. A lock held elsewhere is
/// `errc::lock_failed` at once; nothing waits.
namespace TY::file {

/// What both kinds of file share: path, descriptor and lock.
class base {
 protected:
  base();
  ~base() = default;
  base(base&&) = default;

  /// Opens `path` with `flags` and takes `lock`; the object holds no file before. `failure` says
  /// what was tried, for the error's text.
  template <typename Lock>
  void open_and_assign(const std::string& path, int flags, const std::string& failure, Lock& lock);
  template <typename Lock>
  void close(Lock& lock);

  std::string path_;
  boost::asio::posix::basic_stream_descriptor<non_async_executor> descriptor_;
  std::unique_ptr<file_mutex> mutex_;  // on the heap: the lock holders point to it
};

/// A file open for reading and locked for reading.
class readable_file : private base {
 public:
  explicit readable_file(const std::string& path);
  readable_file(const std::string& path, boost::system::error_code& ec);

  /// Gives the lock back and closes the descriptor, as the destructor does.
  void close();

  /// In bytes; -1 with `ec` set on failure.
  std::int64_t get_total_size();
  std::int64_t get_total_size(boost::system::error_code& ec);

  /// The whole file, at most `maximum_size` bytes; more is `errc::file_too_large`. With `ec`, a
  /// failing read leaves the result at its full size.
  std::vector<unsigned char> read_whole_file_impl(std::uint64_t maximum_size);
  std::vector<unsigned char> read_whole_file_impl(std::uint64_t maximum_size,
                                                  boost::system::error_code& ec);

 private:
  std::vector<unsigned char> allocate_for_whole_file(std::uint64_t maximum_size);

  std::shared_lock<file_mutex> lock_;
};

/// A file open for writing and locked for writing; created with mode 0666 less the umask.
class writable_file : private base {
 public:
  writable_file(writable_file&&) = default;

  /// Fails on a file that exists.
  static writable_file create_new(const std::string& path);
  static writable_file create_new(const std::string& path, boost::system::error_code& ec);
  /// Empties a file that exists.
  static writable_file open_clobber(const std::string& path);
  static writable_file open_clobber(const std::string& path, boost::system::error_code& ec);
  /// Writes behind what the file holds.
  static writable_file open_append(const std::string& path);
  static writable_file open_append(const std::string& path, boost::system::error_code& ec);

  /// Gives the lock back and closes the descriptor, as the destructor does.
  void close();

  /// Writes all of `text`, 65,536 bytes at a time, up to the first error.
  void write(std::string_view text);
  void write(std::string_view text, boost::system::error_code& ec);

 private:
  writable_file() = default;
  writable_file(const std::string& path, int flags, const std::string& failure);

  std::unique_lock<file_mutex> lock_;
};

}  // namespace TY::file
