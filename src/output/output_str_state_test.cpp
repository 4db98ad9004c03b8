#include "output/output_str_state.h"

#include <gtest/gtest.h>

#include <array>
#include <boost/numeric/conversion/cast.hpp>
#include <boost/system/system_error.hpp>

#include "tests/support/recorded_output.h"

namespace korvrestore {
namespace {

TEST(OutputState, WritesMessagesAsDocumentsInOrder) {
  RecordedOutput output;
  output.state->print_value(CFSTR("First"), kCFBooleanTrue);
  output.state->print("plain");
  output.state->print_value(message_type{"Second", cf_object(CFSTR("a & b"))});
  output.finish();
  const std::string head =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
      "1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n";
  EXPECT_EQ(output.messages,
            head +
                "<dict>\n\t<key>Type</key>\n\t<string>First</string>\n\t<key>Value</key>\n\t<true/>"
                "\n</dict>\n</plist>\n\nplain\n" +
                head +
                "<dict>\n\t<key>Type</key>\n\t<string>Second</string>\n\t<key>Value</key>\n\t"
                "<string>a &amp; b</string>\n</dict>\n</plist>\n\n");
  EXPECT_EQ(output.debug, "");
}

TEST(OutputState, DropsWhatCannotBeAMessageAndSaysSo) {
  RecordedOutput output;
  output.state->print_value(CFSTR(""), kCFBooleanTrue);
  output.state->print_value(nullptr, kCFBooleanTrue);
  output.state->print_value(CFSTR("Type"), nullptr);
  output.state->print_value(message_type{"\xff", cf_object(kCFBooleanTrue)});
  output.state->print_value(CFSTR("Type"), kCFNull);
  output.state->print_formatted_error(nullptr);
  output.finish();
  EXPECT_EQ(output.messages, "");
  EXPECT_EQ(
      output.debug,
      "print_value: invalid argument\nprint_value: invalid argument\n"
      "print_value: invalid argument\nprint_value: invalid argument\n"
      "print_value: object not valid for XML plist\nprint_formatted_error: invalid argument\n");
}

TEST(OutputState, LooksAtTheDebugSwitchWhenItWrites) {
  RecordedOutput output;
  output.state->print_debug("before");
  output.state->set_debug(false);
  output.finish();
  EXPECT_EQ(output.debug, "");
}

TEST(OutputState, KeepsEachProducersOrder) {
  RecordedOutput output;
  std::array<std::thread, 4> producers;
  std::thread writer([&] { output.state->loop(); });
  for (std::size_t p = 0; p < producers.size(); ++p)
    producers[p] = std::thread([&output, p] {
      for (int i = 0; i < 1000; ++i)
        output.state->print(std::to_string(p) + ":" + std::to_string(i));
    });
  for (std::thread& producer : producers) producer.join();
  output.state->quit();
  writer.join();
  output.finish();

  std::array<int, 4> next = {};
  std::size_t begin = 0;
  for (std::size_t end; (end = output.messages.find('\n', begin)) != std::string::npos;
       begin = end + 1) {
    const std::size_t producer = static_cast<std::size_t>(output.messages[begin] - '0');
    ASSERT_LT(producer, next.size());
    EXPECT_EQ(output.messages.substr(begin + 2, end - begin - 2), std::to_string(next[producer]++));
  }
  for (int count : next) EXPECT_EQ(count, 1000);
}

TEST(OutputState, RefusesDescriptorsThatCannotBeOne) {
  boost::asio::io_context context;
  start_options options;
  options.output_pipe = 99999;
  EXPECT_THROW(make_output_state(context.get_executor(), options), boost::system::system_error);
  options.output_pipe = (std::int64_t{1} << 32) + STDOUT_FILENO;
  EXPECT_THROW(make_output_state(context.get_executor(), options),
               boost::numeric::bad_numeric_cast);
}

}  // namespace
}  // namespace korvrestore
