#include "scenario.h"

#include <gtest/gtest.h>

#include <string>

#include "failure.h"
#include "tests/support/table.h"
#include "tests/support/temporary_directory.h"

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

TEST(Scenario, ReportsMistakes) {
  const TemporaryDirectory directory;
  for (const Row& row : table("refused.txt", 2)) {
    SCOPED_TRACE(row.place);
    const std::string file = directory.write("lab.plist", row[0]);
    EXPECT_EQ(comparable(refusal(file)), comparable(file + ": " + row[1]));
  }
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
