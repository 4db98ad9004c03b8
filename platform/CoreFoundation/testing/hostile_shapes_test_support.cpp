#include "hostile_shapes_test_support.h"

#include <map>
#include <numeric>

#include "tests/support/table.h"

namespace cf::test {
namespace {

constexpr std::size_t kNest = 500;  // levels, near the maximum that the readers accept

/// HEAD, UNIT, TAIL of testdata/hostile.txt, the last two optionally repeated.
std::string filled(const std::vector<std::string>& pieces, std::size_t size) {
  std::string text = pieces.front();
  for (std::size_t i = 1; i + 1 < pieces.size(); i += 2) {
    const std::string& unit = pieces[i];
    const std::size_t at = unit.find('@');
    const std::size_t end = size * (i + 1) / (pieces.size() - 1);
    for (std::size_t number = 0; text.size() < end; ++number) {
      text.append(unit, 0, at);
      if (at != std::string::npos) text.append(std::to_string(number)).append(unit, at + 1);
    }
    text += pieces[i + 1];
  }
  return text;
}

/// OPEN^INNER^CLOSE, nested.
std::string nested(const std::string& unit) {
  const std::vector<std::string> nest = split(unit, "^");
  return nest.size() < 3 ? unit : repeated(kNest, nest[0]) + nest[1] + repeated(kNest, nest[2]);
}

/// A marker followed by the length.
std::string marked(char kind, std::uint64_t length) {
  return std::string(1, static_cast<char>(kind | 0xf)) + '\x13' + big_endian(length, 8);
}

/// An array of as many different objects `object` as fit.
std::string binary_run(const std::string& object, std::size_t size) {
  std::vector<std::string> objects(1 + size / (object.size() + 8), object);
  std::vector<std::uint32_t> numbers(objects.size() - 1);
  std::iota(numbers.begin(), numbers.end(), 1);
  objects[0] = binary_array(numbers);
  return binary_list(objects);
}

/// An array that refers to `object` as often as fits.
std::string binary_references(const std::string& object, std::size_t size) {
  return binary_list({binary_array(std::vector<std::uint32_t>(size / 4, 1)), object});
}

/// One text of these characters.
std::string binary_text(const std::string& character, std::size_t size) {
  const std::size_t length = size / character.size();
  return binary_list(
      {marked(character.size() == 1 ? '\x50' : '\x60', length) + repeated(length, character)});
}

}  // namespace

std::vector<HostileShape> hostile_shapes() {
  static const std::map<std::string, std::string (*)(const std::string&, std::size_t)>
      binary_kinds = {
          {"different", binary_run}, {"references", binary_references}, {"text", binary_text}};
  std::vector<HostileShape> shapes;
  for (const Row& row : table("hostile.txt", 3)) {
    std::vector<std::string> pieces;
    for (const std::string& piece : split(row[2], "|")) pieces.push_back(unescaped(nested(piece)));
    const auto kind = binary_kinds.find(pieces[0]);
    shapes.push_back({row[1], std::stoul(row[0]) * 1024, [=](std::size_t size) {
                        return kind == binary_kinds.end() ? filled(pieces, size)
                                                          : kind->second(pieces.at(1), size);
                      }});
  }
  return shapes;
}

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

std::string binary_array(const std::vector<std::uint32_t>& numbers) {
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
