/// The built-in course on real bundles.
#include "restore.h"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <string>
#include <utility>
#include <vector>

#include "bundle_test_support.h"
#include "plist_file.h"
#include "tests/support/temporary_directory.h"

using namespace MobileDevice;
using namespace MobileDevice::simulator;

namespace {

/// One identity; a chip or board may be any XML value.
std::string identity(const std::string& chip, const std::string& board,
                     const std::string& behavior) {
  return "<dict><key>ApChipID</key>" + chip + "<key>ApBoardID</key>" + board +
         "<key>Info</key><dict><key>RestoreBehavior</key><string>" + behavior +
         "</string></dict></dict>";
}

std::string manifest(const std::string& identities) {
  return "<plist><dict><key>ProductVersion</key><string>1</string><key>BuildIdentities</"
         "key><array>" +
         identities + "</array></dict></plist>";
}

const std::string good_manifest =
    manifest("<string>stray</string>" +
             identity("<string>0x8030</string>", "<string>0x0E</string>", "Erase") +
             identity("<string>0x8020</string>", "<string>0x0E</string>", "Update") +
             identity("<integer>32800</integer>", "<integer>14</integer>", "Erase"));
const Entries good_entries = {{"BuildManifest.plist", good_manifest},
                              {"Firmware/", ""},
                              {"Firmware/image", std::string(3 << 20, 'i')}};

struct Report {
  std::string status;
  int operation;
  int progress;
  std::string error;  // the text of "Error"
  CFIndex code = 0;
};

Report read_report(CFDictionaryRef status) {
  Report report{};
  const auto value = [&](CFStringRef key) { return CFDictionaryGetValue(status, key); };
  report.status = to_text(static_cast<CFStringRef>(value(CFSTR("Status"))));
  CFNumberGetValue(static_cast<CFNumberRef>(value(CFSTR("Operation"))), kCFNumberIntType,
                   &report.operation);
  CFNumberGetValue(static_cast<CFNumberRef>(value(CFSTR("Progress"))), kCFNumberIntType,
                   &report.progress);
  if (const CFErrorRef error = cast<CFErrorRef>(value(CFSTR("Error")), CFErrorGetTypeID())) {
    report.code = CFErrorGetCode(error);
    report.error = to_text(Owned<CFStringRef>(CFErrorCopyDescription(error)).get());
  }
  return report;
}

class Course : public testing::Test {
 protected:
  Course() { write_zip(bundle, good_entries); }

