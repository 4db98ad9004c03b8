#include <bit>
#include <cstdint>

#include "property_list_test_support.h"

namespace cf::test {
namespace {

using namespace std::string_literals;

/// An input and what it reads as: the body of its XML, or "error".
struct Case {
  std::string input;
  std::string expected;
};

void expect_all(std::span<const Case> cases) {
  for (const Case& c : cases) {
    const Parsed parsed = parse(c.input);
    EXPECT_EQ(xml_body(parsed), c.expected) << c.input << '\n' << parsed.error;
  }
}

std::string utf16(std::string_view ascii, bool big_endian) {
  std::string text = big_endian ? "\xfe\xff" : "\xff\xfe";
  for (const char c : ascii) text += big_endian ? "\0"s + c : c + "\0"s;
  return text;
}

std::string repeat(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

TEST(XmlReader, ReadsNumbersAndDates) {
  const auto leaf = [](const char* name, const char* text) {
    return "<"s + name + ">" + text + "</" + name + ">";
  };
  std::vector<Case> cases;
  const std::array<const char*, 3> good[] = {
      {"integer", "18446744073709551615", "18446744073709551615"},
      {"integer", "9223372036854775808", "9223372036854775808"},
      {"integer", "-9223372036854775808", "-9223372036854775808"},
      {"integer", "0xFFFFFFFFFFFFFFFF", "18446744073709551615"},
      {"integer", "-0x1f", "-31"},
      {"integer", "+007", "7"},
      {"real", "1e3", "1000"},
      {"real", "+.5", "0.5"},
      {"real", "-Infinity", "-infinity"},
      {"real", "NaN", "nan"},
      {"date", "2000-02-29T23:59:59Z", "2000-02-29T23:59:59Z"},
      {"date", "0001-01-01T00:00:00Z", "0001-01-01T00:00:00Z"},
  };
  for (const auto& [name, text, written] : good) {
    cases.push_back({leaf(name, text), leaf(name, written)});
  }
  const std::pair<const char*, const char*> bad[] = {
      {"integer", ""},
      {"integer", "-"},
      {"integer", "18446744073709551616"},
      {"integer", "1 2"},
      {"integer", "12a"},
      {"integer", "-9223372036854775809"},
      {"integer", "0x"},
      {"integer", "0xg"},
      {"integer", "--1"},
      {"integer", "1.5"},
      {"real", ""},
      {"real", "1,5"},
      {"real", "+-1"},
      {"real", "1.5 kg"},
      {"real", "0x10"},
      {"date", "2001-02-29T00:00:00Z"},
      {"date", "2001-01-01T00:00:00"},
      {"date", "2001-01-01T24:00:00Z"},
      {"date", "2001-01-01T00:00:00+01:00"},
      {"date", "2001-1-01T00:00:00Z"},
      {"date", "2001-01--1T00:00:00Z"},
      {"date", "99999-01-01T00:00:00Z"},
      {"date", ""},
      {"data", "AAA"},
      {"data", "AA=A"},
      {"data", "===="},
      {"data", "A*AA"},
      {"data", "AA==AA=="},
      {"true", "x"},
  };
  for (const auto& [name, text] : bad) cases.push_back({leaf(name, text), "error"});
  expect_all(cases);
}

TEST(XmlReader, ReadsDocumentsOfManyForms) {
  const std::string head(kXmlHead);
  const Case cases[] = {
      {" \n<true/>", "<true/>"},
      {head + "<!-- c --><plist><!-- c --><array><!-- c --><?p i?><true/></array></plist>",
       "<array>\n\t<true/>\n</array>"},
      {"<string a='b'>x<![CDATA[<&>]]>y</string>", "<string>x&lt;&amp;&gt;y</string>"},
      {"<string>a\r\nb\rc\nd&#13;e&#10;</string>", "<string>a\r\nb\rc\nd\re\n</string>"},
      {"<array><string/><data/><data></data></array>",
       "<array>\n\t<string></string>\n\t<data>\n\t</data>\n\t<data>\n\t</data>\n</array>"},
      {"<!-- <data> --><array><data>AQ&#73;D</data><data>A<![CDATA[Q]]>==</data></array>",
       "<array>\n\t<data>\n\tAQID\n\t</data>\n\t<data>\n\tAQ==\n\t</data>\n</array>"},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><string>\xe4</string>",
       "<string>\xc3\xa4</string>"},
      {utf16("<?xml version='1.0' encoding='UTF-16'?><string>x</string>", /*big_endian=*/true),
       "<string>x</string>"},
      {utf16("<array><data>AQ==</data></array>", /*big_endian=*/false),
       "<array>\n\t<data>\n\tAQ==\n\t</data>\n</array>"},
      {"<plist></plist>", "error"},
      {"<plist><plist><true/></plist></plist>", "error"},
      {"<array><plist><true/></plist></array>", "error"},
      {"<array>x</array>", "error"},
      {"<array><nil/></array>", "error"},
      {"<key>a</key>", "error"},
      {"<array><key>a</key></array>", "error"},
      {"<dict><key>a</key><key>b</key></dict>", "error"},
      {"<dict><string>a</string><true/></dict>", "error"},
      {"<string>a<true/></string>", "error"},
      {"<string>a<!-- c -->b</string>", "error"},
      {"<data>AQ<!-- c -->==</data>", "error"},
      {"<string>a\x01</string>", "error"},
      {"<array><true/></array><!-- ", "error"},
      {"<array><data>", "error"},
      {"<data>AQ==", "error"},
      {"\xff\xfe<", "error"},
  };
  expect_all(cases);
}

TEST(XmlReader, ExpandsNoEntityAndReadsNoOtherFile) {
  const std::string external = "<!DOCTYPE plist SYSTEM \"" TEST_DATA_DIR "/x.dtd\"";
  const Case cases[] = {
      {"<!DOCTYPE plist [<!ENTITY a \"b\">]><string>&a;</string>", "error"},
      {"<!DOCTYPE plist [<!ENTITY a \"b\">]><string>c</string>", "error"},
      {"<!DOCTYPE plist [<!ENTITY % a \"b\">]><string>c</string>", "error"},
      {"<!DOCTYPE plist [<!ENTITY a SYSTEM \"/etc/passwd\">]><string>&a;</string>", "error"},
      {external + "><string>a&b;c</string>", "error"},
      {external + " [%x;]><string>a</string>", "<string>a</string>"},
      {external + "><string>a</string>", "<string>a</string>"},
      {"<string>a&b;c</string>", "error"},
  };
  expect_all(cases);
}

TEST(XmlReader, NamesTheLine) {
  EXPECT_EQ(parse("<array>\n<data>\nAQ==\n</data>\n<integer>x</integer>\n</array>").error,
            "Could not interpret <integer> at line 5");
  EXPECT_EQ(parse("<array>\n<string>a</array>\n").error, "mismatched tag at line 2");
}

TEST(OpenStepReader, ReadsAndRefuses) {
  const Case cases[] = {
      {"{a = b; c; 'd e' = (); f = {}; }",
       "<dict>\n\t<key>a</key>\n\t<string>b</string>\n\t<key>c</key>\n\t<string>c</string>\n"
       "\t<key>d e</key>\n\t<array/>\n\t<key>f</key>\n\t<dict/>\n</dict>"},
      {"/* x */ a; // y", "<dict>\n\t<key>a</key>\n\t<string>a</string>\n</dict>"},
      {"<01 0203>", "<data>\nAQID\n</data>"},
      {"<>", "<data>\n</data>"},
      {"http://a_b-c.$d", "<string>http://a_b-c.$d</string>"},
      {"\"\\Ud83d\\Ude00 \\344 \\q\\'\\\n\"", "<string>\xf0\x9f\x98\x80 \xc3\xae q'\n</string>"},
      {utf16("(a)", /*big_endian=*/true), "<array>\n\t<string>a</string>\n</array>"},
      {"\xef\xbb\xbf(\xc3\xa4)", "error"},
      {"{a = b}", "error"},
      {"{a b;}", "error"},
      {"{(a) = b;}", "error"},
      {"(a b)", "error"},
      {"(,a)", "error"},
      {"(a", "error"},
      {"a = b", "error"},
      {"{a = b;} c", "error"},
      {"a = b; }", "error"},
      {"a = b;\0"s, "error"},
      {"<010>", "error"},
      {"<01 0x>", "error"},
      {"<01", "error"},
      {"\"a", "error"},
      {"\"a\\", "error"},
      {"\"\\Ug\"", "error"},
      {"\"\\Ude00\"", "error"},
      {"\"\\Ud83d\"", "error"},
      {"\"\\Ud83d\\U0041\"", "error"},
      {"\"\\400\"", "error"},
      {"/* a", "error"},
  };
  expect_all(cases);
}

std::string big_endian(std::uint64_t value, std::size_t size) {
  std::string bytes;
  for (std::size_t i = size; i-- > 0;) bytes += static_cast<char>(value >> 8 * i);
  return bytes;
}

std::string trailer(std::uint64_t objects, std::uint64_t table, char offset_size = 4,
                    char number_size = 2, std::uint64_t top = 0) {
  return std::string(6, '\0') + offset_size + number_size + big_endian(objects, 8) +
         big_endian(top, 8) + big_endian(table, 8);
}

/// A binary list of these objects, the first on top, with object numbers of two bytes.
std::string binary(const std::vector<std::string>& objects) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += big_endian(bytes.size(), 4);
    bytes += object;
  }
  return bytes + table + trailer(objects.size(), bytes.size());
}

