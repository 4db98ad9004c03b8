#include <expat.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base64.h"
#include "property_list.h"
#include "value_stack.h"
#include "xml_elements.h"

namespace cf {
namespace {

constexpr const char* kBadBase64 = "Bad base64 text in <data>";

bool is_all_space(std::string_view text) {
  return text.find_first_not_of(" \t\n\r") == std::string_view::npos;
}

class XmlReader {
 public:
  XmlReader(std::string_view source, const char* encoding);

  Owned<CFTypeRef> read(std::size_t least_piece);

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
    reader.has_moved_ = true;
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
  void start_document_type(const XML_Char*, const XML_Char*, const XML_Char*, int has_subset);
  void skip_entity(const XML_Char* name, int is_parameter_entity);
  void other(const XML_Char* text, int length);

  /// The source text of the current event; valid until the event has been handled.
  std::string_view raw_event();
  void check_place(Element element) const;
  void refuse_inside_leaf() const;
  [[noreturn]] void fail(const std::string& why) const;

  struct ParserDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  const std::string_view source_;
  const std::unique_ptr<XML_ParserStruct, ParserDeleter> parser_;
  std::exception_ptr failure_;
  bool has_moved_ = false;  // expat has reported something since it got the last piece
  bool in_plist_ = false;
  std::vector<Container> containers_;
  ValueStack values_;
  std::optional<Element> leaf_;
  std::string text_;  // of the open leaf, unless that is <data>
  Base64Decoder data_;
  std::string_view raw_event_;
  RecentKeys keys_;
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
  XML_SetStartDoctypeDeclHandler(parser, handle<&XmlReader::start_document_type>);
  XML_SetSkippedEntityHandler(parser, handle<&XmlReader::skip_entity>);
  XML_SetDefaultHandlerExpand(parser, handle<&XmlReader::other>);
}

/// If a token, such as a comment, doesn't end in a piece, expat scans it again from its start with
/// the next piece. So the next piece is twice as large.
Owned<CFTypeRef> XmlReader::read(std::size_t least_piece) {
  constexpr std::size_t kMost = std::size_t{1} << 30;
  std::size_t size = least_piece;
  std::string_view rest = source_;
  do {
    const std::string_view piece = rest.substr(0, size);
    rest.remove_prefix(piece.size());
    has_moved_ = false;
    const XML_Status status =
        XML_Parse(parser_.get(), piece.data(), static_cast<int>(piece.size()), rest.empty());
    if (failure_ != nullptr) std::rethrow_exception(failure_);
    if (status != XML_STATUS_OK) fail(XML_ErrorString(XML_GetErrorCode(parser_.get())));
    size = has_moved_ ? least_piece : std::min(2 * size, kMost);
  } while (!rest.empty());
  if (values_.size() != 1) fail("No object in <plist>");
  return values_.pop();
}

std::string_view XmlReader::raw_event() {
  raw_event_ = {};
  XML_DefaultCurrent(parser_.get());
  return raw_event_;
}

void XmlReader::other(const XML_Char* text, int length) {
  raw_event_ = {text, static_cast<std::size_t>(length)};
}

/// Expat's line number: since version 2.9 from the 64-bit call, which replaces the deprecated one.
template <typename Parser>
std::uint64_t line_number(Parser parser) {
  if constexpr (requires { XML_GetCurrentLineNumber64(parser); }) {
    return XML_GetCurrentLineNumber64(parser);
  } else {
    return XML_GetCurrentLineNumber(parser);
  }
}

/// Counts line feeds. Expat also counts carriage returns that are alone.
void XmlReader::fail(const std::string& why) const {
  std::size_t line = 1;
  std::size_t at = 0;
  for (std::uint64_t ends = line_number(parser_.get()); ends > 1; --ends) {
    at = source_.find_first_of("\r\n", at);
    if (at == std::string_view::npos) break;
    if (source_.substr(at).starts_with("\r\n")) ++at;
    if (source_[at++] == '\n') ++line;
  }
  throw PropertyListError(why + " at line " + std::to_string(line));
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

/// A key must be first in each pair of a dictionary, and is allowed nowhere else.
void XmlReader::check_place(Element element) const {
  if (containers_.empty() && values_.size() != 0) fail("More than one object in <plist>");
  const bool wants_key = !containers_.empty() && containers_.back().is_dictionary &&
                         (values_.size() - containers_.back().first) % 2 == 0;
  if (wants_key && element != Element::kKey) fail("Value without a <key> inside <dict>");
  if (!wants_key && element == Element::kKey) fail("<key> where a value belongs");
}

void XmlReader::end(const XML_Char* name) {
  if (leaf_) {
    // As the real library does, though it reads <data></data>.
    if (leaf_ == Element::kData && raw_event().empty()) fail("<data/> without data");
    Owned<CFTypeRef> value;
    if (leaf_ != Element::kData) {
      value = make_leaf(*leaf_, text_, keys_);
    } else if (data_.finish()) {
      value = data_.bytes.finish();
    }
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

void XmlReader::characters(const XML_Char* text, int length) {
  std::string_view piece(text, static_cast<std::size_t>(length));
  if (!leaf_) {
    if (!is_all_space(piece)) fail("Text between elements");
    return;
  }
  if (leaf_ == Element::kData) {
    if (!data_.feed(piece)) fail(kBadBase64);
    return;
  }
  // The writer writes line ends unchanged, but XML turns all of them into line feeds.
  if (piece == "\n") {
    if (raw_event().starts_with('\r')) piece = raw_event_;
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

/// As the real library does; with it go entities and defaults of attributes.
void XmlReader::start_document_type(const XML_Char* /*name*/, const XML_Char* /*system_id*/,
                                    const XML_Char* /*public_id*/, int has_subset) {
  if (has_subset != 0) fail("Document type with declarations");
}

/// If the document type names another file, which is never read, expat skips unknown entities.
void XmlReader::skip_entity(const XML_Char* name, int /*is_parameter_entity*/) {
  fail("Unknown entity &" + std::string(name) + ";");
}

}  // namespace

Owned<CFTypeRef> read_xml_with_expat(std::string_view text, const char* encoding,
                                     std::size_t piece) {
  return XmlReader(text, encoding).read(piece);
}

Owned<CFTypeRef> read_xml(std::string_view text, const char* encoding) {
  Owned<CFTypeRef> object = read_xml_directly(text);
  return object == nullptr ? read_xml_with_expat(text, encoding) : std::move(object);
}

}  // namespace cf
