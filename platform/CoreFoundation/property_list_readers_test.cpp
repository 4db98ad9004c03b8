#include <charconv>

#include "hostile_shapes_test_support.h"
#include "property_list_test_support.h"

namespace cf::test {
namespace {

using namespace std::string_literals;

/// Bytes from a C literal's inside, every '~' as `blanks` blanks.
std::string unescaped(std::string_view text, std::size_t blanks) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '~') bytes.append(blanks, ' ');
    if (text[i] != '~' && text[i] != '\\') bytes += text[i];
    if (text[i] != '\\') continue;
    const char c = text[++i];
    const std::size_t named = std::string_view("ntr").find(c);
    if (c == 'x') {
      unsigned value = 0;
      std::from_chars(&text[i + 1], &text[i + 1] + 2, value, 16);
      bytes += static_cast<char>(value);
      i += 2;
    } else {
      bytes += named == std::string_view::npos ? c : "\n\t\r"[named];
    }
  }
  return bytes;
}

TEST(Readers, ReadAndRefuse) {
  for (const std::filesystem::path& path : test_files("read", ".txt")) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with('#')) continue;
      SCOPED_TRACE(path.filename().string() + ": " + line);
      const std::size_t arrow = line.find(" => ");
      ASSERT_NE(arrow, std::string::npos);
      for (const std::size_t blanks : {1, 600}) {
        std::string input = unescaped(std::string_view(line).substr(0, arrow), blanks);
        if (path.stem() == "binary") input = binary_list({input});
        const Parsed parsed = parse(input);
        EXPECT_EQ(xml_body(parsed), unescaped(std::string_view(line).substr(arrow + 4), blanks))
            << parsed.error;
      }
    }
  }
}

TEST(XmlReader, NamesTheLine) {
  EXPECT_EQ(parse("<array>\n<data>\nAQ==\n</data>\n<integer>x</integer>\n</array>").error,
            "Could not interpret <integer> at line 5");
  const std::string lines = repeated(1000, "words\n");
  EXPECT_EQ(parse("<array>\n<string>" + lines + "</string></dict>\n").error,
            "mismatched tag at line 1002");
}

std::string array_of(std::vector<std::uint32_t> numbers) { return binary_array(numbers); }

TEST(BinaryReader, ReadsContainersInSeveralPlaces) {
  EXPECT_EQ(xml_body(parse(binary_list({array_of({1, 1}), array_of({2}), "\x51x"}))),
            "<array>\n\t<array>\n\t\t<string>x</string>\n\t</array>\n"
            "\t<array>\n\t\t<string>x</string>\n\t</array>\n</array>");
  // Ten arrays each of which holds the next one twice are what a writer that shares equal
  // containers may well write; of sixty the whole would be beyond measure.
  const auto doubling = [](std::uint32_t levels) {
    std::vector<std::string> objects;
    for (std::uint32_t i = 1; i <= levels; ++i) objects.push_back(array_of({i, i}));
    objects.push_back("\x08");
    return binary_list(objects);
  };
  EXPECT_NE(parse(doubling(10)).object, nullptr);
  EXPECT_EQ(parse(doubling(60)).object, nullptr);
  EXPECT_EQ(parse(binary_list({array_of({1, 1}), array_of({0, 0})})).object, nullptr);
}

TEST(BinaryReader, RefusesReferencesThatDontFit) {
  const std::string head = "bplist00\x09\x08"s;  // one object, and its offset
  ASSERT_NE(parse(head + binary_trailer(1, 9, 0, 1, 1)).object, nullptr);
  const std::uint64_t huge = std::uint64_t{1} << 60;
  const std::string trailers[] = {
      binary_trailer(huge, 9, 0, 1, 1), binary_trailer(huge * 16 - 1, 9, 0, 1, 1),
      binary_trailer(huge, 9, 0, 8, 8), binary_trailer(2, 9, 0, 1, 1),
      binary_trailer(0, 9, 0, 1, 1),    binary_trailer(1, 9, 0, 0, 1),
      binary_trailer(1, 9, 0, 1, 0),    binary_trailer(1, 9, 0, 9, 1),
      binary_trailer(1, 9, 0, 1, 9),    binary_trailer(1, 7, 0, 1, 1),
      binary_trailer(1, 10, 0, 1, 1),   binary_trailer(1, huge, 0, 1, 1),
      binary_trailer(1, 9, 1, 1, 1),    binary_trailer(1, 9, huge, 1, 1),
      binary_trailer(1, 8, 0, 1, 1),
  };
  for (const std::string& bytes : trailers) EXPECT_EQ(parse(head + bytes).object, nullptr);
  for (const char* marker : {"\x4f\x13", "\x5f\x13", "\x6f\x13", "\xaf\x13", "\xdf\x13"}) {
    EXPECT_EQ(parse(binary_list({marker + big_endian(huge, 8)})).object, nullptr);
    EXPECT_EQ(parse(binary_list({marker + big_endian(~std::uint64_t{0}, 8)})).object, nullptr);
  }
  const std::string number_key = "\xd1"s + big_endian(1, 4) + big_endian(1, 4);
  EXPECT_EQ(parse(binary_list({number_key, "\x08"})).object, nullptr);
}

TEST(Readers, HoldToTheNestingLimit) {
  for (const std::size_t depth : {512, 513}) {
    const auto nest = [depth](const char* open, const char* close) {
      return repeated(depth, open) + "<true/>" + repeated(depth, close);
    };
    std::vector<std::string> chain;
    for (std::uint32_t i = 1; i < depth; ++i) chain.push_back(array_of({i}));
    chain.push_back(array_of({}));
    const std::string inputs[] = {
        nest("<array>", "</array>"), nest("<dict><key>a</key>", "</dict>"),
        repeated(depth, "(") + repeated(depth, ")"),
        repeated(depth, "{a=") + "b" + repeated(depth - 1, ";}") + ";}", binary_list(chain)};
    for (const std::string& input : inputs)
      EXPECT_EQ(parse(input).object != nullptr, depth == 512) << input.substr(0, 20);
  }
}

}  // namespace
}  // namespace cf::test