  /// An empty value leaves the option out.
  std::vector<Report> run(const std::string& behavior = "Erase", int leaves_at = 101) const {
    const Owned<CFMutableDictionaryRef> options(CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    const std::pair<const char*, std::string> entries[] = {
        {"RestoreBundlePath", bundle},
        {"PersonalizedRestoreBundlePath", personalized},
        {"AuthInstallRestoreBehavior", behavior}};
    for (const auto& [key, value] : entries) {
      if (value.empty()) continue;
      CFDictionarySetValue(options.get(), make_string(key).get(), make_string(value).get());
    }
    DeviceProperties device;
    device.chip_id = 0x8020;
    device.board_id = board_id;
    std::vector<Report> reports;
    run_course(
        device, options.get(), Seconds(0),
        [&](Clock::time_point) { return reports.empty() || reports.back().progress < leaves_at; },
        [&](CFDictionaryRef status) { reports.push_back(read_report(status)); });
    return reports;
  }

  const TemporaryDirectory directory;
  std::string bundle = directory / "good.ipsw";
  std::string personalized = directory / "scratch/PRB/1";
  std::uint32_t board_id = 14;
};

}  // namespace

TEST_F(Course, ReportsRisingProgressAndWritesTheFittingIdentity) {
  for (const std::string behavior : {"Erase", "Update"}) {
    const std::vector<Report> reports = run(behavior);
    int entering = 0;
    for (std::size_t i = 1; i < reports.size(); ++i) {
      EXPECT_GT(reports[i].progress, reports[i - 1].progress);
      EXPECT_EQ(reports[i].operation == 0, i + 1 == reports.size());
      entering += reports[i].operation == 9;
    }
    EXPECT_GE(entering, 2);
    EXPECT_EQ(reports.back().status, "Successful");
    EXPECT_EQ(reports.back().progress, 100);

    const Plist written = read_plist_file(personalized + "/BuildManifest.plist");
    const std::string chip =
        behavior == "Erase" ? "<integer>32800</integer>" : "<string>0x8020</string>";
    const std::string board =
        behavior == "Erase" ? "<integer>14</integer>" : "<string>0x0E</string>";
    const std::string expected = manifest(identity(chip, board, behavior));
    EXPECT_TRUE(
        CFEqual(written.value.get(), parse_plist({expected.begin(), expected.end()}).value.get()));
  }
}

TEST_F(Course, WithoutAnIdentityForTheBehaviorTheFirstThatFitsStands) {
  run("");
  const std::string written = read_file(personalized + "/BuildManifest.plist");
  EXPECT_NE(written.find("<string>Update</string>"), std::string::npos);
}

TEST_F(Course, FailsWithWhatIsWrongWithWhichFile) {
  std::string damaged = read_file(bundle);
  damaged[damaged.find("iiii") + 100] ^= 1;
  const std::string whole = read_file(bundle);
  const std::string file = directory.write("file", "");
  const std::string missing = directory / "none.ipsw";
  struct Case {
    std::string bundle;
    std::string personalized;
    CFIndex code;
    std::vector<std::string> texts;
  };
  const auto zip = [&](const char* name, const Entries& entries) {
    write_zip(directory / name, entries);
    return directory / name;
  };
  const std::vector<Case> table = {
      {"", personalized, 2, {"RestoreBundlePath", "expected a path"}},
      {bundle, "", 2, {"PersonalizedRestoreBundlePath", "expected a path"}},
      {missing, personalized, 3, {missing, "No such file"}},
      {directory / ".", personalized, 3, {directory / "."}},
      {directory.write("empty", ""), personalized, 3, {directory / "empty"}},
      {directory.write("text", "not a zip"), personalized, 3, {directory / "text", "zip archive"}},
      {directory.write("cut", whole.substr(0, whole.size() / 2)), personalized, 3, {"cut"}},
      {directory.write("crc", damaged), personalized, 3, {"crc: Firmware/image: CRC error"}},
      {zip("no", {{"x", "y"}}), personalized, 4, {"no: holds no BuildManifest.plist"}},
      {zip("bad", {{"BuildManifest.plist", "<plist>"}}),
       personalized,
       4,
       {"bad: BuildManifest.plist: not a property list"}},
      {zip("array", {{"BuildManifest.plist", "<plist><array/></plist>"}}),
       personalized,
       4,
       {"array: BuildManifest.plist has no array BuildIdentities"}},
      {zip("other", {{"BuildManifest.plist", manifest(identity("<string>0x8020</string>",
                                                               "<string>0xZ</string>", "Erase"))}}),
       personalized,
       5,
       {"other: BuildManifest.plist has no identity for ChipID 0x8020, BoardID 0xE"}},
      {bundle, file + "/below", 6, {file + "/below", "Not a directory"}},
      {bundle, file, 6, {file}},
  };
  for (const Case& fault : table) {
    bundle = fault.bundle;
    personalized = fault.personalized;
    const std::vector<Report> reports = run();
    ASSERT_FALSE(reports.empty());
    const Report& last = reports.back();
    EXPECT_EQ(last.status, "Failed");
    EXPECT_EQ(last.operation, 0);
    EXPECT_EQ(last.progress, 100);
    EXPECT_EQ(last.code, fault.code) << last.error;
    for (const std::string& text : fault.texts)
      EXPECT_NE(last.error.find(text), std::string::npos) << last.error;
  }
}

TEST_F(Course, ADeviceThatLeavesEndsIt) {
  const std::vector<Report> reports = run("Erase", /*leaves_at=*/20);
  ASSERT_GE(reports.size(), 2u);
  EXPECT_EQ(reports.back().status, "Failed");
  EXPECT_EQ(reports.back().error, "the device left during the restore");
  EXPECT_EQ(reports[reports.size() - 2].operation, 9);
}
