#include "output/standard_streams.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <iostream>
#include <streambuf>

namespace korvrestore {
namespace {

/// Whether the descriptor takes bytes again after the failed write that set errno; waits for that.
bool takes_more(int descriptor) {
  if (errno == EINTR) return true;
  if (errno != EAGAIN) return false;
  pollfd state = {descriptor, POLLOUT, 0};
  return ::poll(&state, 1, /*timeout=*/-1) > 0 || errno == EINTR;
}

class waiting_buffer : public std::streambuf {
 public:
  explicit waiting_buffer(int descriptor) : descriptor_(descriptor) { empty(); }

 protected:
  int_type overflow(int_type character) override {
    if (sync() != 0) return traits_type::eof();
    if (traits_type::eq_int_type(character, traits_type::eof()))
      return traits_type::not_eof(character);
    return sputc(traits_type::to_char_type(character));
  }

  int sync() override {
    const char* next = pbase();
    while (next != pptr()) {
      const ssize_t written = ::write(descriptor_, next, static_cast<std::size_t>(pptr() - next));
      if (written >= 0) {
        next += written;
      } else if (!takes_more(descriptor_)) {
        break;
      }
    }
    const bool all = next == pptr();
    empty();  // bytes that the descriptor refuses are lost, as on any stream
    return all ? 0 : -1;
  }

 private:
  void empty() { setp(bytes_.data(), bytes_.data() + bytes_.size()); }

  const int descriptor_;
  std::array<char, 8192> bytes_;
};

}  // namespace

void make_standard_streams_wait() {
  // Never destroyed: the streams are flushed after all destructors.
  std::cout.rdbuf(new waiting_buffer(STDOUT_FILENO));
  std::cerr.rdbuf(new waiting_buffer(STDERR_FILENO));
}

}  // namespace korvrestore
