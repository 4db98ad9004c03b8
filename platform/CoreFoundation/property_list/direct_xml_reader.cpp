#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

#include "../utf8.h"
#include "base64.h"
#include "property_list.h"
#include "utf16.h"
#include "value_stack.h"
#include "xml_elements.h"

namespace cf {
namespace {

constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";
constexpr std::string_view kPlist = R"(<plist version="1.0">)";
constexpr std::string_view kPublisher = R"(<!DOCTYPE plist PUBLIC "-//Apple)";
constexpr std::string_view kOldPublisher = " Computer";
constexpr std::string_view kDocumentType =
    R"(//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">)";

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
bool is_allowed(std::uint32_t c) {
  if (c < ' ') return c == '\t' || c == '\n' || c == '\r';
  return c < 0xd800 || (c >= 0xe000 && c < 0xfffe) || (c >= 0x10000 && c <= 0x10ffff);
}

/// Whether the text is UTF-8, has only characters that XML allows, and not "]]>", which XML allows
/// in comments only.
bool is_allowed(std::string_view text) {
  constexpr std::size_t kBlock = 64;  // a fixed size lets the compiler use vectors
  unsigned char has_control = 0;
  const auto add = [&has_control](char byte) {
    const unsigned char c = static_cast<unsigned char>(byte);
    has_control |= static_cast<unsigned char>((c < ' ') & (c != '\t') & (c != '\n') & (c != '\r'));
  };
  std::string_view rest = text;
  for (; rest.size() >= kBlock; rest.remove_prefix(kBlock))
    for (std::size_t i = 0; i < kBlock; ++i) add(rest[i]);
  for (const char byte : rest) add(byte);
  return has_control == 0 && is_valid_utf8(text) && text.find("]]>") == text.npos &&
         text.find("\xef\xbf\xbe") == text.npos && text.find("\xef\xbf\xbf") == text.npos;
}

/// Reads the XML that property-list writers write. It gives up wherever the expat reader would
/// refuse the input or could read more.
class DirectXmlReader {
 public:
  explicit DirectXmlReader(std::string_view source) : rest_(source) {}

  Owned<CFTypeRef> read() {
    accept(kDeclaration);
    skip_comments();
    if (accept(kPublisher)) {
      accept(kOldPublisher);
      expect(kDocumentType);
      skip_comments();
    }
    const bool has_plist = accept(kPlist);
    skip_comments();
    push_value(/*depth=*/0);
    skip_comments();
    if (has_plist) {
      expect_end_tag("plist");
      skip_comments();
    }
    if (!rest_.empty()) give_up();
    return values_.pop();
  }

 private:
  struct Tag {
    std::string_view name;
    bool is_empty;  // <name/>
    Element element;
  };

  bool accept(std::string_view text) {
    if (!rest_.starts_with(text)) return false;
    rest_.remove_prefix(text.size());
    return true;
  }

  void expect(std::string_view text) {
    if (!accept(text)) give_up();
  }

  /// The source before the next `end`.
  std::string_view take_until(char end) {
    const std::size_t size = rest_.find(end);
    if (size == rest_.npos) give_up();
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }

  void skip_space() {
    while (!rest_.empty() && is_space(rest_.front())) rest_.remove_prefix(1);
  }

  /// Skips white space and comments. In a comment "--" is allowed only in the closing "-->".
  void skip_comments() {
    for (skip_space(); accept("<!--"); skip_space()) {
      while (!accept("--"))
        if (!accept("-")) take_until('-');
      expect(">");
    }
  }

  Tag take_start_tag() {
    expect("<");
    std::string_view name = take_until('>');
    rest_.remove_prefix(1);
    const bool is_empty = name.ends_with('/');
    if (is_empty) name.remove_suffix(1);
    while (!name.empty() && is_space(name.back())) name.remove_suffix(1);
    const std::optional<Element> element = element_named(name);
    if (!element || element == Element::kPlist) give_up();
    return {name, is_empty, *element};
  }

  void expect_end_tag(std::string_view name) {
    expect("</");
    expect(name);
    skip_space();
    expect(">");
  }

  /// The text up to the next tag; valid until the next call.
  std::string_view text() {
    std::string_view raw = take_until('<');
    if (raw.find('&') == raw.npos) return raw;
    text_.clear();
    while (!raw.empty()) {
      const std::size_t plain = std::min(raw.find('&'), raw.size());
      text_ += raw.substr(0, plain);
      raw.remove_prefix(plain);
      if (!raw.empty()) append_reference(raw);
    }
    return text_;
  }

  /// Removes the reference at the start of `raw`.
  void append_reference(std::string_view& raw) {
    if (!raw.starts_with("&#")) {
      const auto entity = std::find_if(kEntities.begin(), kEntities.end(), [raw](const Entity& e) {
        return raw.starts_with(e.reference);
      });
      if (entity == kEntities.end()) give_up();
      raw.remove_prefix(entity->reference.size());
      text_ += entity->character;
      return;
    }
    const bool is_hexadecimal = raw.starts_with("&#x");
    raw.remove_prefix(is_hexadecimal ? 3 : 2);
    std::uint32_t character = 0;
    const std::from_chars_result result =
        std::from_chars(raw.data(), raw.data() + raw.size(), character, is_hexadecimal ? 16 : 10);
    raw.remove_prefix(static_cast<std::size_t>(result.ptr - raw.data()));
    if (result.ec != std::errc() || !raw.starts_with(';') || !is_allowed(character)) give_up();
    raw.remove_prefix(1);
    append_utf8(text_, character);
  }

  void push_value(std::size_t depth) {
    const Tag tag = take_start_tag();
    if (tag.element == Element::kDict || tag.element == Element::kArray) {
      push_container(tag, depth);
    } else if (tag.element != Element::kKey) {
      push_leaf(tag);
    } else {
      give_up();
    }
    if (!tag.is_empty) expect_end_tag(tag.name);
  }

  void push_container(const Tag& tag, std::size_t depth) {
    if (depth == kMaxNesting) give_up();
    const bool is_dictionary = tag.element == Element::kDict;
    const std::size_t first = values_.size();
    if (!tag.is_empty) {
      for (skip_comments(); !rest_.starts_with("</"); skip_comments()) {
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

  void push_key() {
    const Tag tag = take_start_tag();
    if (tag.element != Element::kKey || tag.is_empty) give_up();
    push_leaf(tag);
    expect_end_tag(tag.name);
  }

  void push_leaf(const Tag& tag) {
    const std::string_view content = tag.is_empty ? std::string_view() : text();
    Owned<CFTypeRef> value;
    if (tag.element != Element::kData) {
      value = make_leaf(tag.element, content, keys_);
    } else if (Base64Decoder decoder; !tag.is_empty && decoder.feed(content) && decoder.finish()) {
      value = decoder.bytes.finish();
    }
    if (value == nullptr) give_up();
    values_.push(std::move(value));
  }

  std::string_view rest_;
  ValueStack values_;
  RecentKeys keys_;
  std::string text_;
};

}  // namespace

Owned<CFTypeRef> read_xml_directly(std::string_view text) {
  try {
    if (is_allowed(text)) return DirectXmlReader(text).read();
  } catch (const Unfamiliar&) {
  }
  return nullptr;
}

}  // namespace cf
