#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>

#include <algorithm>
#include <array>
#include <new>
#include <string>
#include <unordered_set>
#include <vector>

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

/// Bytes that need a look before they are copied: markup, what XML can't hold, and the lead byte
/// of U+FFFE and U+FFFF, which it can't hold either.
constexpr std::array<bool, 256> make_special_bytes() {
  std::array<bool, 256> special{};
  for (std::size_t byte = 0; byte < 0x20; ++byte) {
    special[byte] = byte != '\t' && byte != '\n' && byte != '\r';
  }
  special['&'] = special['<'] = special['>'] = special[0xef] = true;
  return special;
}

constexpr std::array<bool, 256> kIsSpecial = make_special_bytes();

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
    out_.reserve(1024);
    out_.append(kHeader);
    write_value(root);
    while (!open_.empty()) {
      write_next();
    }
    out_.append(kFooter);
    return out_.finish();
  }

 private:
  struct Entry {
    std::string_view key;
    CFTypeRef value;
  };

  /// A container whose closing tag is still to be written. A dictionary's entries, sorted, are
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
      indent();
      write_element("key", entry.key);
      write_value(entry.value);
    } else {
      write_value(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(container.object),
                                         static_cast<CFIndex>(i)));
    }
  }

  void write_value(CFTypeRef value) {
    if (value == nullptr) fail("property lists cannot contain NULL");
    indent();
    switch (CFGetTypeID(value)) {
      case kString:
        write_element("string", utf8(static_cast<CFStringRef>(value)));
        break;
      case kNumber: {
        std::array<char, 32> buffer;
        const CFNumberRef number = static_cast<CFNumberRef>(value);
        write_plain(CFNumberIsFloatType(number) ? "real" : "integer", number_text(number, buffer));
        break;
      }
      case kBoolean:
        out_.append(CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? "<true/>\n"
                                                                        : "<false/>\n");
        break;
      case kDate:
        write_plain("date", date_text(CFDateGetAbsoluteTime(static_cast<CFDateRef>(value))));
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

  void open_array(CFArrayRef array) {
    const std::size_t count = static_cast<std::size_t>(CFArrayGetCount(array));
    if (count == 0) {
      out_.append("<array/>\n");
      return;
    }
    out_.append("<array>\n");
    open({array, /*is_dictionary=*/false, entries_.size(), count, 0});
  }

  void open_dictionary(CFDictionaryRef dictionary) {
    const std::size_t count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    if (count == 0) {
      out_.append("<dict/>\n");
      return;
    }
    out_.append("<dict>\n");
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

  /// A container that holds itself is found once the way down to it is long: whoever is on it
  /// twice is on it at any depth, and the usual shallow list needs no look-up.
  void open(const Container& container) {
    constexpr std::size_t kShallow = 64;
    if (open_.size() >= kShallow && !deep_.insert(container.object).second) {
      fail("property lists cannot contain recursive container references");
    }
    open_.push_back(container);
  }

  void close() {
    const Container container = open_.back();
    open_.pop_back();
    deep_.erase(container.object);
    entries_.resize(container.first);
    indent();
    out_.append(container.is_dictionary ? "</dict>\n" : "</array>\n");
  }

  void indent() { out_.append(open_.size(), '\t'); }

  /// `<name>text</name>`, the text free of markup.
  void write_plain(std::string_view name, std::string_view text) {
    out_.append("<");
    out_.append(name);
    out_.append(">");
    out_.append(text);
    write_end(name);
  }

  void write_end(std::string_view name) {
    out_.append("</");
    out_.append(name);
    out_.append(">\n");
  }

  void write_element(std::string_view name, std::string_view text) {
    out_.append("<");
    out_.append(name);
    out_.append(">");
    write_escaped(text);
    write_end(name);
  }

  void write_escaped(std::string_view text) {
    const char* const end = text.data() + text.size();
    const char* written = text.data();
    for (const char* next = written; next != end;) {
      const unsigned char byte = static_cast<unsigned char>(*next);
      if (!kIsSpecial[byte]) {
        ++next;
        continue;
      }
      out_.append({written, next});
      std::size_t length = 1;
      if (byte == '&') {
        out_.append("&amp;");
      } else if (byte == '<') {
        out_.append("&lt;");
      } else if (byte == '>') {
        out_.append("&gt;");
      } else if (byte < 0x20) {
        out_.append(kReplacementCharacter);
      } else {
        length = 3;
        const std::string_view character(next, length);
        const bool is_forbidden = character == "\xef\xbf\xbe" || character == "\xef\xbf\xbf";
        out_.append(is_forbidden ? kReplacementCharacter : character);
      }
      next += length;
      written = next;
    }
    out_.append({written, end});
  }

  void write_data(CFDataRef data) {
    constexpr std::size_t kMaxTabs = 8;
    const std::size_t tabs = std::min(open_.size(), kMaxTabs);
    const std::size_t bytes_per_line = (76 - 8 * tabs) / 4 * 3;
    std::span<const unsigned char> bytes(CFDataGetBytePtr(data),
                                         static_cast<std::size_t>(CFDataGetLength(data)));
    out_.append("<data>\n");
    while (!bytes.empty()) {
      const std::span<const unsigned char> line =
          bytes.first(std::min(bytes.size(), bytes_per_line));
      out_.append(tabs, '\t');
      encode_base64(line, out_.extend(base64_length(line.size())));
      out_.append("\n");
      bytes = bytes.subspan(line.size());
    }
    indent();
    out_.append("</data>\n");
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