std::string array_of(std::initializer_list<unsigned> numbers) {
  std::string bytes(1, static_cast<char>(0xa0 + numbers.size()));
  for (const unsigned number : numbers) bytes += big_endian(number, 2);
  return bytes;
}

TEST(BinaryReader, ReadsAndRefusesObjects) {
  const std::string ones(8, '\xff');
  const Case cases[] = {
      {"\x13" + ones, "<integer>-1</integer>"},
      {"\x14"s + std::string(8, '\0') + ones, "<integer>18446744073709551615</integer>"},
      {"\x14"s + ones + ones, "<integer>-1</integer>"},
      {"\x10\xff", "<integer>255</integer>"},
      {"\x23" + big_endian(std::bit_cast<std::uint64_t>(-2.5), 8), "<real>-2.5</real>"},
      {"\x22" + big_endian(std::bit_cast<std::uint32_t>(0.5F), 4), "<real>0.5</real>"},
      {"\x33" + big_endian(std::bit_cast<std::uint64_t>(-0.5), 8),
       "<date>2000-12-31T23:59:59Z</date>"},
      {"\x62\xd8\x3d\xde\x00"s, "<string>\xf0\x9f\x98\x80</string>"},
      {"\x5f\x11\x00\x10"s + std::string(16, 'a'), "<string>" + std::string(16, 'a') + "</string>"},
      {"\x40", "<data>\n</data>"},
      {"\xd0", "<dict/>"},
      {"\x14"s + big_endian(1, 8) + ones, "error"},
      {"\x14"s + ones + big_endian(1, 8), "error"},
      {"\x15", "error"},
      {"\x51\xe4", "error"},
      {"\x61\xd8\x3d", "error"},
      {"\x61\xde\x00"s, "error"},
      {"\x5f\x20", "error"},
      {"\x80\x01", "error"},
      {"\xc0", "error"},
      {"\x0f", "error"},
      {array_of({1}), "error"},
      {"\xd1"s + big_endian(0, 4), "error"},
  };
  for (const Case& c : cases) {
    const Parsed parsed = parse(binary({c.input}));
    EXPECT_EQ(xml_body(parsed), c.expected) << parsed.error;
  }
  EXPECT_EQ(xml_body(parse(binary({"\xd1"s + big_endian(1 << 16 | 1, 4), "\x08"}))), "error");
  EXPECT_EQ(xml_body(parse(binary({array_of({1, 1}), array_of({2}), "\x51x"}))),
            "<array>\n\t<array>\n\t\t<string>x</string>\n\t</array>\n"
            "\t<array>\n\t\t<string>x</string>\n\t</array>\n</array>");
}

