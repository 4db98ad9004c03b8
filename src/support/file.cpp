#include "support/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/system/system_error.hpp>
#include <cerrno>
#include <system_error>

#include "support/file_error.h"
#include "text/format.h"

namespace TY::file {
namespace {

constexpr std::size_t largest_transfer = 65536;
constexpr mode_t created_file_mode = 0666;

boost::system::error_code last_error() {
  return boost::system::error_code(errno, boost::system::generic_category());
}

[[noreturn]] void fail(errc code, const std::string& what) {
  throw boost::system::system_error(make_error_code(code), what);
}

/// Calls a throwing form. Stores its exception in `ec` and then returns `on_failure`.
template <typename Result, typename Operation>
Result captured(boost::system::error_code& ec, Result on_failure, Operation operation) {
  ec.clear();
  try {
    return operation();
  } catch (const boost::system::system_error& error) {
    ec = error.code();
  } catch (const std::system_error& error) {
    ec.assign(error.code().value(), boost::system::generic_category());
  }
  return on_failure;
}

std::string for_reading(const std::string& path) {
  return text::format("when opening file '{}' for reading", path);
}

}  // namespace

base::base() : mutex_(std::make_unique<file_mutex>(-1)) {}

template <typename Lock>
void base::open_and_assign(const std::string& path, int flags, const std::string& failure,
                           Lock& lock) {
  if (!descriptor_) descriptor_.emplace(non_async_executor());
  const int opened = ::open(path.c_str(), flags, created_file_mode);
  if (opened < 0) throw boost::system::system_error(last_error(), failure);

  boost::system::error_code not_assigned;
  descriptor_->assign(opened, not_assigned);
  if (not_assigned) {
    ::close(opened);
    throw boost::system::system_error(not_assigned, failure);
  }
  path_ = path;
  mutex_ = std::make_unique<file_mutex>(opened);

  Lock attempt(*mutex_, std::try_to_lock);
  if (!attempt.owns_lock()) fail(errc::lock_failed, "open_and_assign");
  lock = std::move(attempt);
}

base::stream& base::descriptor() {
  if (!descriptor_) throw boost::system::system_error(boost::asio::error::bad_descriptor);
  return *descriptor_;
}

template <typename Lock>
void base::close(Lock& lock) {
  if (lock.owns_lock()) lock.unlock();
  lock = Lock();
  boost::system::error_code ignored;
  if (descriptor_) descriptor_->close(ignored);
}

readable_file::readable_file(const std::string& path) {
  open_and_assign(path, O_RDONLY, for_reading(path), lock_);
}

readable_file::readable_file(const std::string& path, boost::system::error_code& ec) {
  captured(ec, /*on_failure=*/0, [&] {
    open_and_assign(path, O_RDONLY, for_reading(path), lock_);
    return 0;
  });
  if (ec) close();
}

void readable_file::close() { base::close(lock_); }

std::int64_t readable_file::get_total_size() {
  struct stat status;
  if (fstat(descriptor().native_handle(), &status) != 0) {
    const boost::system::error_code error = last_error();
    throw boost::system::system_error(error, text::format("when getting size of file '{}'", path_));
  }
  return status.st_size;
}

std::int64_t readable_file::get_total_size(boost::system::error_code& ec) {
  return captured(ec, std::int64_t{-1}, [&] { return get_total_size(); });
}

std::vector<unsigned char> readable_file::allocate_for_whole_file(std::uint64_t maximum_size) {
  const std::uint64_t size = static_cast<std::uint64_t>(get_total_size());
  if (size > maximum_size) {
    fail(errc::file_too_large,
         text::format("'{}' is {} bytes (max size is {} bytes)", path_, size, maximum_size));
  }
  try {
    return std::vector<unsigned char>(size);
  } catch (const std::exception& error) {
    fail(errc::buffer_allocation_failed,
         text::format("while allocating {} bytes for '{}': {}", size, path_, error.what()));
  }
}

std::vector<unsigned char> readable_file::read_whole_file_impl(std::uint64_t maximum_size) {
  std::vector<unsigned char> content = allocate_for_whole_file(maximum_size);
  if (!content.empty()) boost::asio::read(descriptor(), boost::asio::buffer(content));
  return content;
}

std::vector<unsigned char> readable_file::read_whole_file_impl(std::uint64_t maximum_size,
                                                               boost::system::error_code& ec) {
  std::vector<unsigned char> content = captured(
      ec, std::vector<unsigned char>(), [&] { return allocate_for_whole_file(maximum_size); });
  for (std::size_t done = 0; !ec && done < content.size();) {
    const std::size_t next = std::min(largest_transfer, content.size() - done);
    done += descriptor().read_some(boost::asio::buffer(content.data() + done, next), ec);
  }
  return content;
}

writable_file::writable_file(const std::string& path, int flags, const std::string& failure) {
  open_and_assign(path, flags, failure, lock_);
}

writable_file writable_file::create_new(const std::string& path) {
  return writable_file(path, O_WRONLY | O_CREAT | O_EXCL,
                       text::format("when creating new file '{}' for writing", path));
}

writable_file writable_file::create_new(const std::string& path, boost::system::error_code& ec) {
  return captured(ec, writable_file(), [&] { return create_new(path); });
}

writable_file writable_file::open_clobber(const std::string& path) {
  return writable_file(path, O_WRONLY | O_CREAT | O_TRUNC,
                       text::format("when clobbering file '{}' for writing", path));
}

writable_file writable_file::open_clobber(const std::string& path, boost::system::error_code& ec) {
  return captured(ec, writable_file(), [&] { return open_clobber(path); });
}

writable_file writable_file::open_append(const std::string& path) {
  return writable_file(path, O_WRONLY | O_CREAT | O_APPEND,
                       text::format("when opening file '{}' for appending", path));
}

writable_file writable_file::open_append(const std::string& path, boost::system::error_code& ec) {
  return captured(ec, writable_file(), [&] { return open_append(path); });
}

void writable_file::close() { base::close(lock_); }

void writable_file::write(std::string_view text) {
  boost::asio::write(descriptor(), boost::asio::buffer(text));
}

void writable_file::write(std::string_view text, boost::system::error_code& ec) {
  captured(ec, 0, [&] {
    write(text);
    return 0;
  });
}

}  // namespace TY::file
