#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFNumber.h>
#include <expat.h>

#include <algorithm>
#include <array>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base64.h"
#include "date_text.h"
#include "number_parse.h"
#include "property_list.h"
#include "string_object.h"
#include "value_stack.h"

namespace cf {
namespace {

enum class Element {
  kPlist,
  kDict,
  kArray,
  kKey,
  kString,
  kInteger,
  kReal,
  kDate,
  kData,
  kTrue,
  kFalse
};

struct ElementName {
  std::string_view name;
  Element element;
};

constexpr std::array<ElementName, 11> kElements = {{{"key", Element::kKey},
                                                    {"string", Element::kString},
                                                    {"integer", Element::kInteger},
                                                    {"true", Element::kTrue},
                                                    {"false", Element::kFalse},
                                                    {"dict", Element::kDict},
                                                    {"array", Element::kArray},
                                                    {"data", Element::kData},
                                                    {"real", Element::kReal},
                                                    {"date", Element::kDate},
                                                    {"plist", Element::kPlist}}};

std::optional<Element> element_named(std::string_view name) {
  const auto found = std::find_if(kElements.begin(), kElements.end(),
                                  [name](const ElementName& entry) { return entry.name == name; });
  return found == kElements.end() ? std::nullopt : std::optional(found->element);
}

constexpr std::string_view kDataTag = "<data>";
constexpr const char* kBadBase64 = "Bad base64 text in <data>";

bool is_white_space(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; });
}

class XmlReader {
 public:
  XmlReader(std::string_view source, const char* encoding);

  Owned<CFTypeRef> read();

 private:
  struct Container {
    bool is_dictionary;
    std::size_t first;  // of its values in values_
  };

  /// Wraps a member function as an expat handler. An exception must not pass through expat: it
  /// stops the parser and is thrown again once that has returned.
  template <auto kMember, typename... Args>
  static void handle(void* self, Args... args) noexcept {
    XmlReader& reader = *static_cast<XmlReader*>(self);
    if (reader.failure_ != nullptr) return;
    try {
      (reader.*kMember)(args...);
    } catch (...) {
      reader.failure_ = std::current_exception();
      XML_StopParser(reader.parser_.get(), XML_FALSE);
    }
  }

  void start(const XML_Char* name, const XML_Char** attributes);
  void end(const XML_Char* name);
  void characters(const XML_Char* text, int length);
  void comment(const XML_Char* text);
  void instruction(const XML_Char* target, const XML_Char* data);
  void declare_entity(const XML_Char*, int, const XML_Char*, int, const XML_Char*, const XML_Char*,
                      const XML_Char*, const XML_Char*);
  void skip_entity(const XML_Char* name, int is_parameter_entity);

  void parse(std::string_view piece, bool is_last);
  /// Where in source_ the parser stands.
  std::size_t position() const;
  void check_place(Element element) const;
  void refuse_inside_leaf() const;
  /// NULL when the text is none of that element.
  Owned<CFTypeRef> make_leaf(Element element);
  Owned<CFTypeRef> make_key();
  [[noreturn]] void fail(const std::string& why) const;

  struct ParserDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  const std::string_view source_;
  const std::unique_ptr<XML_ParserStruct, ParserDeleter> parser_;
  std::exception_ptr failure_;
  std::size_t skipped_ = 0;  // bytes of source_ so far that expat hasn't seen
  bool in_plist_ = false;
  std::vector<Container> containers_;
  ValueStack values_;
  std::optional<Element> leaf_;
  std::string text_;  // of the open leaf, but for <data>
  Base64Decoder data_;
  // Most dictionaries of a list have the same few keys, so these are shared.
  std::array<Owned<CFStringRef>, 256> recent_keys_;
};

