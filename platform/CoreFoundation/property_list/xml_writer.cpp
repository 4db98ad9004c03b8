#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>

#include "../utf8.h"
#include "base64.h"
#include "data_buffer.h"
#include "date_text.h"
#include "property_list.h"

namespace cf {
namespace {

constexpr std::string_view kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kFooter = "</plist>\n";
constexpr std::string_view kReplacementCharacter = "\xef\xbf\xbd";

/// Bytes that may need another form: markup, control characters (most of which XML can't contain),
/// and the lead byte of U+FFFE and U+FFFF, which XML can't contain either.
bool is_special(char c) {
  const unsigned char byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == '&' || byte == '<' || byte == '>' || byte == 0xef;
}

template <typename Word>
std::uint64_t load(const char* bytes) {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

/// Whether one of the word's eight bytes is special; tests all of them at once.
inline bool any_special(std::uint64_t word) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kOnes;
  const auto any_zero = [](std::uint64_t bytes) { return (bytes - kOnes) & ~bytes; };
  static_assert(('<' | 2) == '>');
  return ((((word - 0x20 * kOnes) & ~word) | any_zero(word ^ '&' * kOnes) |
           any_zero((word | 2 * kOnes) ^ '>' * kOnes) | any_zero(word ^ 0xef * kOnes)) &
          kHighBits) != 0;
}

/// Most texts have no special byte. The last words overlap the ones before.
bool any_special(std::string_view text) {
  const char* const begin = text.data();
  const std::size_t size = text.size();
  if (size >= 8) {
    for (std::size_t at = 0; at + 8 < size; at += 8)
      if (any_special(load<std::uint64_t>(begin + at))) return true;
    return any_special(load<std::uint64_t>(begin + size - 8));
  }
  if (size >= 4)
    return any_special(load<std::uint32_t>(begin) | load<std::uint32_t>(begin + size - 4) << 32);
  return std::any_of(text.begin(), text.end(), is_special);
}

[[noreturn]] void fail(const std::string& why) {
  throw PropertyListError("Property list invalid for format: 100 (" + why + ")");
}

std::string type_name(CFTypeRef cf) {
  const Owned<CFStringRef> name(CFCopyTypeIDDescription(CFGetTypeID(cf)));
  return name ? std::string(utf8(name.get())) : std::string();
}

/// Writes without recursion: containers can be nested deeper than a thread's stack.
class XmlWriter {
 public:
  Owned<CFDataRef> write(CFTypeRef root) {
    out_.reserve(900);
    open_.reserve(8);
    entries_.reserve(32);
    out_.append(kHeader);
    write_value(root);
    while (!open_.empty()) write_next();
    out_.append(kFooter);
    return out_.finish();
  }

 private:
  struct Entry {
    std::string_view key;
    CFTypeRef value;
  };

  /// A container whose closing tag must still be written. A dictionary's entries, sorted, are
  /// those in `entries_` from `first` up.
  struct Container {
    CFTypeRef object;
    bool is_dictionary;
    std::size_t first;
    std::size_t count;
    std::size_t next;
  };

  void write_next() {
    Container& container = open_.back();
    if (container.next == container.count) {
      close();
      return;
    }
    const std::size_t i = container.next++;
    if (container.is_dictionary) {
      const Entry entry = entries_[container.first + i];
      write_element("<key>", entry.key, "</key>\n");
      write_value(entry.value);
    } else {
      write_value(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(container.object),
                                         static_cast<CFIndex>(i)));
    }
  }

  void write_value(CFTypeRef value) {
    if (value == nullptr) fail("property lists cannot contain NULL");
    switch (CFGetTypeID(value)) {
      case kString:
        write_element("<string>", utf8(static_cast<CFStringRef>(value)), "</string>\n");
        break;
      case kNumber:
        write_number(static_cast<CFNumberRef>(value));
        break;
      case kBoolean:
        write_line(CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? "<true/>\n"
                                                                       : "<false/>\n");
        break;
      case kDate:
        write_element("<date>", date_text(CFDateGetAbsoluteTime(static_cast<CFDateRef>(value))),
                      "</date>\n");
        break;
      case kData:
        write_data(static_cast<CFDataRef>(value));
        break;
      case kArray:
        open_array(static_cast<CFArrayRef>(value));
        break;
      case kDictionary:
        open_dictionary(static_cast<CFDictionaryRef>(value));
        break;
      default:
        fail("property lists cannot contain objects of type '" + type_name(value) + "'");
    }
  }

  void write_number(CFNumberRef number) {
    std::array<char, 32> buffer;
    const std::string_view text = number_text(number, buffer);
    if (CFNumberIsFloatType(number)) {
      write_element("<real>", text, "</real>\n");
    } else {
      write_element("<integer>", text, "</integer>\n");
    }
  }

  void open_array(CFArrayRef array) {
    const std::size_t count = static_cast<std::size_t>(CFArrayGetCount(array));
    if (count == 0) {
      write_line("<array/>\n");
      return;
    }
    write_line("<array>\n");
    open({array, /*is_dictionary=*/false, entries_.size(), count, 0});
  }

