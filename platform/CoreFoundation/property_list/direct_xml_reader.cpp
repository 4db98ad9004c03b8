#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFNumber.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

#include "../utf8.h"
#include "base64.h"
#include "date_text.h"
#include "number_parse.h"
#include "property_list.h"
#include "recent_keys.h"
#include "utf16.h"
#include "value_stack.h"

namespace cf {
namespace {

constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";
constexpr std::string_view kPlist = R"(<plist version="1.0">)";
constexpr std::string_view kDocumentType =
    R"(<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" )"
    R"("http://www.apple.com/DTDs/PropertyList-1.0.dtd">)";
constexpr std::string_view kOldDocumentType =
    R"(<!DOCTYPE plist PUBLIC "-//Apple Computer//DTD PLIST 1.0//EN" )"
    R"("http://www.apple.com/DTDs/PropertyList-1.0.dtd">)";

struct Entity {
  std::string_view reference;
  char character;
};

constexpr std::array<Entity, 5> kEntities = {
    {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}}};

/// Thrown for XML that this reader doesn't know; never leaves this file.
struct Unfamiliar {};

[[noreturn]] void give_up() { throw Unfamiliar(); }

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// Whether XML 1.0 allows the character.
constexpr bool is_allowed(std::uint32_t c) {
  if (c < ' ') return c == '\t' || c == '\n' || c == '\r';
  return c < 0xd800 || (c >= 0xe000 && c < 0xfffe) || (c >= 0x10000 && c <= 0x10ffff);
}

/// What a text contains: control characters that XML excludes, brackets, bytes that aren't ASCII.
struct Content {
  unsigned char has_bad = 0;
  unsigned char has_bracket = 0;
  unsigned char has_wide = 0;

  void add(char byte) {
    const unsigned char c = static_cast<unsigned char>(byte);
    has_bad |= static_cast<unsigned char>((c < ' ') & (c != '\t') & (c != '\n') & (c != '\r'));
    has_bracket |= static_cast<unsigned char>(c == ']');
    has_wide |= c & 0x80;
  }
};

/// Whether the text is UTF-8, has only characters that XML allows, and not "]]>", which XML allows
/// in comments only.
bool is_allowed_text(std::string_view whole) {
  constexpr std::size_t kBlock = 64;  // a fixed size lets the compiler use vectors
  Content content;
  std::string_view text = whole;
  for (; text.size() >= kBlock; text.remove_prefix(kBlock)) {
    const char* const block = text.data();
    for (std::size_t i = 0; i < kBlock; ++i) content.add(block[i]);
  }
  for (const char c : text) content.add(c);
  if (content.has_bad != 0) return false;
  if (content.has_bracket != 0 && whole.find("]]>") != whole.npos) return false;
  return content.has_wide == 0 ||
         (is_valid_utf8(whole) && whole.find("\xef\xbf\xbe") == whole.npos &&
          whole.find("\xef\xbf\xbf") == whole.npos);
}

/// Reads the XML that property-list writers write. It gives up wherever the expat reader would
/// refuse the input or could read more.
class DirectXmlReader {
 public:
  explicit DirectXmlReader(std::string_view text)
      : at_(text.data()), end_(text.data() + text.size()) {}

  Owned<CFTypeRef> read();

 private:
  struct Tag {
    std::string_view name;
    bool is_empty;  // <name/>
  };

  bool is_at(std::string_view text) const {
    return std::string_view(at_, static_cast<std::size_t>(end_ - at_)).starts_with(text);
  }

  bool accept(std::string_view text) {
    if (!is_at(text)) return false;
    at_ += text.size();
    return true;
  }

  void skip_space() {
    while (at_ != end_ && is_space(*at_)) ++at_;
  }

  void skip_comments();
  Tag take_start_tag();
  void take_end_tag(std::string_view name);
  std::string_view raw_text();
  std::string_view text();
  void skip_plain_text();
  void append_reference();
  void push_value(std::size_t depth);
  void push_container(const Tag& tag, std::size_t depth);
  void push_key();
  Owned<CFTypeRef> make_leaf(const Tag& tag);

  const char* at_;
  const char* const end_;
  ValueStack values_;
  RecentKeys keys_;
  std::string text_;
};

Owned<CFTypeRef> DirectXmlReader::read() {
  accept(kDeclaration);
  skip_comments();
  if (accept(kDocumentType) || accept(kOldDocumentType)) skip_comments();
  const bool has_plist = accept(kPlist);
  skip_comments();
  push_value(/*depth=*/0);
  skip_comments();
  if (has_plist) {
    take_end_tag("plist");
    skip_comments();
  }
  if (at_ != end_) give_up();
  return values_.pop();
}

/// Skips white space and comments. In a comment "--" is allowed only in the closing "-->".
void DirectXmlReader::skip_comments() {
  for (skip_space(); accept("<!--"); skip_space()) {
    while (!accept("--")) {
      at_ = std::find(at_, end_, '-');
      if (end_ - at_ < 2) give_up();
      if (at_[1] != '-') at_ += 2;
    }
    if (!accept(">")) give_up();
  }
}

