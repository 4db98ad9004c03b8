#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "../testing/value_test_support.h"

namespace cf::test {
namespace {

using std::filesystem::path;

std::string read_file(const path& file) {
  std::ifstream stream(file, std::ios::binary);
  EXPECT_TRUE(stream.good()) << file;
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::vector<path> test_files(const char* folder, const char* extension) {
  std::vector<path> files;
  for (const auto& entry : std::filesystem::directory_iterator(path(TEST_DATA_DIR) / folder))
    if (entry.path().extension() == extension) files.push_back(entry.path());
  EXPECT_FALSE(files.empty()) << folder;
  return files;
}

TEST(PropertyList, XmlRoundTripKeepsEveryByte) {
  for (const path& file : test_files("xml", ".plist")) {
    SCOPED_TRACE(file.filename());
    const std::string xml = read_file(file);
    const Parsed parsed = parse(xml);
    ASSERT_NE(parsed.object, nullptr) << parsed.error;
    EXPECT_EQ(write(parsed.object.get()), xml);
  }
}

TEST(PropertyList, MatchesRecordedAnswers) {
  for (const path& file : test_files("parse", ".in")) {
    SCOPED_TRACE(file.filename());
    const std::string answer = read_file(path(file).replace_extension(".out.txt"));
    const Parsed parsed = parse(read_file(file));
    if (!answer.starts_with("result: object\n")) {
      EXPECT_EQ(parsed.object, nullptr);
      continue;
    }
    ASSERT_NE(parsed.object, nullptr) << parsed.error;
    const auto expect_line = [&answer](const std::string& line) {
      EXPECT_NE(answer.find('\n' + line), std::string::npos) << line;
    };
    expect_line("format: " + std::to_string(parsed.format) + " (");
    const Owned<CFStringRef> type(CFCopyTypeIDDescription(CFGetTypeID(parsed.object.get())));
    expect_line("type: " + text(type.get()) + '\n');
    // The real library returns mutable objects from text, and its descriptions show that.
    if (parsed.format == kCFPropertyListBinaryFormat_v1_0)
      expect_line("description: " + described(parsed.object.get()) + '\n');
    const std::size_t xml = answer.find("<?xml");
    if (xml != std::string::npos) {
      EXPECT_EQ(write(parsed.object.get()), answer.substr(xml));
    }
  }
}

TEST(PropertyList, RefusesUnwritableObjects) {
  const Owned<CFTypeRef> set(CFSetCreate(nullptr, nullptr, 0, &kCFTypeSetCallBacks));
  const Owned<CFTypeRef> number_keyed = object_dictionary({{integer(1).get(), kCFNull}});
  const void* null[] = {nullptr};
  const Owned<CFTypeRef> holds_null(CFArrayCreate(nullptr, null, 1, nullptr));
  // A dictionary in an array in that dictionary; taken apart again at the end.
  const Owned<CFMutableDictionaryRef> cycle = object_dictionary();
  CFDictionarySetValue(cycle.get(), CFSTR("a"), array_of({cycle.get(), cycle.get()}).get());

  const std::pair<CFTypeRef, std::string> cases[] = {
      {kCFNull, "property lists cannot contain objects of type 'CFNull')"},
      {set.get(), "property lists cannot contain objects of type 'CFSet')"},
      {number_keyed.get(),
       "property list dictionaries may only have keys which are CFStrings, not 'CFNumber')"},
      {holds_null.get(), "property lists cannot contain NULL)"},
      {nullptr, "property lists cannot contain NULL)"},
      {cycle.get(), "property lists cannot contain recursive container references)"},
  };
  for (const auto& [object, reason] : cases)
    EXPECT_EQ(write(object), "Property list invalid for format: 100 (" + reason);
  CFDictionaryRemoveValue(cycle.get(), CFSTR("a"));

  CFErrorRef error = nullptr;
  EXPECT_EQ(CFPropertyListCreateData(nullptr, kCFBooleanTrue, kCFPropertyListBinaryFormat_v1_0, 0,
                                     &error),
            nullptr);
  take_error(error, kCFPropertyListWriteStreamError);
}

TEST(PropertyList, WritesSharedObjectsInDeepNest) {
  const Owned<CFTypeRef> leaf = array_of({kCFBooleanTrue});
  Owned<CFTypeRef> object = array_of({});
  for (int depth = 0; depth < 200; ++depth)
    object = array_of({leaf.get(), object.get(), leaf.get()});
  EXPECT_TRUE(CFEqual(parse(write(object.get())).object.get(), object.get()));
}

/// Any bytes give an object or an error, and the XML of an object reads as an equal object.
void expect_sound(std::string_view bytes) {
  const Parsed parsed = parse(bytes);
  if (parsed.object == nullptr) return;
  const std::string written = write(parsed.object.get());
  if (written.find("CFNull") != std::string::npos) return;
  const Parsed again = parse(written);
  ASSERT_NE(again.object, nullptr) << again.error;
  EXPECT_EQ(write(again.object.get()), written);
}

TEST(PropertyList, HandlesDamagedInput) {
  constexpr std::size_t kMost = 2000;
  constexpr char kFlips[] = {0x01, 0x10, 0x20, '\x80', '\xff'};
  std::vector<path> files = test_files("parse", ".in");
  for (const path& file : test_files("xml", ".plist")) files.push_back(file);
  for (const path& file : files) {
    const std::string original = read_file(file);
    for (std::size_t at = 0; at < original.size() && original.size() <= kMost; ++at) {
      SCOPED_TRACE(file.filename().string() + " at " + std::to_string(at));
      // Copies of exactly this size, so that the address sanitizer detects reads beyond their end.
      const std::vector<char> truncated(original.data(), original.data() + at);
      expect_sound({truncated.data(), truncated.size()});
      for (const char flip : kFlips) {
        std::vector<char> damaged(original.begin(), original.end());
        damaged[at] ^= flip;
        expect_sound({damaged.data(), damaged.size()});
      }
      if (HasFailure()) return;
    }
  }
}

TEST(PropertyList, ErrorsAndFormatsAreOptional) {
  EXPECT_EQ(CFPropertyListCreateWithData(nullptr, nullptr, 0, nullptr, nullptr), nullptr);
  EXPECT_EQ(CFPropertyListCreateData(nullptr, kCFNull, kCFPropertyListXMLFormat_v1_0, 0, nullptr),
            nullptr);
}

}  // namespace
}  // namespace cf::test
