#include <chrono>
#include <cmath>
#include <functional>
#include <limits>

#include "property_list_test_support.h"

namespace cf::test {
namespace {

TEST(PropertyList, XmlIsReadAndWrittenBackByteForByte) {
  for (const std::filesystem::path& path : test_files("xml", ".plist")) {
    SCOPED_TRACE(path.filename());
    const std::string xml = read_file(path);
    const Parsed parsed = parse(xml);
    ASSERT_NE(parsed.object, nullptr) << parsed.error;
    EXPECT_EQ(write(parsed.object.get()).xml, xml);
  }
}

TEST(PropertyList, AnswersEveryMeasuredInputInKind) {
  for (const std::filesystem::path& path : test_files("parse", ".in")) {
    SCOPED_TRACE(path.filename());
    std::filesystem::path answer_path = path;
    const std::string answer = read_file(answer_path.replace_extension(".out.txt"));
    const Parsed parsed = parse(read_file(path));
    if (!answer.starts_with("result: object\n")) {
      EXPECT_EQ(parsed.object, nullptr);
      continue;
    }
    ASSERT_NE(parsed.object, nullptr) << parsed.error;
    EXPECT_NE(answer.find("\nformat: " + std::to_string(parsed.format) + " ("), std::string::npos);
    const Owned<CFStringRef> type(CFCopyTypeIDDescription(CFGetTypeID(parsed.object.get())));
    EXPECT_NE(answer.find("\ntype: " + text_of(type.get()) + "\n"), std::string::npos);
    const std::size_t xml = answer.find("<?xml");
    if (xml != std::string::npos) {
      EXPECT_EQ(write(parsed.object.get()).xml, answer.substr(xml));
    }
  }
}

Owned<CFTypeRef> array_of(Owned<CFTypeRef> value) {
  const void* values[] = {value.get()};
  return Owned<CFTypeRef>(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks));
}

template <typename Value>
Owned<CFTypeRef> number(CFNumberType type, Value value) {
  return Owned<CFTypeRef>(CFNumberCreate(nullptr, type, &value));
}

Owned<CFTypeRef> nested_data(std::size_t size, int arrays) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(i * 7 + 1);
  Owned<CFTypeRef> object(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                       static_cast<CFIndex>(size)));
  for (int i = 0; i < arrays; ++i) object = array_of(std::move(object));
  return object;
}

/// Values that reading a file can't make, against what the real library wrote of them.
TEST(PropertyList, WritesValuesAsMeasured) {
  const std::pair<const char*, Owned<CFTypeRef>> cases[] = {
      {"date--0.5", array_of(Owned<CFTypeRef>(CFDateCreate(nullptr, -0.5)))},
      {"date-0.5", array_of(Owned<CFTypeRef>(CFDateCreate(nullptr, 0.5)))},
      {"date--978307201", array_of(Owned<CFTypeRef>(CFDateCreate(nullptr, -978307201)))},
      {"date-700000000.123456", array_of(Owned<CFTypeRef>(CFDateCreate(nullptr, 7e8 + 0.123456)))},
      {"double-1", array_of(number(kCFNumberFloat32Type, 1.0F))},
      {"double-neg0", array_of(number(kCFNumberFloat64Type, -0.0))},
      {"double-nan", array_of(number(kCFNumberFloat64Type, -std::nan("")))},
      {"data-0-in-arrays-1", nested_data(0, 1)},
      {"data-57-in-arrays-1", nested_data(57, 1)},
      {"data-200-in-arrays-5", nested_data(200, 5)},
      {"data-200-in-arrays-12", nested_data(200, 12)},
  };
  for (const auto& [name, object] : cases) {
    SCOPED_TRACE(name);
    const std::string file = std::string("xml/") + name + ".plist";
    EXPECT_EQ(write(object.get()).xml, read_file(std::filesystem::path(TEST_DATA_DIR) / file));
  }
}

/// Wherever it stands in a text: the writer looks at eight bytes at a time.
TEST(PropertyList, EscapesOrReplacesWhatXmlCannotHold) {
  const std::string replacement = "\xef\xbf\xbd";
  const std::pair<std::string, std::string> escapes[] = {{"&", "&amp;"},
                                                         {"<", "&lt;"},
                                                         {">", "&gt;"},
                                                         {std::string(1, '\0'), replacement},
                                                         {"\x1f", replacement},
                                                         {"\xef\xbf\xbe", replacement},
                                                         {"\xef\xbf\xbf", replacement},
                                                         {"\xef\xbf\xbc", "\xef\xbf\xbc"},
                                                         {"\t\r\n\x7f", "\t\r\n\x7f"},
                                                         {"\xc3\xaf", "\xc3\xaf"}};
  for (std::size_t before = 0; before < 18; ++before) {
    for (std::size_t behind = 0; behind < 18; ++behind) {
      for (const auto& [character, written] : escapes) {
        const std::string head(before, '=');
        const std::string tail(behind, '~');
        Parsed string;
        string.object = make_string(head + character + tail);
        EXPECT_EQ(xml_body(string), "<string>" + head + written + tail + "</string>");
      }
    }
  }
}

