#include "fields.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <charconv>
#include <system_error>
#include <utility>

#include "failure.h"
#include "text/format.h"

namespace MobileDevice::simulator {
namespace {

constexpr double kLongestSeconds = 1'000'000;

bool is_text(CFTypeRef value, const char* text) {
  const CFStringRef string = cast<CFStringRef>(value, CFStringGetTypeID());
  return string != nullptr && to_text(string) == text;
}

struct Integer {
  std::int64_t low_bits;
  double approximately;  // distinguishes a large unsigned number from a negative one
};

std::optional<Integer> read_integer(CFTypeRef value) {
  const CFNumberRef number = cast<CFNumberRef>(value, CFNumberGetTypeID());
  if (number == nullptr || CFNumberIsFloatType(number)) return std::nullopt;
  Integer integer{};
  CFNumberGetValue(number, kCFNumberSInt64Type, &integer.low_bits);
  CFNumberGetValue(number, kCFNumberFloat64Type, &integer.approximately);
  return integer;
}

}  // namespace

std::optional<std::int64_t> parse_integer(std::string_view text) {
  int base = 10;
  if (text.substr(0, 2) == "0x") {
    text.remove_prefix(2);
    base = 16;
    if (text.substr(0, 1) == "-") return std::nullopt;
  }
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, base);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

std::optional<std::int64_t> integer_in(CFTypeRef value) {
  const std::optional<Integer> integer = read_integer(value);
  const bool fits = integer && (integer->approximately < 0) == (integer->low_bits < 0);
  return fits ? std::optional(integer->low_bits) : std::nullopt;
}

std::optional<std::uint64_t> unsigned_integer_in(CFTypeRef value) {
  const std::optional<Integer> integer = read_integer(value);
  if (!integer || integer->approximately < 0) return std::nullopt;
  return static_cast<std::uint64_t>(integer->low_bits);
}

void Field::expected(const std::string& what) const {
  throw Failure(FailureCode::kScenario,
                text::format("{}: {}{}expected {}{}", file, path, path.empty() ? "" : ": ", what,
                             value == nullptr ? ", but the key is missing" : ""));
}

Field Field::at(CFTypeRef below, const std::string& step) const {
  return {below, file, path + step, all_text};
}

std::string Field::text() const {
  const CFStringRef string = cast<CFStringRef>(value, CFStringGetTypeID());
  if (string == nullptr) expected("a string");
  std::string text = to_text(string);
  if (text.find('\0') != std::string::npos) expected("a string without U+0000");
  return text;
}

bool Field::boolean() const {
  if (all_text) {
    if (is_text(value, "YES")) return true;
    if (is_text(value, "NO")) return false;
    expected("YES or NO");
  }
  const CFBooleanRef boolean = cast<CFBooleanRef>(value, CFBooleanGetTypeID());
  if (boolean == nullptr) expected("a boolean");
  return CFBooleanGetValue(boolean) != 0;
}

std::int64_t Field::integer(std::int64_t low, std::int64_t high) const {
  const CFStringRef string = cast<CFStringRef>(value, CFStringGetTypeID());
  const std::optional<std::int64_t> number =
      all_text && string != nullptr ? parse_integer(to_text(string)) : integer_in(value);
  if (!number || *number < low || *number > high)
    expected(text::format("an integer from {} to {}", low, high));
  return *number;
}

double Field::number(const char* what, double low, double high) const {
  double number = low - 1;
  const CFStringRef string = cast<CFStringRef>(value, CFStringGetTypeID());
  if (const CFNumberRef cf = cast<CFNumberRef>(value, CFNumberGetTypeID())) {
    CFNumberGetValue(cf, kCFNumberFloat64Type, &number);
  } else if (all_text && string != nullptr) {
    if (!boost::conversion::try_lexical_convert(to_text(string), number)) number = low - 1;
  }
  if (!(number >= low && number <= high))
    expected(text::format("{} from {} to {:.0f}", what, low, high));
  return number;
}

Seconds Field::seconds() const { return Seconds(number("seconds, a number", 0, kLongestSeconds)); }

CFDictionaryRef Field::dictionary() const {
  const CFDictionaryRef dictionary = cast<CFDictionaryRef>(value, CFDictionaryGetTypeID());
  if (dictionary == nullptr) expected("a dictionary");
  return dictionary;
}

std::vector<Field> Field::elements() const {
  const CFArrayRef array = cast<CFArrayRef>(value, CFArrayGetTypeID());
  if (array == nullptr) expected("an array");
  std::vector<Field> fields;
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
    fields.push_back(at(CFArrayGetValueAtIndex(array, i), text::format("[{}]", i)));
  return fields;
}

Fields::Fields(const Field& field) : field_(field) {
  const CFDictionaryRef dictionary = field.dictionary();
  const std::size_t count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
  std::vector<const void*> keys(count);
  std::vector<const void*> values(count);
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
  for (std::size_t i = 0; i < count; ++i) {
    const CFStringRef name = cast<CFStringRef>(keys[i], CFStringGetTypeID());
    if (name == nullptr) field.expected("keys that are strings");
    const std::string key = to_text(name);
    fields_.emplace(key, below(key, values[i]));
  }
}

Fields::Fields(const Field& field, const std::vector<std::string>& known) : Fields(field) {
  for (const auto& [key, unknown] : fields_) {
    if (std::find(known.begin(), known.end(), key) == known.end()) {
      throw Failure(FailureCode::kScenario,
                    text::format("{}: {}: unknown key, expected one of {}", unknown.file,
                                 unknown.path, fmt::join(known, ", ")));
    }
  }
}

Field Fields::below(const std::string& key, CFTypeRef value) const {
  return field_.at(value, (field_.path.empty() ? "" : ".") + key);
}

Field Fields::get(const std::string& key) const {
  return get_if_present(key).value_or(below(key, nullptr));
}

std::optional<Field> Fields::get_if_present(const std::string& key) const {
  const auto found = fields_.find(key);
  return found == fields_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace MobileDevice::simulator
