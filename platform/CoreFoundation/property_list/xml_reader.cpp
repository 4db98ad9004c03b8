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

#include "../string_object.h"
#include "base64.h"
#include "date_text.h"
#include "long_run.h"
#include "number_parse.h"
#include "property_list.h"
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

constexpr const char* kBadBase64 = "Bad base64 text in <data>";

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

constexpr std::array<bool, 256> make_plain_characters() {
  std::array<bool, 256> plain{};
  std::fill(plain.begin() + ' ', plain.begin() + 0x80, true);
  for (const char c : {'\t', '\n', '\r'}) plain[static_cast<unsigned char>(c)] = true;
  for (const char c : {'&', '<', '>', ']'}) plain[static_cast<unsigned char>(c)] = false;
  return plain;
}

/// What stands for itself in every encoding that expat reads byte by byte, and is no part of markup
/// or of the "]]>" that no text may hold.
constexpr std::array<bool, 256> kPlain = make_plain_characters();

bool is_plain(char c) { return kPlain[static_cast<unsigned char>(c)]; }

/// The start of `text` up to the first character of which `holds` is false.
template <typename Predicate>
std::string_view prefix(std::string_view text, const Predicate& holds) {
  const auto end = std::find_if_not(text.begin(), text.end(), holds);
  return text.substr(0, static_cast<std::size_t>(end - text.begin()));
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
  void start_document_type(const XML_Char*, const XML_Char*, const XML_Char*, int has_subset);
  void skip_entity(const XML_Char* name, int is_parameter_entity);

  void parse(std::string_view piece, bool is_last);
  std::size_t take_run(std::string_view run);
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
  std::size_t tag_ = 0;      // where in source_ the last tag stands that expat reported
  bool in_plist_ = false;
  std::vector<Container> containers_;
  ValueStack values_;
  std::optional<Element> leaf_;
  // The text of the open leaf, but for <data>, stands either in the one or in the other.
  std::string text_;
  std::string_view plain_text_;  // in source_
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
  XML_SetStartDoctypeDeclHandler(parser, handle<&XmlReader::start_document_type>);
  XML_SetSkippedEntityHandler(parser, handle<&XmlReader::skip_entity>);
}

/// Expat hands text over line by line, which makes it slow on long ones. So these go past it: the
/// source is fed in pieces that end with the tag before a long run of other bytes. When expat finds
/// no tag there (in a comment, say), the rest is fed at once, or a comment full of them would be
/// read as often as it has tags.
Owned<CFTypeRef> XmlReader::read() {
  bool look_for_runs = true;
  for (std::size_t fed = 0; fed < source_.size();) {
    const std::optional<LongRun> run =
        look_for_runs ? find_long_run(source_, fed) : std::optional<LongRun>();
    const std::size_t end = run ? run->begin : source_.size();
    parse(source_.substr(fed, end - fed), /*is_last=*/false);
    fed = end;
    look_for_runs = run && tag_ == run->tag;
    if (look_for_runs) {
      const std::size_t taken = take_run(source_.substr(run->begin, run->end - run->begin));
      skipped_ += taken;
      fed += taken;
    }
  }
  parse({}, /*is_last=*/true);
  if (values_.size() != 1) fail("No object in <plist>");
  return values_.pop();
}

/// Where a token, such as a comment, doesn't end in a piece, expat begins it anew with the next
/// one: so that is twice as large each time.
void XmlReader::parse(std::string_view text, bool is_last) {
  constexpr std::size_t kLeast = std::size_t{64} * 1024;  // expat copies what it is given
  constexpr std::size_t kMost = std::size_t{1} << 30;
  std::size_t size = kLeast;
  do {
    const std::string_view piece = text.substr(0, size);
    text.remove_prefix(piece.size());
    const XML_Index before = XML_GetCurrentByteIndex(parser_.get());
    const XML_Status status = XML_Parse(parser_.get(), piece.data(), static_cast<int>(piece.size()),
                                        is_last && text.empty());
    if (failure_ != nullptr) std::rethrow_exception(failure_);
    if (status != XML_STATUS_OK) fail(XML_ErrorString(XML_GetErrorCode(parser_.get())));
    const bool has_moved = XML_GetCurrentByteIndex(parser_.get()) != before;
    size = has_moved ? kLeast : std::min(2 * size, kMost);
  } while (!text.empty());
}

/// Takes from the start of what stands between the last tag and the next one as much as needs no
/// expat; returns how many bytes that was.
std::size_t XmlReader::take_run(std::string_view run) {
  if (!leaf_) return prefix(run, is_space).size();
  if (leaf_ == Element::kString) {
    plain_text_ = prefix(run, is_plain);
    return plain_text_.size();
  }
  if (leaf_ == Element::kData) {
    const std::string_view text = run.substr(0, run.find('&'));
    if (!data_.feed(text)) fail(kBadBase64);
    return text.size();
  }
  return 0;
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
  tag_ = position();
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
  // Behind a start tag that ends its element too, expat reports an end without a length.
  const bool has_end_tag = XML_GetCurrentByteCount(parser_.get()) != 0;
  if (has_end_tag) tag_ = position();
  if (leaf_) {
    // As the real library does, though it reads <data></data>.
    if (leaf_ == Element::kData && !has_end_tag) fail("<data/> without data");
    Owned<CFTypeRef> value = make_leaf(*leaf_);
    if (value == nullptr) fail("Could not interpret <" + std::string(name) + ">");
    values_.push(std::move(value));
    leaf_.reset();
    text_.clear();
    plain_text_ = {};
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
      return make_cfstring(plain_text_.empty() ? text_ : plain_text_);
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
  if (recent == nullptr || utf8(recent.get()) != text_) recent = make_cfstring(text_);
  return Owned<CFTypeRef>(recent == nullptr ? nullptr : CFRetain(recent.get()));
}

void XmlReader::characters(const XML_Char* text, int length) {
  std::string_view piece(text, static_cast<std::size_t>(length));
  if (!leaf_) {
    if (prefix(piece, is_space) != piece) fail("Text between elements");
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
  text_.append(std::exchange(plain_text_, {})).append(piece);
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

/// With a document type elsewhere, which is never read, expat skips entities it doesn't know.
void XmlReader::skip_entity(const XML_Char* name, int /*is_parameter_entity*/) {
  fail("Unknown entity &" + std::string(name) + ";");
}

}  // namespace

Owned<CFTypeRef> read_xml(std::string_view text, const char* encoding) {
  return XmlReader(text, encoding).read();
}

}  // namespace cf
