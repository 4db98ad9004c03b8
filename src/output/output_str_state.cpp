#include "output/output_str_state.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <boost/numeric/conversion/cast.hpp>
#include <iostream>

#include "output/cf_strings.h"
#include "output/plist_validation.h"
#include "output/plist_values.h"

namespace korvrestore {

output_str_state::output_str_state(std::optional<output_descriptor> pipe)
    : pipe_descriptor(std::move(pipe)) {}

void output_str_state::set_debug(bool enabled) {
  const std::lock_guard<std::mutex> lock(queue_mutex);
  debug_enabled = enabled;
}

void output_str_state::print(std::string text) { enqueue(std::move(text), /*is_debug=*/false); }

void output_str_state::print_debug(std::string text) {
  enqueue(std::move(text), /*is_debug=*/true);
}

void output_str_state::enqueue(std::string text, bool is_debug) {
  {
    const std::lock_guard<std::mutex> lock(queue_mutex);
    pending.emplace_back(std::move(text), is_debug);
  }
  queue_cv.notify_one();
}

void output_str_state::print_value(CFStringRef type, CFTypeRef value) {
  if (type == nullptr || CFStringGetLength(type) == 0 || value == nullptr) {
    say("print_value", "invalid argument");
    return;
  }
  if (!CFPropertyListValidateForSerialization(value, kCFPropertyListXMLFormat_v1_0)) {
    say("print_value", "object not valid for XML plist");
    return;
  }

  const auto envelope = not_null<cf_mutable_dictionary>(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(envelope.get(), CFSTR("Type"), type);
  CFDictionarySetValue(envelope.get(), CFSTR("Value"), value);

  CFErrorRef failure = nullptr;
  const cf_data data(CFPropertyListCreateData(kCFAllocatorDefault, envelope.get(),
                                              kCFPropertyListXMLFormat_v1_0, 0, &failure));
  const cf_error error(failure);
  if (!data) {
    say("print_value", "CFPropertyListCreateData failed - {}",
        error ? MakeDescription(error.get()) : "unknown");
    return;
  }

  const cf_string text(CFStringCreateWithBytes(kCFAllocatorDefault, CFDataGetBytePtr(data.get()),
                                               CFDataGetLength(data.get()), kCFStringEncodingUTF8,
                                               /*is_external_representation=*/false));
  if (!text || CFStringGetLength(text.get()) < 1) {
    say("print_value", "CFStringCreateWithBytes failed - unknown");
    return;
  }
  print(MakeString(text.get()));
}

void output_str_state::print_value(const message_type& message) {
  const cf_string type(
      CFStringCreateWithCString(kCFAllocatorDefault, message.type.c_str(), kCFStringEncodingUTF8));
  print_value(type.get(), message.value.get());
}

void output_str_state::print_formatted_error(CFErrorRef error) {
  if (error == nullptr) {
    say("print_formatted_error", "invalid argument");
    return;
  }
  const cf_mutable_dictionary dictionary = DictionaryFromError(error);
  if (!dictionary) {
    say("print_formatted_error", "could not create error dict");
    return;
  }
  print_value(CFSTR("InternalError"), dictionary.get());
}

void output_str_state::quit() {
  {
    const std::lock_guard<std::mutex> lock(queue_mutex);
    quit_requested = true;
  }
  queue_cv.notify_one();
}

void output_str_state::loop() & {
  std::unique_lock<std::mutex> lock(queue_mutex);
  do {
    queue_cv.wait(lock, [this] { return quit_requested || !pending.empty(); });
    for (const auto& [text, is_debug] : pending) write(text, is_debug);
    std::cout.flush();
    std::cerr.flush();
    pending.clear();
  } while (!quit_requested);
}

void output_str_state::write(const std::string& text, bool is_debug) {
  if (is_debug) {
    if (debug_enabled) std::cerr << text << "\n";
  } else if (pipe_descriptor) {
    const std::array<boost::asio::const_buffer, 2> line = {boost::asio::buffer(text),
                                                           boost::asio::buffer("\n", 1)};
    boost::asio::write(*pipe_descriptor, line);
  } else {
    std::cout << text << "\n";
  }
}

std::shared_ptr<output_str_state> make_output_state(boost::asio::any_io_executor executor,
                                                    const start_options& options) {
  std::optional<output_descriptor> pipe;
  if (options.output_pipe)
    pipe.emplace(std::move(executor), boost::numeric_cast<int>(*options.output_pipe));
  return std::make_shared<output_str_state>(std::move(pipe));
}

}  // namespace korvrestore
