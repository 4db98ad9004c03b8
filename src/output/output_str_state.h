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

namespace korvrestore {

using output_descriptor = boost::asio::posix::basic_stream_descriptor<boost::asio::any_io_executor>;

/// One result message: the name of its type and an owned property-list value.
struct message_type {
  std::string type;
  cf_object value;
};

/// All that the tool tells its caller: messages, each an XML property list of "Type" and "Value",
/// and debug lines. Any thread may hand over either; one writer thread, in `loop`, writes them in
/// that order.
///
/// A message that can't be built is dropped with a debug line that says why.
class output_str_state {
 public:
  /// With a descriptor, messages go there and it is closed in the end; else to standard output.
  explicit output_str_state(std::optional<output_descriptor> pipe);

  /// Whether debug lines are shown from now on; those still waiting included.
  void set_debug(bool enabled);

  /// Queues a text for the message channel as it stands.
  void print(std::string text);
  /// Queues a line for standard error.
  void print_debug(std::string text);
  /// Queues a debug line of the function `speaker`: its name and what `format` makes of the rest.
  template <typename... Arguments>
  void say(std::string_view speaker, fmt::format_string<Arguments...> format,
           Arguments&&... arguments) {
    print_debug(
        fmt::format("{}: {}", speaker, fmt::format(format, std::forward<Arguments>(arguments)...)));
  }
  /// Queues a message. `value` is borrowed for the call.
  void print_value(CFStringRef type, CFTypeRef value);
  void print_value(const message_type& message);
  /// Queues a message of type "InternalError". `error` is borrowed for the call.
  void print_formatted_error(CFErrorRef error);

  /// Has `loop` return once all that was queued before has been written.
  void quit();

  /// The writer thread's body. Writes with the queue locked, so that a slow reader slows the
  /// producers. A failing write to the descriptor throws, which ends the process.
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

/// The output state for a command line. A descriptor number is used as it stands: that it is open
/// shows when it is adopted here, or at the first write.
/// @throws boost::system::system_error, boost::numeric::bad_numeric_cast  no descriptor of that
///     number can be adopted.
std::shared_ptr<output_str_state> make_output_state(boost::asio::any_io_executor executor,
                                                    const start_options& options);

}  // namespace korvrestore