XmlReader::XmlReader(std::string_view source, const char* encoding)
    : source_(source), parser_(XML_ParserCreate(encoding)) {
  XML_Parser const parser = parser_.get();
  if (parser == nullptr) throw std::bad_alloc();
  XML_SetUserData(parser, this);
  XML_SetElementHandler(parser, handle<&XmlReader::start>, handle<&XmlReader::end>);
  XML_SetCharacterDataHandler(parser, handle<&XmlReader::characters>);
  XML_SetCommentHandler(parser, handle<&XmlReader::comment>);
  XML_SetProcessingInstructionHandler(parser, handle<&XmlReader::instruction>);
  XML_SetEntityDeclHandler(parser, handle<&XmlReader::declare_entity>);
  XML_SetSkippedEntityHandler(parser, handle<&XmlReader::skip_entity>);
}

/// What stands in a <data> element goes past expat straight to the decoder: it's most of the bytes
/// in many lists, and expat would hand it over line by line. So the source is fed in pieces that
/// end in a <data> tag. When that was no tag at such an end (in a comment, say), the rest is fed
/// at once, or a comment full of them would be read as often as it has tags.
Owned<CFTypeRef> XmlReader::read() {
  bool look_for_data = true;
  for (std::size_t fed = 0; fed < source_.size();) {
    const std::size_t tag = look_for_data ? source_.find(kDataTag, fed) : std::string_view::npos;
    const std::size_t end = tag == std::string_view::npos ? source_.size() : tag + kDataTag.size();
    parse(source_.substr(fed, end - fed), /*is_last=*/end == source_.size());
    fed = end;
    if (leaf_ == Element::kData) {
      const std::size_t next = std::min(source_.find('<', fed), source_.size());
      if (!data_.feed(source_.substr(fed, next - fed))) fail(kBadBase64);
      skipped_ += next - fed;
      fed = next;
    } else {
      look_for_data = false;
    }
  }
  if (values_.size() != 1) fail("No object in <plist>");
  return values_.pop();
}

void XmlReader::parse(std::string_view piece, bool is_last) {
  constexpr std::size_t kMost = 64 * 1024;  // expat copies what it is given
  while (piece.size() > kMost) {
    parse(piece.substr(0, kMost), /*is_last=*/false);
    piece.remove_prefix(kMost);
  }
  const XML_Status status =
      XML_Parse(parser_.get(), piece.data(), static_cast<int>(piece.size()), is_last);
  if (failure_ != nullptr) std::rethrow_exception(failure_);
  if (status != XML_STATUS_OK) fail(XML_ErrorString(XML_GetErrorCode(parser_.get())));
}

std::size_t XmlReader::position() const {
  const std::size_t index = skipped_ + static_cast<std::size_t>(std::max<XML_Index>(
                                           XML_GetCurrentByteIndex(parser_.get()), 0));
  return std::min(index, source_.size());
}

void XmlReader::fail(const std::string& why) const {
  const auto begin = source_.begin();
  const auto lines = std::count(begin, begin + static_cast<std::ptrdiff_t>(position()), '\n') + 1;
  throw PropertyListError(why + " at line " + std::to_string(lines));
}

void XmlReader::start(const XML_Char* name, const XML_Char** /*attributes*/) {
  const std::optional<Element> element = element_named(name);
  if (!element) fail("Unknown element <" + std::string(name) + ">");
  if (leaf_) fail("Element <" + std::string(name) + "> inside a value");
  if (element == Element::kPlist) {
    if (in_plist_ || !containers_.empty()) fail("<plist> inside the property list");
    in_plist_ = true;
    return;
  }
  check_place(*element);
  if (element == Element::kDict || element == Element::kArray) {
    if (containers_.size() == kMaxNesting) fail("Too many nested arrays or dictionaries");
    containers_.push_back({element == Element::kDict, values_.size()});
  } else {
    leaf_ = element;
  }
}

/// Keys stand first of each pair in a dictionary, and nowhere else.
void XmlReader::check_place(Element element) const {
  if (containers_.empty() && values_.size() != 0) fail("More than one object in <plist>");
  const bool wants_key = !containers_.empty() && containers_.back().is_dictionary &&
                         (values_.size() - containers_.back().first) % 2 == 0;
  if (wants_key && element != Element::kKey) fail("Value without a <key> inside <dict>");
  if (!wants_key && element == Element::kKey) fail("<key> where a value belongs");
}

