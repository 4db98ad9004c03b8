#include "scenario.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "failure.h"
#include "tests/support/temporary_directory.h"

using namespace MobileDevice;
using namespace MobileDevice::simulator;

namespace {

std::string xml(const std::string& entries) {
  return "<plist><dict>" + entries + "</dict></plist>";
}

/// A second device, after a good one, with these entries.
std::string device(const std::string& entries) {
  const std::string good =
      "<dict><key>ECID</key><integer>1</integer><key>State</key><string>DFU"
      "</string></dict>";
  return xml("<key>Devices</key><array>" + good + "<dict>" + entries + "</dict></array>");
}

/// The same with the required keys.
std::string full(const std::string& entries) {
  return device("<key>ECID</key><integer>2</integer><key>State</key><integer>2</integer>" +
                entries);
}

std::string entry(const std::string& key, const std::string& value) {
  return "<key>" + key + "</key>" + value;
}

}  // namespace

TEST(Scenario, WhatIsWrongIsNamed) {
  const std::string no_devices = "<key>Devices</key><array/>";
  const std::string u32 = "an integer from 0 to 4294967295";
  const std::string ecid = "16 hexadecimal digits or an integer from 0 to 18446744073709551615";
  const struct {
    std::string content;
    std::string complaint;
  } table[] = {
      {"", "not a property list"},
      {"<plist>", "not a property list"},
      {"<plist><array/></plist>", "expected a dictionary"},
      {xml(""), "Devices: expected an array, but the key is missing"},
      {xml("<key>Devices</key><dict/>"), "Devices: expected an array"},
      {xml("<key>Devices</key><array><string>x</string></array>"),
       "Devices[0]: expected a dictionary"},
      {xml(no_devices + entry("Colour", "<true/>")),
       "Colour: unknown key, expected one of Devices"},
      {xml(no_devices + entry("FileLoggingError", "<real>1</real>")),
       "FileLoggingError: expected an integer from -2147483648 to 2147483647"},
      {xml(no_devices + entry("NoDefaultRestoreOptions", "<integer>1</integer>")),
       "NoDefaultRestoreOptions: expected a boolean"},
      {xml(no_devices + entry("ErrorTexts", "<dict><key>one</key><string/></dict>")),
       "ErrorTexts: expected keys that are 32-bit decimal integers, not one"},
      {xml(no_devices + entry("OperationTexts", "<dict><key>1</key><true/></dict>")),
       "OperationTexts.1: expected a string"},
      {xml(no_devices + entry("RegistrationError", "<dict><key>Domain</key><string/></dict>")),
       "RegistrationError.Code: expected an integer from "},
      {device("<key>State</key><string>DFU</string>"),
       "Devices[1].ECID: expected " + ecid + ", but the key is missing"},
      {device("<key>ECID</key><integer>-1</integer>"), "Devices[1].ECID: expected " + ecid},
      {device("<key>ECID</key><string>001A2B3C4D5E6F7</string>"), "Devices[1].ECID: expected"},
      {device("<key>ECID</key><string>001A2B3C4D5E6F7G</string>"), "Devices[1].ECID: expected"},
      {device("<key>ECID</key><integer>2</integer>"),
       "Devices[1].State: expected Unknown, DFU, Recovery, RestoreOS, BootedOS or a 32-bit "
       "integer, but the key is missing"},
      {device("<key>ECID</key><integer>2</integer><key>State</key><string>dfu</string>"),
       "Devices[1].State: expected Unknown"},
      {full(entry("BoardId", "<integer>1</integer>")), "Devices[1].BoardId: unknown key"},
      {full(entry("ProductID", "<integer>65536</integer>")),
       "Devices[1].ProductID: expected an integer from 0 to 65535"},
      {full(entry("ChipID", "<integer>-1</integer>")), "Devices[1].ChipID: expected " + u32},
      {full(entry("ChipID", "<string>32800</string>")), "Devices[1].ChipID: expected " + u32},
      {full(entry("LocationID", "<integer>18446744073709551615</integer>")),
       "Devices[1].LocationID: expected " + u32},
      {full(entry("SerialNumber", "<integer>1</integer>")),
       "Devices[1].SerialNumber: expected a string"},
      {full(entry("AttachAfter", "<real>-0.5</real>")),
       "Devices[1].AttachAfter: expected seconds, a number from 0 to 1000000"},
      {full(entry("BootSeconds", "<real>nan</real>")), "Devices[1].BootSeconds: expected seconds"},
      {full(entry("RestoreSeconds", "<true/>")), "Devices[1].RestoreSeconds: expected seconds"},
      {full(entry("NoRecoveryDevice", "<string>YES</string>")),
       "Devices[1].NoRecoveryDevice: expected a boolean"},
      {full(entry("RebootError", "<integer>2147483648</integer>")),
       "Devices[1].RebootError: expected an integer from -2147483648 to 2147483647"},
      {full(entry("Notifications", "<array><dict><key>After</key><real>1</real></dict></array>")),
       "Devices[1].Notifications[0].Type: expected an integer from"},
      {full(entry("Notifications",
                  "<array><dict><key>Type</key><integer>1</integer><key>Stat</key>"
                  "<integer>1</integer></dict></array>")),
       "Devices[1].Notifications[0].Stat: unknown key, expected one of After, Type, State"},
      {full(entry("Restore", "<array><dict/><string/></array>")),
       "Devices[1].Restore[1]: expected a dictionary"},
      {full(entry("Restore", "<array><dict><key>After</key><string>1</string></dict></array>")),
       "Devices[1].Restore[0].After: expected seconds"},
      {"{ Devices = ( { ECID = 12; State = DFU; BoardID = x; } ); }",
       "Devices[0].BoardID: expected " + u32},
      {"{ Devices = ( { ECID = 12; State = DFU; NoRecoveryDevice = true; } ); }",
       "Devices[0].NoRecoveryDevice: expected YES or NO"},
      {"{ Devices = ( { ECID = 12; State = DFU; ProductString = \"A\\000B\"; } ); }",
       "Devices[0].ProductString: expected a string without U+0000"},
      {"{ Devices = ( { ECID = 12; State = \"DFU\\000\"; } ); }",
       "Devices[0].State: expected Unknown"},
  };
  const TemporaryDirectory directory;
  for (const auto& [content, complaint] : table) {
    const std::string file = directory.write("lab.plist", content);
    try {
      read_scenario(file);
      ADD_FAILURE() << "accepted: " << content;
    } catch (const Failure& failure) {
      EXPECT_EQ(std::string(failure.what()).find(file + ": " + complaint), 0u) << failure.what();
    }
  }
  const std::string folder = directory / ".";
  const std::pair<std::string, std::string> files[] = {
      {"", "MOBILEDEVICE_SCENARIO is empty, expected the path of a scenario file"},
      {directory / "none", directory / "none: No such file or directory"},
      {folder, folder + ": is a directory, expected a property-list file"},
  };
  for (const auto& [file, complaint] : files) {
    try {
      read_scenario(file);
      ADD_FAILURE() << "accepted: " << file;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.what(), complaint);
    }
  }
}

