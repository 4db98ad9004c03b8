#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <optional>
#include <string>

#include "data_buffer.h"
#include "nextstep_encoding.h"
#include "property_list.h"
#include "utf16.h"
#include "value_stack.h"

// Text such as `{ key = value; list = (a, "b c"); bytes = <0fbd 77>; }`; a strings file is the
// inside of a dictionary without its braces.

namespace cf {
namespace {

bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// What a string without quotes may hold.
bool is_bare(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("_$/:.-").find(c) != std::string_view::npos;
}

std::optional<unsigned> digit_value(char c, unsigned base) {
  unsigned value = base;
  if (c >= '0' && c <= '9') value = static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') value = static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') value = static_cast<unsigned>(c - 'A') + 10;
  return value < base ? std::optional(value) : std::nullopt;
}

class OpenStepReader {
 public:
  explicit OpenStepReader(std::string_view text) : text_(text) {}

  Owned<CFTypeRef> read();

 private:
  static constexpr char kEnd = '\0';  // what peek() returns behind the text

  char peek() const { return at_ < text_.size() ? text_[at_] : kEnd; }
  bool accept(char c);
  void skip_space();
  void push_value(std::size_t depth);
  void push_array(std::size_t depth);
  void push_entries(char terminator, std::size_t depth);
  void push_string();
  void push_data();
  std::string quoted_string();
  void append_escape(std::string& text);
  char32_t take_digits(unsigned base, int most);
  [[noreturn]] void fail(const std::string& why) const;