TEST(PropertyList, WritesDatesPastTheCalendarAsItsEnds) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::pair<double, std::string> cases[] = {{1e300, "32767-12-31T23:59:59Z"},
                                                  {infinity, "32767-12-31T23:59:59Z"},
                                                  {-infinity, "-32767-01-01T00:00:00Z"},
                                                  {std::nan(""), "2001-01-01T00:00:00Z"}};
  for (const auto& [time, text] : cases) {
    Parsed date;
    date.object.reset(CFDateCreate(nullptr, time));
    EXPECT_EQ(xml_body(date), "<date>" + text + "</date>");
    EXPECT_EQ(xml_body(parse("<date>" + text + "</date>")), "<date>" + text + "</date>");
  }
}

TEST(PropertyList, RefusesToWrite) {
  constexpr const char* kInvalid = "Property list invalid for format: 100 (";
  const Owned<CFTypeRef> set(CFSetCreate(nullptr, nullptr, 0, &kCFTypeSetCallBacks));
  const Owned<CFTypeRef> one = number(kCFNumberSInt32Type, 1);
  const void* number_key[] = {one.get()};
  const Owned<CFTypeRef> number_keyed(CFDictionaryCreate(nullptr, number_key, number_key, 1,
                                                         &kCFTypeDictionaryKeyCallBacks,
                                                         &kCFTypeDictionaryValueCallBacks));
  const void* null[] = {nullptr};
  const Owned<CFTypeRef> holds_null(CFArrayCreate(nullptr, null, 1, nullptr));
  // A dictionary in an array in that dictionary; taken apart again at the end.
  const Owned<CFMutableDictionaryRef> cycle(CFDictionaryCreateMutable(
      nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  const void* in_cycle[] = {cycle.get(), cycle.get()};
  const Owned<CFArrayRef> array(CFArrayCreate(nullptr, in_cycle, 2, &kCFTypeArrayCallBacks));
  CFDictionarySetValue(cycle.get(), CFSTR("a"), array.get());

  const std::pair<CFTypeRef, const char*> cases[] = {
      {kCFNull, "property lists cannot contain objects of type 'CFNull')"},
      {set.get(), "property lists cannot contain objects of type 'CFSet')"},
      {number_keyed.get(),
       "property list dictionaries may only have keys which are CFStrings, not 'CFNumber')"},
      {holds_null.get(), "property lists cannot contain NULL)"},
      {nullptr, "property lists cannot contain NULL)"},
      {cycle.get(), "property lists cannot contain recursive container references)"},
  };
  for (const auto& [object, reason] : cases)
    EXPECT_EQ(write(object).error, std::string(kInvalid) + reason);
  EXPECT_EQ(CFPropertyListCreateData(nullptr, kCFNull, kCFPropertyListXMLFormat_v1_0, 0, nullptr),
            nullptr);
  CFErrorRef error = nullptr;
  EXPECT_EQ(CFPropertyListCreateData(nullptr, kCFBooleanTrue, kCFPropertyListBinaryFormat_v1_0, 0,
                                     &error),
            nullptr);
  take_error(error, kCFPropertyListWriteStreamError);
  CFDictionaryRemoveValue(cycle.get(), CFSTR("a"));
}

TEST(PropertyList, WritesOneObjectInSeveralPlacesAndDeepNests) {
  const Owned<CFTypeRef> leaf(array_of(Owned<CFTypeRef>(kCFBooleanTrue)));
  Owned<CFTypeRef> object(CFRetain(leaf.get()));
  for (int depth = 0; depth < 200; ++depth) {
    const void* values[] = {leaf.get(), object.get(), leaf.get()};
    object.reset(CFArrayCreate(nullptr, values, 3, &kCFTypeArrayCallBacks));
  }
  const std::string xml = write(object.get()).xml;
  EXPECT_TRUE(CFEqual(parse(xml).object.get(), object.get()));
}

/// Whatever the bytes: an object or an error, and an object's XML reads as what wrote it.
void expect_sound(std::string_view bytes) {
  const Parsed parsed = parse(bytes);
  if (parsed.object == nullptr) return;
  const Written written = write(parsed.object.get());
  if (written.xml.empty()) {
    EXPECT_NE(written.error.find("CFNull"), std::string::npos) << written.error;
    return;
  }
  const Parsed again = parse(written.xml);
  ASSERT_NE(again.object, nullptr) << again.error;
  EXPECT_EQ(write(again.object.get()).xml, written.xml);
}

TEST(PropertyList, SurvivesDamage) {
  constexpr std::size_t kMost = 2000;
  constexpr char kFlips[] = {0x01, 0x10, 0x20, '\x80', '\xff'};
  std::vector<std::filesystem::path> paths = test_files("parse", ".in");
  for (const std::filesystem::path& path : test_files("xml", ".plist")) paths.push_back(path);
  for (const std::filesystem::path& path : paths) {
    const std::string original = read_file(path);
    if (original.size() > kMost) continue;
    for (std::size_t at = 0; at < original.size(); ++at) {
      SCOPED_TRACE(path.filename().string() + " at " + std::to_string(at));
      // A copy of its own size, so that the address sanitizer sees a read past its end.
      const std::vector<char> truncated(original.begin(),
                                        original.begin() + static_cast<std::ptrdiff_t>(at));
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
  const Owned<CFDataRef> empty(CFDataCreate(nullptr, nullptr, 0));
  EXPECT_EQ(CFPropertyListCreateWithData(nullptr, empty.get(), 0, nullptr, nullptr), nullptr);
  EXPECT_EQ(parse("").error, "Cannot parse a NULL or zero-length data");
}

}  // namespace
}  // namespace cf::test