void XmlReader::end(const XML_Char* name) {
  if (leaf_) {
    Owned<CFTypeRef> value = make_leaf(*leaf_);
    if (value == nullptr) fail("Could not interpret <" + std::string(name) + ">");
    values_.push(std::move(value));
    leaf_.reset();
    text_.clear();
  } else if (!containers_.empty()) {
    const Container container = containers_.back();
    if (!container.is_dictionary) {
      values_.fold_into_array(container.first);
    } else {
      if ((values_.size() - container.first) % 2 != 0) fail("Value missing for key inside <dict>");
      values_.fold_into_dictionary(container.first);
    }
    containers_.pop_back();
  }
}

Owned<CFTypeRef> XmlReader::make_leaf(Element element) {
  switch (element) {
    case Element::kKey:
      return make_key();
    case Element::kString:
      return make_string(text_);
    case Element::kInteger:
      return parse_integer(text_);
    case Element::kReal:
      return parse_real(text_);
    case Element::kDate: {
      const std::optional<CFAbsoluteTime> time = parse_date(text_);
      return Owned<CFTypeRef>(time ? CFDateCreate(kCFAllocatorDefault, *time) : nullptr);
    }
    case Element::kData:
      if (!data_.finish()) return nullptr;
      return data_.bytes.finish();
    case Element::kTrue:
    case Element::kFalse:
      if (!text_.empty()) return nullptr;
      return Owned<CFTypeRef>(element == Element::kTrue ? kCFBooleanTrue : kCFBooleanFalse);
    default:
      return nullptr;
  }
}

Owned<CFTypeRef> XmlReader::make_key() {
  Owned<CFStringRef>& recent = recent_keys_[hash_text(text_) % recent_keys_.size()];
  if (recent == nullptr || utf8(recent.get()) != text_) recent = make_string(text_);
  return Owned<CFTypeRef>(recent == nullptr ? nullptr : CFRetain(recent.get()));
}

void XmlReader::characters(const XML_Char* text, int length) {
  std::string_view piece(text, static_cast<std::size_t>(length));
  if (!leaf_) {
    if (!is_white_space(piece)) fail("Text between elements");
    return;
  }
  if (leaf_ == Element::kData) {
    if (!data_.feed(piece)) fail(kBadBase64);
    return;
  }
  // The writer puts line ends into the text as they are, but XML makes line feeds of them all.
  if (piece == "\n") {
    const std::string_view original = source_.substr(position(), 2);
    if (original.starts_with('\r')) piece = original == "\r\n" ? "\r\n" : "\r";
  }
  text_ += piece;
}

void XmlReader::refuse_inside_leaf() const {
  if (leaf_) fail("Comment or instruction inside a value");
}

void XmlReader::comment(const XML_Char* /*text*/) { refuse_inside_leaf(); }

void XmlReader::instruction(const XML_Char* /*target*/, const XML_Char* /*data*/) {
  refuse_inside_leaf();
}

void XmlReader::declare_entity(const XML_Char* /*name*/, int /*is_parameter_entity*/,
                               const XML_Char* /*value*/, int /*value_length*/,
                               const XML_Char* /*base*/, const XML_Char* /*system_id*/,
                               const XML_Char* /*public_id*/, const XML_Char* /*notation*/) {
  fail("Entity declared");
}

/// With a document type elsewhere, which is never read, expat skips entities it doesn't know.
void XmlReader::skip_entity(const XML_Char* name, int /*is_parameter_entity*/) {
  fail("Unknown entity &" + std::string(name) + ";");
}

}  // namespace

Owned<CFTypeRef> read_xml(std::string_view text, const char* encoding) {
  return XmlReader(text, encoding).read();
}

}  // namespace cf
