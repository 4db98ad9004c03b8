#pragma once

#include <boost/asio/posix/basic_stream_descriptor.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "support/file_mutex.h"
#include "support/non_async_executor.h"

/// Files that are locked (advisory, flock) while they are open. Every operation has two forms. One
/// throws `boost::system::system_error`, or `std::system_error` if flock fails. The other clears
/// its `ec` first and reports the error there. If another process holds the lock, opening fails at
/// once with `errc::lock_failed`.
namespace TY::file {

/// The common part of both kinds of file: path, descriptor and lock.
class base {
 protected:
  base();
  ~base() = default;
  base(base&&) = default;

  /// Opens `path` with `flags` and takes `lock`. The object must not have a file yet. `failure` is
  /// the text of the error if opening fails.
  template <typename Lock>
  void open_and_assign(const std::string& path, int flags, const std::string& failure, Lock& lock);
  template <typename Lock>
  void close(Lock& lock);

  using stream = boost::asio::posix::basic_stream_descriptor<non_async_executor>;
  /// @throws boost::system::system_error  no file was ever opened
  stream& descriptor();

  std::string path_;
  std::optional<stream>
      descriptor_;  // empty until the first opening: Asio needs descriptors for it
  std::unique_ptr<file_mutex> mutex_;  // on the heap because the locks point to it
};

/// A file open for reading and locked for reading.
class readable_file : private base {
 public:
  explicit readable_file(const std::string& path);
  readable_file(const std::string& path, boost::system::error_code& ec);

  /// Releases the lock and closes the descriptor, as the destructor does.
  void close();

  /// In bytes; -1 with `ec` set on failure.
  std::int64_t get_total_size();
  std::int64_t get_total_size(boost::system::error_code& ec);

  /// Reads the whole file. A file of more than `maximum_size` bytes is `errc::file_too_large`. With
  /// `ec`, the result has its full size also if a read fails.
  std::vector<unsigned char> read_whole_file_impl(std::uint64_t maximum_size);
  std::vector<unsigned char> read_whole_file_impl(std::uint64_t maximum_size,
                                                  boost::system::error_code& ec);

 private:
  std::vector<unsigned char> allocate_for_whole_file(std::uint64_t maximum_size);

  std::shared_lock<file_mutex> lock_;
};

/// A file open for writing and locked for writing. New files have mode 0666 without the umask's
/// bits.
class writable_file : private base {
 public:
  writable_file(writable_file&&) = default;

  /// Fails if the file exists.
  static writable_file create_new(const std::string& path);
  static writable_file create_new(const std::string& path, boost::system::error_code& ec);
  /// Truncates an existing file.
  static writable_file open_clobber(const std::string& path);
  static writable_file open_clobber(const std::string& path, boost::system::error_code& ec);
  /// Writes at the end of an existing file.
  static writable_file open_append(const std::string& path);
  static writable_file open_append(const std::string& path, boost::system::error_code& ec);

  /// Releases the lock and closes the descriptor, as the destructor does.
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