DirectXmlReader::Tag DirectXmlReader::take_start_tag() {
  if (!accept("<")) give_up();
  const char* const begin = at_;
  while (at_ != end_ && *at_ >= 'a' && *at_ <= 'z') ++at_;
  const std::string_view name(begin, static_cast<std::size_t>(at_ - begin));
  skip_space();
  const bool is_empty = accept("/");
  if (!accept(">")) give_up();
  return {name, is_empty};
}

void DirectXmlReader::take_end_tag(std::string_view name) {
  if (!accept("</") || !accept(name)) give_up();
  skip_space();
  if (!accept(">")) give_up();
}

/// The source up to the next tag.
std::string_view DirectXmlReader::raw_text() {
  const char* const begin = at_;
  at_ = std::find(at_, end_, '<');
  return {begin, static_cast<std::size_t>(at_ - begin)};
}

/// The text up to the next tag; valid until the next call.
std::string_view DirectXmlReader::text() {
  const char* begin = at_;
  skip_plain_text();
  if (at_ == end_) give_up();
  if (*at_ == '<') return {begin, static_cast<std::size_t>(at_ - begin)};
  text_.assign(begin, at_);
  while (*at_ == '&') {
    append_reference();
    begin = at_;
    skip_plain_text();
    text_.append(begin, at_);
    if (at_ == end_) give_up();
  }
  return text_;
}

/// Skips to the next tag or reference: a short text byte by byte, more in blocks.
void DirectXmlReader::skip_plain_text() {
  constexpr std::ptrdiff_t kBlock = 64;
  const auto is_markup = [](char c) { return c == '<' || c == '&'; };
  const char* const block = at_ + std::min(kBlock / 2, end_ - at_);
  at_ = std::find_if(at_, block, is_markup);
  if (at_ != block) return;
  for (unsigned char found = 0; end_ - at_ >= kBlock; at_ += kBlock) {
    for (std::ptrdiff_t i = 0; i < kBlock; ++i)
      found |= static_cast<unsigned char>((at_[i] == '<') | (at_[i] == '&'));
    if (found != 0) break;
  }
  at_ = std::find_if(at_, end_, is_markup);
}

void DirectXmlReader::append_reference() {
  for (const Entity& entity : kEntities) {
    if (accept(entity.reference)) {
      text_ += entity.character;
      return;
    }
  }
  if (!accept("&#")) give_up();
  const int base = accept("x") ? 16 : 10;
  std::uint32_t character = 0;
  const std::from_chars_result result = std::from_chars(at_, end_, character, base);
  at_ = result.ptr;
  if (result.ec != std::errc() || !accept(";") || !is_allowed(character)) give_up();
  append_utf8(text_, character);
}

void DirectXmlReader::push_value(std::size_t depth) {
  const Tag tag = take_start_tag();
  if (tag.name == "array" || tag.name == "dict") {
    push_container(tag, depth);
  } else {
    values_.push(make_leaf(tag));
  }
  if (!tag.is_empty) take_end_tag(tag.name);
}

void DirectXmlReader::push_container(const Tag& tag, std::size_t depth) {
  if (depth == kMaxNesting) give_up();
  const bool is_dictionary = tag.name == "dict";
  const std::size_t first = values_.size();
  if (!tag.is_empty) {
    for (skip_comments(); !is_at("</"); skip_comments()) {
      if (is_dictionary) {
        push_key();
        skip_comments();
      }
      push_value(depth + 1);
    }
  }
  if (is_dictionary) {
    values_.fold_into_dictionary(first);
  } else {
    values_.fold_into_array(first);
  }
}

void DirectXmlReader::push_key() {
  const Tag tag = take_start_tag();
  if (tag.name != "key" || tag.is_empty) give_up();
  values_.push(keys_.make(text()));
  take_end_tag(tag.name);
}

Owned<CFTypeRef> DirectXmlReader::make_leaf(const Tag& tag) {
  if (tag.name == "string") return make_cfstring(tag.is_empty ? std::string_view() : text());
  if (tag.is_empty) {
    if (tag.name == "true") return Owned<CFTypeRef>(kCFBooleanTrue);
    if (tag.name == "false") return Owned<CFTypeRef>(kCFBooleanFalse);
    give_up();
  }
  const std::string_view raw = raw_text();
  Owned<CFTypeRef> value;
  if (tag.name == "integer") {
    value = parse_integer(raw);
  } else if (tag.name == "real") {
    value = parse_real(raw);
  } else if (tag.name == "date") {
    if (const std::optional<CFAbsoluteTime> time = parse_date(raw))
      value.reset(CFDateCreate(kCFAllocatorDefault, *time));
  } else if (tag.name == "data") {
    Base64Decoder decoder;
    if (decoder.feed(raw) && decoder.finish()) value = decoder.bytes.finish();
  }
  if (value == nullptr) give_up();
  return value;
}

}  // namespace

Owned<CFTypeRef> read_xml_directly(std::string_view text) {
  try {
    if (is_allowed_text(text)) return DirectXmlReader(text).read();
  } catch (const Unfamiliar&) {
  }
  return nullptr;
}

}  // namespace cf
