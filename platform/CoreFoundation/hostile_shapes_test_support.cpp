#include "hostile_shapes_test_support.h"

#include <numeric>
#include <string_view>

namespace cf::test {
namespace {

using namespace std::string_literals;

constexpr std::size_t kNest = 500;  // levels, near the most that are read

/// `unit` over and over, to some `size` bytes, between head and tail.
std::string filled(std::string_view head, std::string_view unit, std::string_view tail,
                   std::size_t size) {
  std::string text(head);
  text.reserve(size + unit.size() + tail.size());
  while (text.size() + tail.size() < size) text += unit;
  return text += tail;
}

/// The same, the number of the unit in place of '#'.
std::string counted(std::string_view head, std::string_view unit, std::string_view tail,
                    std::size_t size) {
  std::string text(head);
  const std::size_t hash = unit.find('#');
  for (std::size_t i = 0; text.size() + tail.size() < size; ++i)
    text.append(unit.substr(0, hash)).append(std::to_string(i)).append(unit.substr(hash + 1));
  return text += tail;
}

std::string nests(std::string_view open, std::string_view inner, std::string_view close,
                  std::size_t size) {
  return filled("", repeated(kNest, open) + std::string(inner) + repeated(kNest, close), "", size);
}

/// A binary array of as many different objects `object` as fit.
std::string binary_run(const std::string& object, std::size_t size) {
  const std::size_t count = size / (object.size() + 8);
  std::vector<std::uint32_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 1);
  std::vector<std::string> objects(count + 1, object);
  objects[0] = binary_array(numbers);
  return binary_list(objects);
}

/// A binary array that refers to `object` as often as fits.
std::string binary_references(const std::string& object, std::size_t size) {
  const std::vector<std::uint32_t> numbers(size / 4, 1);
  return binary_list({binary_array(numbers), object});
}

/// A marker with the length behind it.
std::string marked(char kind, std::uint64_t length) {
  return std::string(1, static_cast<char>(kind | 0xf)) + '\x13' + big_endian(length, 8);
}

const HostileShape kShapes[] = {
    {"XML empty containers",
     [](std::size_t n) { return filled("<array>", "<dict/><array/>", "</array>", n); }},
    {"XML tiny texts",
     [](std::size_t n) { return filled("<array>", "<string>a</string>\n", "</array>", n); }},
    {"XML deep and wide",
     [](std::size_t n) {
       return "<array>" + nests("<array>", "<true/>", "</array>", n) + "</array>";
     }},
    {"XML different keys",
     [](std::size_t n) { return counted("<dict>", "<key>#</key><true/>", "</dict>", n); }},
    {"XML one key again and again",
     [](std::size_t n) { return filled("<dict>", "<key>a</key><true/>", "</dict>", n); }},
    {"XML one text of many lines",
     [](std::size_t n) {
       return filled("<string>", "Some words that fill a line of text.\n", "</string>", n);
     }},
    {"XML one text of carriage returns",
     [](std::size_t n) { return filled("<string>", "\r", "</string>", n); }},
    {"XML entities", [](std::size_t n) { return filled("<string>", "&amp;", "</string>", n); }},
    {"XML references to characters",
     [](std::size_t n) { return filled("<string>", "&#228;", "</string>", n); }},
    {"XML white space", [](std::size_t n) { return filled("<array>", "\n\t ", "</array>", n); }},
    {"XML one comment", [](std::size_t n) { return filled("<!--", "<data>", "--><true/>", n); }},
    {"XML many comments",
     [](std::size_t n) { return filled("<array>", "<!---->", "</array>", n); }},
    {"XML one instruction", [](std::size_t n) { return filled("<?a ", "b", "?><true/>", n); }},
    {"XML one attribute", [](std::size_t n) { return filled("<true a='", "b", "'/>", n); }},
    {"XML many attributes", [](std::size_t n) { return counted("<true", " a#='b'", "/>", n); },
     std::size_t{64} * 1024},
    {"XML one name of a tag", [](std::size_t n) { return filled("<", "a", "/>", n); }},
    {"XML identifier of the document type",
     [](std::size_t n) { return filled("<!DOCTYPE plist SYSTEM '", "a", "'><true/>", n); }},
    {"XML attribute defaults",
     [](std::size_t n) {
       const std::string declarations =
           counted("<!DOCTYPE a [", "<!ATTLIST true a# CDATA 'b'>", "]>", n / 2);
       return declarations + filled("<array>", "<true/>", "</array>", n / 2);
     }},
    {"XML data", [](std::size_t n) { return filled("<data>", "QUJD\n\t", "</data>", n); }},
    {"XML tiny data",
     [](std::size_t n) { return filled("<array>", "<data>QUJD</data>", "</array>", n); }},
    {"XML sections",
     [](std::size_t n) { return filled("<string>", "<![CDATA[a]]>", "</string>", n); }},
    {"XML digits", [](std::size_t n) { return filled("<real>", "1", "</real>", n); }},
    {"XML without an end", [](std::size_t n) { return filled("<array>", "<dict>", "", n); }},

    {"OpenStep empty containers", [](std::size_t n) { return filled("(", "{},(),", ")", n); }},
    {"OpenStep tiny texts", [](std::size_t n) { return filled("(", "a,\n", ")", n); }},
    {"OpenStep deep and wide",
     [](std::size_t n) {
       return "(" + filled("", repeated(kNest, "(") + repeated(kNest, ")") + ',', ")", n);
     }},
    {"OpenStep different keys", [](std::size_t n) { return counted("{", "a#=b;", "}", n); }},
    {"OpenStep keys alone", [](std::size_t n) { return counted("", "a#;", "", n); }},
    {"OpenStep one text of many lines",
     [](std::size_t n) { return filled("\"", "Some words that fill a line of text.\n", "\"", n); }},
    {"OpenStep escapes", [](std::size_t n) { return filled("\"", "\\U00e4\\344", "\"", n); }},
    {"OpenStep white space", [](std::size_t n) { return filled("(", "\n\t ", ")", n); }},
    {"OpenStep one comment", [](std::size_t n) { return filled("/*", "* /", "*/ ()", n); }},
    {"OpenStep many comments", [](std::size_t n) { return filled("(", "/**///\n", ")", n); }},
    {"OpenStep data", [](std::size_t n) { return filled("<", "01 ", ">", n); }},
    {"OpenStep tiny data", [](std::size_t n) { return filled("(", "<01>,", ")", n); }},
    {"OpenStep without an end", [](std::size_t n) { return filled("(", "'a',", "", n); }},

    {"binary empty containers", [](std::size_t n) { return binary_run("\xa0", n); }},
    {"binary references to an empty container",
     [](std::size_t n) { return binary_references("\xd0", n); }},
    {"binary references to a text", [](std::size_t n) { return binary_references("\x51x", n); }},
    {"binary tiny texts", [](std::size_t n) { return binary_run("\x51x", n); }},
    {"binary tiny numbers", [](std::size_t n) { return binary_run("\x23"s + "12345678", n); }},
    {"binary deep and wide",
     [](std::size_t n) {
       // Nests of arrays, side by side.
       const std::size_t count = n / 14 / kNest;
       std::vector<std::uint32_t> tops;
       std::vector<std::string> objects(1);
       for (std::size_t i = 0; i < count; ++i) {
         tops.push_back(static_cast<std::uint32_t>(objects.size()));
         for (std::size_t level = 1; level < kNest; ++level) {
           const std::uint32_t next[] = {static_cast<std::uint32_t>(objects.size() + 1)};
           objects.push_back(binary_array(next));
         }
         objects.push_back("\xa0");
       }
       objects[0] = binary_array(tops);
       return binary_list(objects);
     }},
    {"binary arrays that hold one another twice",
     [](std::size_t n) {
       const std::size_t count = n / 13;
       std::vector<std::string> objects;
       for (std::size_t i = 1; i <= count; ++i) {
         const std::uint32_t next = static_cast<std::uint32_t>(i % kNest == 0 ? count : i);
         objects.push_back(binary_array(std::vector{next, next}));
       }
       objects.push_back("\x08");
       return binary_list(objects);
     }},
    {"binary different keys",
     [](std::size_t n) {
       const std::size_t count = n / 19;
       std::vector<std::string> objects(count + 1);
       std::string keys, values;
       for (std::size_t i = 1; i <= count; ++i) {
         objects[i] = "\x57" + std::to_string(1'000'000 + i);
         keys += big_endian(i, 4);
         values += big_endian(1, 4);
       }
       objects[0] = marked('\xd0', count) + keys + values;
       return binary_list(objects);
     }},
    {"binary one text of many lines",
     [](std::size_t n) {
       return binary_list(
           {marked('\x50', n) +
            filled("", "Some words that fill a line of text.\n", "", n).substr(0, n)});
     }},
    {"binary one text of wide characters",
     [](std::size_t n) {
       return binary_list({marked('\x60', n / 2) + repeated(n / 2, "\x4e\x01")});
     }},
    {"binary objects in one place",
     [](std::size_t n) {
       // Half of it is one text, and the objects of the other half all are that text.
       std::vector<std::uint32_t> numbers(n / 16);
       std::iota(numbers.begin(), numbers.end(), 1);
       std::string bytes = "bplist00" + binary_array(numbers);
       const std::size_t text = bytes.size();
       bytes += marked('\x50', n / 2) + std::string(n / 2, 'x');
       const std::size_t table = bytes.size();
       bytes += big_endian(8, 4) + repeated(numbers.size(), big_endian(text, 4));
       return bytes + binary_trailer(numbers.size() + 1, table);
     }},
};

}  // namespace

std::span<const HostileShape> hostile_shapes() { return kShapes; }

std::string big_endian(std::uint64_t value, std::size_t size) {
  std::string bytes;
  for (std::size_t i = size; i-- > 0;) bytes += static_cast<char>(value >> 8 * i);
  return bytes;
}

std::string binary_trailer(std::uint64_t objects, std::uint64_t table, std::uint64_t top,
                           char offset_size, char number_size) {
  return std::string(6, '\0') + offset_size + number_size + big_endian(objects, 8) +
         big_endian(top, 8) + big_endian(table, 8);
}

std::string binary_list(const std::vector<std::string>& objects) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += big_endian(bytes.size(), 4);
    bytes += object;
  }
  return bytes + table + binary_trailer(objects.size(), bytes.size());
}

std::string binary_array(std::span<const std::uint32_t> numbers) {
  std::string bytes = numbers.size() < 15 ? std::string(1, static_cast<char>(0xa0 + numbers.size()))
                                          : marked('\xa0', numbers.size());
  for (const std::uint32_t number : numbers) bytes += big_endian(number, 4);
  return bytes;
}

std::string repeated(std::size_t count, std::string_view text) {
  std::string result;
  result.reserve(count * text.size());
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

}  // namespace cf::test
