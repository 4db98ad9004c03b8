#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <fmt/core.h>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/posix/basic_stream_descriptor.hpp>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "driver/start_options.h"
#include "support/cf_type_deleter.h"
#include "text/format.h"

namespace korvrestore {

using output_descriptor = boost::asio::posix::basic_stream_descriptor<boost::asio::any_io_executor>;

/// One result message: the name of its type and an owned property-list value.
struct message_type {
  std::string type;
  cf_object value;
};

/// The tool's output: messages, each an XML property list of "Type" and "Value", and debug lines.
/// Any thread may queue either. One writer thread, in `loop`, writes them in that order.
///
/// A message that can't be created is dropped; a debug line reports why.
class output_str_state {
 public:
  /// Writes messages to the descriptor, if there is one, and closes it at the end; else to standard
  /// output.
  explicit output_str_state(std::optional<output_descriptor> pipe);

  /// Enables or disables debug lines from now on, including those that are still queued.
  void set_debug(bool enabled);

  /// Queues a text for the message channel, unchanged.
  void print(std::string text);
  /// Queues a line for standard error.
  void print_debug(std::string text);
  /// Queues a debug line of the function `speaker`: its name, then `format` with the arguments.
  template <typename... Arguments>
  void say(std::string_view speaker, fmt::format_string<Arguments...> format,
           Arguments&&... arguments) {
    print_debug(text::format("{}: {}", speaker,
                             text::format(format, std::forward<Arguments>(arguments)...)));
  }
  /// Queues a message. `value` is borrowed for the call.
  void print_value(CFStringRef type, CFTypeRef value);
  void print_value(const message_type& message);
  /// Queues a message of type "InternalError". `error` is borrowed for the call.
  void print_formatted_error(CFErrorRef error);

  /// Makes `loop` return when everything queued before has been written.
  void quit();

  /// The body of the writer thread. Holds the queue's lock while it writes, so a slow reader delays
  /// the threads that print. A failed write to the descriptor throws, which ends the process.
  void loop() &;

 private:
  void enqueue(std::string text, bool is_debug);
  void write(const std::string& text, bool is_debug);

  std::optional<output_descriptor> pipe_descriptor;
  std::mutex queue_mutex;
  std::vector<std::pair<std::string, bool>> pending;  // text, is_debug
  bool debug_enabled = false;
  bool quit_requested = false;
  std::condition_variable queue_cv;
};

/// The output state for a command line. A descriptor number isn't checked: if it isn't open, this
/// call or the first write fails.
/// @throws boost::system::system_error, boost::numeric::bad_numeric_cast  the number isn't a
///     descriptor that can be used.
std::shared_ptr<output_str_state> make_output_state(boost::asio::any_io_executor executor,
                                                    const start_options& options);

}  // namespace korvrestore
