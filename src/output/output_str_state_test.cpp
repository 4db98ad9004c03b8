#include "output/output_str_state.h"

#include <gtest/gtest.h>
#include <sys/uio.h>

#include <algorithm>

#include "tests/support/recorded_output.h"

namespace {

std::size_t largest_write = SIZE_MAX;

}  // namespace

extern "C" {

ssize_t __real_writev(int descriptor, const iovec* buffers, int count);
ssize_t __wrap_writev(int descriptor, const iovec* buffers, int count) {
  if (count > 1 && buffers->iov_len == 0) ++buffers;
  const iovec part = {buffers->iov_base, std::min(buffers->iov_len, largest_write)};
  return __real_writev(descriptor, &part, 1);
}

}  // extern "C"

namespace korvrestore {
namespace {

TEST(OutputState, ShortWritesKeepOrder) {
  const std::string document =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
      "1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n"
      "<dict>\n\t<key>Type</key>\n\t<string>Some</string>\n\t<key>Value</key>\n\t<true/>\n</dict>\n"
      "</plist>\n";
  for (largest_write = 1; largest_write < 5; ++largest_write) {
    RecordedOutput output;
    output.state->print_value(CFSTR("Some"), kCFBooleanTrue);
    output.state->print("plain");
    output.state->print_value(message_type{"Some", cf_object(kCFBooleanTrue)});
    output.state->print_debug("queued with the debug switch on, written with it off");
    output.state->set_debug(false);
    output.finish();
    EXPECT_EQ(output.messages, document + "\nplain\n" + document + "\n");
    EXPECT_EQ(output.debug, "");
  }
}

TEST(OutputState, ReportsDroppedMessages) {
  RecordedOutput output;
  output.state->print_value(CFSTR(""), kCFBooleanTrue);
  output.state->print_value(nullptr, kCFBooleanTrue);
  output.state->print_value(CFSTR("Type"), nullptr);
  output.state->print_value(message_type{"\xff", cf_object(kCFBooleanTrue)});
  output.state->print_value(CFSTR("Type"), kCFNull);
  output.state->print_formatted_error(nullptr);
  output.finish();
  EXPECT_EQ(output.messages, "");
  const std::string invalid = "print_value: invalid argument\n";
  EXPECT_EQ(output.debug, invalid + invalid + invalid + invalid +
                              "print_value: object not valid for XML plist\n"
                              "print_formatted_error: invalid argument\n");
}

}  // namespace
}  // namespace korvrestore
