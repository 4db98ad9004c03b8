/// Sends one message COUNT times through the tool's output channel to a pipe that another thread
/// reads: `print_messages FILE COUNT`. Prints the messages per second. FILE contains the whole
/// message, a dictionary of "Type" and "Value".

#include <CoreFoundation/CoreFoundation.h>
#include <unistd.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "output/output_str_state.h"
#include "plist_file.h"

namespace {

/// Reads until the pipe is closed. Returns the number of bytes.
std::uint64_t drain(int descriptor) {
  std::array<char, 64 * 1024> buffer{};
  std::uint64_t total = 0;
  ssize_t count = 0;
  while ((count = read(descriptor, buffer.data(), buffer.size())) > 0)
    total += static_cast<std::uint64_t>(count);
  return total;
}

/// Seconds until the last of `count` messages is read from the pipe; `received` counts their bytes.
double send(const cf::Owned<CFPropertyListRef>& message, int count, std::uint64_t& received) {
  const CFDictionaryRef envelope = static_cast<CFDictionaryRef>(message.get());
  const CFStringRef type = static_cast<CFStringRef>(CFDictionaryGetValue(envelope, CFSTR("Type")));
  const CFTypeRef value = CFDictionaryGetValue(envelope, CFSTR("Value"));

  std::array<int, 2> pipe_ends{};
  if (pipe(pipe_ends.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  const auto start = std::chrono::steady_clock::now();
  std::thread reader([&] { received = drain(pipe_ends[0]); });
  {
    boost::asio::io_context context;
    korvrestore::output_str_state output(
        korvrestore::output_descriptor(context.get_executor(), pipe_ends[1]));
    std::thread writer([&] { output.loop(); });
    for (int i = 0; i < count; ++i) output.print_value(type, value);
    output.quit();
    writer.join();
  }
  reader.join();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  close(pipe_ends[0]);
  return elapsed.count();
}

void run(const std::string& path, int count) {
  const cf::Owned<CFPropertyListRef> message = parse_plist(read_file(path));
  std::uint64_t size_of_one = 0;
  send(message, 1, size_of_one);
  std::uint64_t received = 0;
  const double seconds = send(message, count, received);
  if (size_of_one == 0 || received != size_of_one * static_cast<std::uint64_t>(count))
    throw std::runtime_error("messages were lost");
  std::cout << count / seconds << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 3) throw std::runtime_error("usage: print_messages FILE COUNT");
    run(argv[1], std::stoi(argv[2]));
  } catch (const std::exception& error) {
    std::cerr << "print_messages: " << error.what() << "\n";
    return 1;
  }
}