TEST(BinaryReader, RefusesTrailersThatDontFit) {
  const std::string head = "bplist00\x09\x08"s;  // one object, and its offset
  ASSERT_NE(parse(head + trailer(1, 9, 1, 1)).object, nullptr);
  const std::uint64_t huge = std::uint64_t{1} << 60;
  const std::string trailers[] = {
      trailer(huge, 9, 1, 1),
      trailer(huge * 16 - 1, 9, 1, 1),
      trailer(huge, 9, 8, 8),
      trailer(2, 9, 1, 1),
      trailer(0, 9, 1, 1),
      trailer(1, 9, 0, 1),
      trailer(1, 9, 1, 0),
      trailer(1, 9, 9, 1),
      trailer(1, 9, 1, 9),
      trailer(1, 7, 1, 1),
      trailer(1, 10, 1, 1),
      trailer(1, huge, 1, 1),
      trailer(1, 9, 1, 1, /*top=*/1),
      trailer(1, 9, 1, 1, huge),
      trailer(1, 8, 1, 1),
  };
  for (const std::string& bytes : trailers) EXPECT_EQ(parse(head + bytes).object, nullptr);
  for (const char* marker : {"\x4f\x13", "\x5f\x13", "\x6f\x13", "\xaf\x13", "\xdf\x13"}) {
    EXPECT_EQ(parse(binary({marker + big_endian(huge, 8)})).object, nullptr);
    EXPECT_EQ(parse(binary({marker + big_endian(~std::uint64_t{0}, 8)})).object, nullptr);
  }
}