  std::string_view text_;
  std::size_t at_ = 0;
  ValueStack values_;
};

Owned<CFTypeRef> OpenStepReader::read() {
  skip_space();
  if (at_ < text_.size()) {
    push_value(/*depth=*/0);
    skip_space();
    if (at_ == text_.size()) return values_.pop();
    if (CFGetTypeID(values_.pop().get()) != kString) fail("Junk after property list");
    at_ = 0;
  }
  push_entries(kEnd, /*depth=*/0);
  return values_.pop();
}

void OpenStepReader::fail(const std::string& why) const {
  const auto begin = text_.begin();
  const auto lines = std::count(begin, begin + static_cast<std::ptrdiff_t>(at_), '\n') + 1;
  throw PropertyListError(why + " at line " + std::to_string(lines));
}

bool OpenStepReader::accept(char c) {
  if (at_ == text_.size() || text_[at_] != c) return false;
  ++at_;
  return true;
}

/// Comments are space too.
void OpenStepReader::skip_space() {
  for (;;) {
    const std::string_view rest = text_.substr(at_);
    if (!rest.empty() && is_space(rest[0])) {
      ++at_;
    } else if (rest.starts_with("//")) {
      at_ += std::min(rest.find_first_of("\n\r"), rest.size());
    } else if (rest.starts_with("/*")) {
      const std::size_t end = rest.find("*/", 2);
      if (end == std::string_view::npos) fail("Comment without an end");
      at_ += end + 2;
    } else {
      return;
    }
  }
}

void OpenStepReader::push_value(std::size_t depth) {
  skip_space();
  const bool is_container = peek() == '(' || peek() == '{';
  if (is_container && depth == kMaxNesting) fail("Too many nested arrays or dictionaries");
  if (accept('('))
    push_array(depth);
  else if (accept('{'))
    push_entries('}', depth);
  else if (accept('<'))
    push_data();
  else
    push_string();
}

void OpenStepReader::push_array(std::size_t depth) {
  const std::size_t first = values_.size();
  for (;;) {
    skip_space();
    if (peek() == ')') break;
    push_value(depth + 1);
    skip_space();
    if (!accept(',')) break;
  }
  if (!accept(')')) fail("Expected ',' or ')' in array");
  values_.fold_into_array(first);
}

/// A dictionary's inside and the `terminator` behind it. A key alone stands for itself.
void OpenStepReader::push_entries(char terminator, std::size_t depth) {
  const std::size_t first = values_.size();
  for (;;) {
    skip_space();
    if (at_ == text_.size() || (terminator != kEnd && peek() == terminator)) break;
    push_string();
    skip_space();
    if (accept('=')) {
      push_value(depth + 1);
      skip_space();
      if (!accept(';')) fail("Expected ';' after value");
    } else if (accept(';')) {
      values_.push(Owned<CFTypeRef>(CFRetain(values_.top())));
    } else {
      fail("Expected ';' or '=' after key");
    }
  }
  if (terminator != kEnd && !accept(terminator)) fail("Expected '}'");
  values_.fold_into_dictionary(first);
}

void OpenStepReader::push_string() {
  if (peek() == '"' || peek() == '\'') {
    values_.push(make_cfstring(quoted_string()));
    return;
  }
  const std::string_view rest = text_.substr(at_);
  const std::string_view bare = rest.substr(
      0,
      static_cast<std::size_t>(std::find_if_not(rest.begin(), rest.end(), is_bare) - rest.begin()));
  if (bare.empty()) fail(rest.empty() ? "Unexpected end" : "Unexpected character");
  at_ += bare.size();
  values_.push(make_cfstring(bare));
}

std::string OpenStepReader::quoted_string() {
  const char quote = text_[at_++];
  const char stops[] = {quote, '\\'};
  std::string text;
  for (;;) {
    const std::size_t stop = text_.find_first_of({stops, sizeof stops}, at_);
    if (stop == std::string_view::npos) fail("String without an end");
    text += text_.substr(at_, stop - at_);
    at_ = stop + 1;
    if (text_[stop] == quote) return text;
    append_escape(text);
  }
}

/// What stands behind a backslash.
void OpenStepReader::append_escape(std::string& text) {
  constexpr std::string_view kNames = "abfnrtv";
  constexpr std::string_view kMeanings = "\a\b\f\n\r\t\v";
  if (at_ == text_.size()) fail("String without an end");
  const char c = text_[at_];
  if (digit_value(c, 8)) {
    const char32_t code = take_digits(8, 3);
    if (code > 0xff) fail("Octal escape past 377");
    append_utf8(text, nextstep_character(static_cast<unsigned char>(code)));
    return;
  }
  ++at_;
  if (c == 'U') {
    char32_t character = take_digits(16, 4);
    if (character >= 0xd800 && character < 0xdc00 && accept('\\') && accept('U')) {
      const char32_t trail = take_digits(16, 4);
      if (trail < 0xdc00 || trail > 0xdfff) fail("Half a surrogate pair");
      character = 0x10000 + ((character - 0xd800) << 10) + (trail - 0xdc00);
    }
    if (character >= 0xd800 && character < 0xe000) fail("Half a surrogate pair");
    append_utf8(text, character);
    return;
  }
  const std::size_t name = kNames.find(c);
  text += name == std::string_view::npos ? c : kMeanings[name];
}

char32_t OpenStepReader::take_digits(unsigned base, int most) {
  std::optional<unsigned> digit = digit_value(peek(), base);
  if (!digit) fail("Digits missing in escape");
  char32_t number = 0;
  for (int i = 0; i < most && digit; ++i, digit = digit_value(peek(), base)) {
    number = number * base + *digit;
    ++at_;
  }
  return number;
}

void OpenStepReader::push_data() {
  DataBuffer bytes;
  for (;;) {
    while (is_space(peek())) ++at_;
    if (accept('>')) break;
    const std::optional<unsigned> high = digit_value(peek(), 16);
    const std::optional<unsigned> low =
        high && at_ + 1 < text_.size() ? digit_value(text_[at_ + 1], 16) : std::nullopt;
    if (!low) fail("Malformed data byte group");
    *bytes.extend(1) = static_cast<char>(*high << 4 | *low);
    at_ += 2;
  }
  values_.push(bytes.finish());
}

}  // namespace

Owned<CFTypeRef> read_openstep(std::string_view valid_utf8) {
  return OpenStepReader(valid_utf8).read();
}

}  // namespace cf
