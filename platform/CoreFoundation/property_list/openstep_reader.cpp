#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <optional>
#include <string>

#include "data_buffer.h"
#include "property_list.h"
#include "utf16.h"
#include "value_stack.h"

// Text such as `{ key = value; list = (a, "b c"); bytes = <0fbd 77>; }`; a strings file is the
// inside of a dictionary without its braces.

namespace cf {
namespace {

/// The characters from 0x80 up of the NEXTSTEP encoding, which octal escapes are in, as the Unicode
/// Consortium lists it. The two codes without a character are U+FFFD.
constexpr char16_t kNextStepUpperHalf[128] = {
    0x00a0, 0x00c0, 0x00c1, 0x00c2, 0x00c3, 0x00c4, 0x00c5, 0x00c7, 0x00c8, 0x00c9, 0x00ca, 0x00cb,
    0x00cc, 0x00cd, 0x00ce, 0x00cf, 0x00d0, 0x00d1, 0x00d2, 0x00d3, 0x00d4, 0x00d5, 0x00d6, 0x00d9,
    0x00da, 0x00db, 0x00dc, 0x00dd, 0x00de, 0x00b5, 0x00d7, 0x00f7, 0x00a9, 0x00a1, 0x00a2, 0x00a3,
    0x2044, 0x00a5, 0x0192, 0x00a7, 0x00a4, 0x2019, 0x201c, 0x00ab, 0x2039, 0x203a, 0xfb01, 0xfb02,
    0x00ae, 0x2013, 0x2020, 0x2021, 0x00b7, 0x00a6, 0x00b6, 0x2022, 0x201a, 0x201e, 0x201d, 0x00bb,
    0x2026, 0x2030, 0x00ac, 0x00bf, 0x00b9, 0x02cb, 0x00b4, 0x02c6, 0x02dc, 0x00af, 0x02d8, 0x02d9,
    0x00a8, 0x00b2, 0x02da, 0x00b8, 0x00b3, 0x02dd, 0x02db, 0x02c7, 0x2014, 0x00b1, 0x00bc, 0x00bd,
    0x00be, 0x00e0, 0x00e1, 0x00e2, 0x00e3, 0x00e4, 0x00e5, 0x00e7, 0x00e8, 0x00e9, 0x00ea, 0x00eb,
    0x00ec, 0x00c6, 0x00ed, 0x00aa, 0x00ee, 0x00ef, 0x00f0, 0x00f1, 0x0141, 0x00d8, 0x0152, 0x00ba,
    0x00f2, 0x00f3, 0x00f4, 0x00f5, 0x00f6, 0x00e6, 0x00f9, 0x00fa, 0x00fb, 0x0131, 0x00fc, 0x00fd,
    0x0142, 0x00f8, 0x0153, 0x00df, 0x00fe, 0x00ff, 0xfffd, 0xfffd,
};

bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Whether a string without quotes may contain the character.
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
  static constexpr char kEnd = '\0';  // what peek() returns at the end of the text

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
  if (accept('(')) {
    push_array(depth);
  } else if (accept('{')) {
    push_entries('}', depth);
  } else if (accept('<')) {
    push_data();
  } else {
    push_string();
  }
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

/// The content of a dictionary and the `terminator` after it. A key without a value is its own
/// value.
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

/// The part of an escape after the backslash.
void OpenStepReader::append_escape(std::string& text) {
  constexpr std::string_view kNames = "abfnrtv";
  constexpr std::string_view kMeanings = "\a\b\f\n\r\t\v";
  if (at_ == text_.size()) fail("String without an end");
  const char c = text_[at_];
  if (digit_value(c, 8)) {
    const char32_t code = take_digits(8, 3);
    if (code > 0xff) fail("Octal escape past 377");
    append_utf8(text, code < 0x80 ? code : kNextStepUpperHalf[code - 0x80]);
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