  void open_dictionary(CFDictionaryRef dictionary) {
    const std::size_t count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    if (count == 0) {
      write_line("<dict/>\n");
      return;
    }
    write_line("<dict>\n");
    open({dictionary, /*is_dictionary=*/true, entries_.size(), count, 0});
    entries_.reserve(entries_.size() + count);
    bad_key_ = nullptr;
    CFDictionaryApplyFunction(dictionary, collect_entry, this);
    if (bad_key_ != nullptr) {
      fail("property list dictionaries may only have keys which are CFStrings, not '" +
           type_name(bad_key_) + "'");
    }
    std::sort(entries_.end() - static_cast<std::ptrdiff_t>(count), entries_.end(),
              [](const Entry& a, const Entry& b) { return compare_utf16(a.key, b.key) < 0; });
  }

  static void collect_entry(const void* key, const void* value, void* context) {
    XmlWriter& writer = *static_cast<XmlWriter*>(context);
    if (key == nullptr || CFGetTypeID(key) != kString) {
      writer.bad_key_ = key == nullptr ? kCFNull : key;
      return;
    }
    writer.entries_.push_back({utf8(static_cast<CFStringRef>(key)), value});
  }

  /// A container that contains itself makes the nesting endless, so checking only below a certain
  /// depth detects it too. The usual shallow list needs no search.
  void open(const Container& container) {
    constexpr std::size_t kShallow = 64;
    if (open_.size() >= kShallow && !deep_.insert(container.object).second)
      fail("property lists cannot contain recursive container references");
    open_.push_back(container);
  }

  void close() {
    const Container container = open_.back();
    open_.pop_back();
    if (!deep_.empty()) deep_.erase(container.object);
    entries_.resize(container.first);
    write_line(container.is_dictionary ? "</dict>\n" : "</array>\n");
  }

  void write_line(std::string_view line) {
    out_.append(open_.size(), '\t');
    out_.append(line);
  }

  /// A line with tags around a text.
  template <std::size_t kOpening, std::size_t kClosing>
  void write_element(const char (&opening)[kOpening], std::string_view text,
                     const char (&closing)[kClosing]) {
    constexpr std::string_view kTabs = "\t\t\t\t\t\t\t\t";
    if (open_.size() > kTabs.size() || any_special(text)) {
      write_line(opening);
      write_escaped(text);
      out_.append(closing);
      return;
    }
    // A copy of eight tabs, a fixed size, is faster than a copy of the exact number. The tags are
    // longer than eight bytes, so they overwrite the excess tabs.
    static_assert(kOpening + kClosing - 2 >= kTabs.size());
    const std::size_t tabs = open_.size();
    char* out = out_.extend(tabs + kOpening - 1 + text.size() + kClosing - 1);
    std::memcpy(out, kTabs.data(), kTabs.size());
    std::memcpy(out += tabs, opening, kOpening - 1);
    std::memcpy(out += kOpening - 1, text.data(), text.size());
    std::memcpy(out + text.size(), closing, kClosing - 1);
  }

  void write_escaped(std::string_view text) {
    const char* const end = text.data() + text.size();
    for (const char* next = text.data(); next != end;) {
      const char* const special = std::find_if(next, end, is_special);
      out_.append({next, special});
      next = special == end ? end : write_special(special);
    }
  }

  /// Writes the character that begins with a special byte. Returns where the next one begins.
  const char* write_special(const char* text) {
    switch (*text) {
      case '&':
        out_.append("&amp;");
        return text + 1;
      case '<':
        out_.append("&lt;");
        return text + 1;
      case '>':
        out_.append("&gt;");
        return text + 1;
      case '\t':
      case '\n':
      case '\r':
        out_.append({text, 1});
        return text + 1;
      case '\xef': {
        const std::string_view character(text, 3);
        const bool is_forbidden = character == "\xef\xbf\xbe" || character == "\xef\xbf\xbf";
        out_.append(is_forbidden ? kReplacementCharacter : character);
        return text + 3;
      }
      default:
        out_.append(kReplacementCharacter);
        return text + 1;
    }
  }

  void write_data(CFDataRef data) {
    // Lines break as in the real library: at 76 columns, the maximum of MIME (RFC 2045), where a
    // tab has 8 columns. There are at most 8 tabs, because more would leave almost no room.
    constexpr std::size_t kColumns = 76;
    constexpr std::size_t kTabWidth = 8;
    constexpr std::size_t kMaxTabs = 8;
    const std::size_t tabs = std::min(open_.size(), kMaxTabs);
    const std::size_t bytes_per_line = (kColumns - kTabWidth * tabs) / 4 * 3;
    std::span<const unsigned char> bytes(CFDataGetBytePtr(data),
                                         static_cast<std::size_t>(CFDataGetLength(data)));
    write_line("<data>\n");
    while (!bytes.empty()) {
      const std::span<const unsigned char> line =
          bytes.first(std::min(bytes.size(), bytes_per_line));
      out_.append(tabs, '\t');
      encode_base64(line, out_.extend(base64_length(line.size())));
      out_.append("\n");
      bytes = bytes.subspan(line.size());
    }
    write_line("</data>\n");
  }

  DataBuffer out_;
  std::vector<Container> open_;
  std::vector<Entry> entries_;
  std::unordered_set<CFTypeRef> deep_;
  CFTypeRef bad_key_ = nullptr;
};

}  // namespace

Owned<CFDataRef> write_xml(CFTypeRef property_list) { return XmlWriter().write(property_list); }

}  // namespace cf
