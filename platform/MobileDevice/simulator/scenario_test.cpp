#include "scenario.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>

#include "failure.h"
#include "tests/support/temporary_directory.h"
#include "text/format.h"

using namespace MobileDevice;
using namespace MobileDevice::simulator;

namespace {

std::string refusal(const std::string& file) {
  try {
    read_scenario(file);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "accepted";
}

/// The text without the words of another CoreFoundation's reader.
std::string comparable(const std::string& text) {
  const std::string mark = "not a property list: ";
  const std::size_t at = OWN_COREFOUNDATION ? std::string::npos : text.find(mark);
  return at == std::string::npos ? text : text.substr(0, at + mark.size());
}

}  // namespace

/// The data has two lines per case: "scenario:" with the file's content and "complaint:".
TEST(Scenario, ReportsMistakes) {
  const TemporaryDirectory directory;
  std::ifstream cases(TEST_DATA_DIR "/refused.txt");
  int line = 0;
  const auto next = [&](const std::string& mark) {
    std::string text;
    ++line;
    if (!std::getline(cases, text) || !text.starts_with(mark))
      throw std::runtime_error(text::format("refused.txt:{}: expected \"{}\"", line, mark));
    return text.substr(std::min(text.size(), mark.size() + 1));
  };
  do {
    const std::string content = next("scenario:"), complaint = next("complaint:");
    const std::string file = directory.write("lab.plist", content);
    const std::string expected = file + ": " + complaint;
    EXPECT_EQ(comparable(refusal(file)), comparable(expected)) << "refused.txt:" << line;
  } while (cases.peek() != std::ifstream::traits_type::eof());
}

TEST(Scenario, ReportsUnreadableFiles) {
  const TemporaryDirectory directory;
  EXPECT_EQ(refusal(""), "MOBILEDEVICE_SCENARIO is empty, expected the path of a scenario file");
  const std::string none = directory / "none", folder = directory / ".";
  EXPECT_EQ(refusal(none), none + ": No such file or directory");
  EXPECT_EQ(refusal(folder), folder + ": is a directory, expected a property-list file");
}

TEST(Scenario, AcceptsNumbersUpToTheirBounds) {
  const TemporaryDirectory directory;
  const Scenario words = read_scenario(directory.write(
      "words",
      "{ Devices = ( { ECID = 12; State = \"-7\"; ProductID = 65535; AttachAfter = \"0.5\";\n"
      "  DetachAfter = 1000000; SetAutoBootError = \"-2147483648\"; NoRecoveryDevice = NO; } );\n"
      "  FileLoggingError = 0x7FFFFFFF; TimeScale = \"0.5\"; }"));
  const DevicePlan& plan = words.devices.at(0);
  EXPECT_EQ(plan.properties.ecid, 12u);
  EXPECT_EQ(plan.properties.state, -7);
  EXPECT_EQ(plan.properties.product_id, 65535);
  EXPECT_EQ(plan.attach_after, Seconds(1));
  EXPECT_EQ(plan.detach_after, Seconds(2000000));
  EXPECT_EQ(plan.set_auto_boot_error, INT32_MIN);
  EXPECT_FALSE(plan.no_recovery_device);
  EXPECT_EQ(words.file_logging_error, INT32_MAX);
  const Scenario xml = read_scenario(directory.write(
      "xml",
      "<plist><dict><key>Devices</key><array><dict><key>ECID</key><integer>18446744073709551615"
      "</integer><key>State</key><integer>-2147483648</integer></dict></array></dict></plist>"));
  EXPECT_EQ(xml.devices.at(0).properties.ecid, UINT64_MAX);
  EXPECT_EQ(xml.devices.at(0).properties.state, INT32_MIN);
}