TEST(Readers, HoldToTheNestingLimit) {
  const auto xml = [](std::size_t n) { return repeat("<array>", n) + repeat("</array>", n); };
  const auto text = [](std::size_t n) { return repeat("(", n) + repeat(")", n); };
  const auto dictionary = [](std::size_t n) { return repeat("{a=", n) + "b" + repeat(";}", n); };
  const auto chain = [](unsigned n) {
    std::vector<std::string> objects;
    for (unsigned i = 1; i < n; ++i) objects.push_back(array_of({i}));
    objects.push_back(array_of({}));
    return binary(objects);
  };
  EXPECT_NE(parse(xml(512)).object, nullptr);
  EXPECT_NE(parse(text(512)).object, nullptr);
  EXPECT_NE(parse(dictionary(512).substr(0, dictionary(512).size() - 1) + "}").object, nullptr);
  EXPECT_NE(parse(chain(512)).object, nullptr);
  EXPECT_EQ(parse(chain(513)).object, nullptr);
  for (const std::size_t depth : {513, 100'000}) {
    EXPECT_EQ(parse(xml(depth)).object, nullptr);
    EXPECT_EQ(parse(repeat("<dict><key>a</key>", depth)).object, nullptr);
    EXPECT_EQ(parse(text(depth)).object, nullptr);
    EXPECT_EQ(parse(dictionary(depth)).object, nullptr);
  }
  EXPECT_EQ(parse(chain(60'000)).object, nullptr);
}

TEST(Readers, TakeTimeInProportionToHostileInput) {
  // Cycles, and 60 arrays each of which holds the next one twice. Ten such arrays are what a
  // writer that shares equal containers may well write.
  EXPECT_EQ(parse(binary({array_of({0})})).object, nullptr);
  EXPECT_EQ(parse(binary({array_of({1, 1}), array_of({0, 0})})).object, nullptr);
  const auto doubling = [](unsigned levels) {
    std::vector<std::string> objects;
    for (unsigned i = 1; i <= levels; ++i) objects.push_back(array_of({i, i}));
    objects.push_back("\x08");
    return binary(objects);
  };
  EXPECT_NE(parse(doubling(10)).object, nullptr);
  EXPECT_EQ(parse(doubling(60)).object, nullptr);
  // What sends the XML reader looking for tags that are none.
  const std::string tags = "<array><!-- " + repeat("<data>", 200'000) + " --><true/></array>";
  EXPECT_NE(parse(tags).object, nullptr);
}

}  // namespace
}  // namespace cf::test