TEST(Scenario, EveryKeyIsRead) {
  const TemporaryDirectory directory;
  const Scenario scenario =
      read_scenario(directory.write("lab.plist", xml(R"(<key>Devices</key><array><dict>
        <key>ECID</key><integer>18446744073709551615</integer>
        <key>State</key><integer>-7</integer>
        <key>ProductID</key><integer>4737</integer>  <key>BoardID</key><integer>14</integer>
        <key>ChipID</key><integer>0x8020</integer>   <key>ProductType</key><integer>3</integer>
        <key>FusingInfo</key><integer>4</integer>    <key>LocationID</key><integer>5</integer>
        <key>SerialNumber</key><string>F2L</string>  <key>ProductString</key><string>ü</string>
        <key>AttachAfter</key><real>0.5</real>       <key>DetachAfter</key><integer>6</integer>
        <key>NoRecoveryDevice</key><true/>
        <key>SetAutoBootError</key><integer>-8</integer><key>RebootError</key><integer>9</integer>
        <key>Notifications</key><array><dict><key>After</key><real>1.5</real>
          <key>Type</key><integer>7</integer><key>State</key><string>BootedOS</string></dict></array>
        <key>BootSeconds</key><integer>10</integer>  <key>RestoreSeconds</key><integer>11</integer>
        <key>Restore</key><array><dict><key>After</key><integer>12</integer>
          <key>Odd</key><array/></dict></array>
      </dict></array>
      <key>OperationTexts</key><dict><key>-1</key><string>Minus</string></dict>
      <key>ErrorTexts</key><dict><key>21</key><string>Sad</string></dict>
      <key>RegistrationError</key><dict><key>Domain</key><string>D</string>
        <key>Code</key><integer>-5</integer><key>Description</key><string>Why</string></dict>
      <key>FileLoggingError</key><integer>3</integer>
      <key>NoDefaultRestoreOptions</key><true/>)")));

  ASSERT_EQ(scenario.devices.size(), 1u);
  const DevicePlan& plan = scenario.devices[0];
  const DeviceProperties& properties = plan.properties;
  EXPECT_EQ(properties.ecid, 18446744073709551615u);
  EXPECT_EQ(properties.state, -7);
  EXPECT_EQ(properties.product_id, 4737);
  EXPECT_EQ(properties.board_id, 14u);
  EXPECT_EQ(properties.chip_id, 0x8020u);
  EXPECT_EQ(properties.product_type, 3u);
  EXPECT_EQ(properties.fusing_info, 4u);
  EXPECT_EQ(properties.location_id, 5u);
  EXPECT_EQ(properties.serial_number, "F2L");
  EXPECT_EQ(properties.product_string, "ü");
  EXPECT_EQ(plan.attach_after, Seconds(0.5));
  EXPECT_EQ(plan.detach_after, Seconds(6));
  EXPECT_TRUE(plan.no_recovery_device);
  EXPECT_EQ(plan.set_auto_boot_error, -8);
  EXPECT_EQ(plan.reboot_error, 9);
  ASSERT_EQ(plan.notifications.size(), 1u);
  EXPECT_EQ(plan.notifications[0].after, Seconds(1.5));
  EXPECT_EQ(plan.notifications[0].type, 7);
  EXPECT_EQ(plan.notifications[0].state, kAMRestorableDeviceStateBootedOS);
  EXPECT_EQ(plan.boot_seconds, Seconds(10));
  EXPECT_EQ(plan.restore_seconds, Seconds(11));
  ASSERT_EQ(plan.restore->size(), 1u);
  EXPECT_EQ(plan.restore->front().after, Seconds(12));
  EXPECT_EQ(CFDictionaryGetCount(plan.restore->front().status.get()), 1);
  EXPECT_NE(CFDictionaryGetValue(plan.restore->front().status.get(), CFSTR("Odd")), nullptr);
  EXPECT_EQ(scenario.operation_texts.at(-1), "Minus");
  EXPECT_EQ(scenario.error_texts.at(21), "Sad");
  EXPECT_EQ(CFErrorGetCode(scenario.registration_error.get()), -5);
  EXPECT_EQ(scenario.file_logging_error, 3);
  EXPECT_TRUE(scenario.no_default_restore_options);
}

TEST(Scenario, InOpenStepTextNumbersAreWords) {
  const TemporaryDirectory directory;
  const Scenario scenario = read_scenario(directory.write(
      "lab.plist",
      "{ Devices = ( { ECID = 001a2b3c4d5e6f70; State = 3; ChipID = 0x8020; BoardID = 14;\n"
      "  NoRecoveryDevice = YES; AttachAfter = \"0.5\"; SetAutoBootError = \"-3\"; } ); }"));
  const DevicePlan& plan = scenario.devices.at(0);
  EXPECT_EQ(plan.properties.ecid, 0x001a2b3c4d5e6f70u);
  EXPECT_EQ(plan.properties.state, kAMRestorableDeviceStateRestoreOS);
  EXPECT_EQ(plan.properties.chip_id, 0x8020u);
  EXPECT_EQ(plan.properties.board_id, 14u);
  EXPECT_TRUE(plan.no_recovery_device);
  EXPECT_EQ(plan.attach_after, Seconds(0.5));
  EXPECT_EQ(plan.set_auto_boot_error, -3);
}
