#include <sstream>

#include "../testing/hostile_shapes_test_support.h"
#include "../testing/value_test_support.h"
#include "property_list.h"
#include "tests/support/table.h"

namespace cf::test {
namespace {

using namespace std::literals;

/// The content of the `<plist>` element when written, or the error's text.
std::string outcome(const Parsed& parsed) {
  if (parsed.object == nullptr) return "error: " + parsed.error;
  const std::string xml = write(parsed.object.get());
  const std::size_t begin = xml.find("<plist version=\"1.0\">\n");
  const std::size_t end = xml.find("\n</plist>\n");
  if (end == std::string::npos) return "unwritable: " + xml;
  return xml.substr(begin + 22, end - begin - 22);
}

/// A row with a '~' is read with one blank in its place, and with more.
TEST(Readers, MatchExpectedResults) {
  for (const std::string file : {"read/binary.txt", "read/openstep.txt", "read/xml.txt"}) {
    for (const Row& row : table(file, 2)) {
      SCOPED_TRACE(row.place);
      for (const std::size_t blanks : {1, 2, 3, 4, 5, 6, 7, 8, 15, 16, 17, 600}) {
        const std::string blank(blanks, ' ');
        std::vector<std::string> objects;
        for (const std::string& object : split(row[0], " | "))
          objects.push_back(unescaped(object, blank));
        EXPECT_EQ(outcome(parse(file == "read/binary.txt" ? binary_list(objects) : objects[0])),
                  unescaped(row[1], blank))
            << "with " << blanks << " blanks";
        if (row[0].find('~') == std::string::npos) break;
      }
    }
  }
}

TEST(XmlReader, ReadsSmallPieces) {
  for (const Row& row : table("read/xml.txt", 2)) {
    const std::string xml = unescaped(row[0], " ");
    if (!xml.starts_with('<') || row[1].starts_with("error")) continue;
    SCOPED_TRACE(row.place);
    for (const std::size_t piece : {1, 5})
      EXPECT_EQ(outcome({read_xml_with_expat(xml, nullptr, piece), ""}), unescaped(row[1], " "));
  }
}

TEST(XmlReader, ReportsLineAfterLongText) {
  EXPECT_EQ(parse("<array>\n<string>" + repeated(1000, "words\n") + "</string></dict>\n").error,
            "mismatched tag at line 1002");
}

/// Writers that share equal containers create such lists; the number of references is limited.
TEST(BinaryReader, ReadsSharedContainers) {
  for (const std::uint32_t levels : {10, 60}) {
    std::vector<std::string> objects;
    for (std::uint32_t i = 1; i <= levels; ++i) objects.push_back(binary_array({i, i}));
    objects.push_back("\x08");
    EXPECT_EQ(parse(binary_list(objects)).object != nullptr, levels == 10);
  }
}

TEST(BinaryReader, RefusesInvalidTrailers) {
  for (const Row& row : table("read/trailers.txt", 2)) {
    SCOPED_TRACE(row.place);
    std::istringstream fields(row[0]);
    std::uint64_t objects = 0, offsets = 0, top = 0;
    int offset_size = 0, number_size = 0;
    fields >> objects >> offsets >> top >> offset_size >> number_size;
    EXPECT_EQ(outcome(parse("bplist00\x09" + big_endian(8, 8) +
                            binary_trailer(objects, offsets, top, static_cast<char>(offset_size),
                                           static_cast<char>(number_size)))),
              row[1]);
  }
}

TEST(BinaryReader, RefusesOverlappingObjects) {
  std::string bytes = "bplist00" + binary_array({1, 2, 3});
  const std::string places = big_endian(8, 4) + repeated(3, big_endian(bytes.size(), 4));
  bytes += "\x5f\x10\xff" + std::string(0xff, 'x');
  EXPECT_EQ(parse(bytes + places + binary_trailer(4, bytes.size())).error,
            "Objects in the same place of binary property list");
}

TEST(Readers, EnforceNestingLimit) {
  const char* const nests[][3] = {
      {"<dict><key>a</key>", "<true/>", "</dict>"}, {"(", "", ")"}, {"{a=", "b", ";}"}};
  for (const std::size_t depth : {512, 513}) {
    std::vector<std::string> chain;
    for (std::uint32_t i = 1; i < depth; ++i) chain.push_back(binary_array({i}));
    chain.push_back(binary_array({}));
    std::vector<std::string> inputs = {binary_list(chain)};
    for (const auto& [open, inner, close] : nests)
      inputs.push_back(repeated(depth, open) + inner + repeated(depth, close));
    for (const std::string& input : inputs)
      EXPECT_EQ(parse(input).error.starts_with("Too many nested"), depth == 513) << input;
  }
}

}  // namespace
}  // namespace cf::test
