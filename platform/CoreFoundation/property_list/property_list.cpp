#include "property_list.h"

#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFString.h>

#include <exception>
#include <new>
#include <string>

#include "../object.h"
#include "../utf8.h"
#include "utf16.h"

namespace cf {
namespace {

constexpr std::string_view kBinaryMagic = "bplist0";
constexpr std::size_t kBinaryHeaderSize = 8;
constexpr std::string_view kWideLessThan("<\0", 2);  // in UTF-16
constexpr std::string_view kUTF8ByteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view kUTF16BigEndianMark = "\xfe\xff";
constexpr std::string_view kUTF16LittleEndianMark = "\xff\xfe";
constexpr std::string_view kWhiteSpace = " \t\n\r";

/// Puts a new error of the property-list codes into `*error`, unless that is NULL.
void report(CFErrorRef* error, CFIndex code, std::string_view text) noexcept {
  if (error == nullptr) return;
  const CFTypeRef entry[] = {CFRetain(CFSTR("NSDebugDescription")), make_cfstring(text).release()};
  const Owned<CFDictionaryRef> user_info = make_dictionary(entry);
  *error = CFErrorCreate(kCFAllocatorDefault, CFSTR("NSCocoaErrorDomain"), code, user_info.get());
}

struct Result {
  Owned<CFTypeRef> object;
  CFPropertyListFormat format;
};

/// A text that begins with '<' can be XML or, as `<0fbd77>`, OpenStep text. If it is neither, the
/// XML reader's reason is reported. UTF-16 is read only after a byte order mark, as the real
/// library does, although expat would recognise it without one.
Result read_text(std::string_view text, const char* encoding) {
  const std::size_t start = text.find_first_not_of(kWhiteSpace);
  std::exception_ptr no_xml;
  if (start != std::string_view::npos && text[start] == '<' &&
      !text.substr(start).starts_with(kWideLessThan)) {
    try {
      return {read_xml(text.substr(start), encoding), kCFPropertyListXMLFormat_v1_0};
    } catch (const PropertyListError&) {
      no_xml = std::current_exception();
    }
  }
  try {
    if (!is_valid_utf8(text)) throw PropertyListError("Conversion of string failed.");
    return {read_openstep(text), kCFPropertyListOpenStepFormat};
  } catch (const PropertyListError&) {
    if (no_xml != nullptr) std::rethrow_exception(no_xml);
    throw;
  }
}

Result read_utf16(std::string_view bytes, ByteOrder order) {
  std::string text(utf8_size(bytes, order), '\0');
  if (!write_utf8(bytes, order, text.data()))
    throw PropertyListError("Conversion of string failed.");
  return read_text(text, "UTF-8");
}

Result read(std::string_view bytes) {
  if (bytes.empty()) throw PropertyListError("Cannot parse a NULL or zero-length data");
  if (bytes.starts_with(kBinaryMagic) && bytes.size() > kBinaryHeaderSize)
    return {read_binary(bytes), kCFPropertyListBinaryFormat_v1_0};
  if (bytes.starts_with(kUTF16BigEndianMark))
    return read_utf16(bytes.substr(kUTF16BigEndianMark.size()), ByteOrder::kBigEndian);
  if (bytes.starts_with(kUTF16LittleEndianMark))
    return read_utf16(bytes.substr(kUTF16LittleEndianMark.size()), ByteOrder::kLittleEndian);
  if (bytes.starts_with(kUTF8ByteOrderMark)) bytes.remove_prefix(kUTF8ByteOrderMark.size());
  return read_text(bytes, /*encoding=*/nullptr);
}

}  // namespace
}  // namespace cf

CFDataRef CFPropertyListCreateData(CFAllocatorRef /*allocator*/, CFPropertyListRef property_list,
                                   CFPropertyListFormat format, CFOptionFlags /*options*/,
                                   CFErrorRef* error) {
  try {
    if (format != kCFPropertyListXMLFormat_v1_0)
      throw cf::PropertyListError("Property lists are only written in XML format");
    return cf::write_xml(property_list).release();
  } catch (const std::bad_alloc&) {
    cf::fatal("no memory to write a property list");  // its caller would lose a message
  } catch (const std::exception& e) {
    cf::report(error, kCFPropertyListWriteStreamError, e.what());
    return nullptr;
  }
}

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef /*allocator*/, CFDataRef data,
                                               CFOptionFlags /*options*/,
                                               CFPropertyListFormat* format, CFErrorRef* error) {
  try {
    const std::string_view bytes =
        data == nullptr ? std::string_view()
                        : std::string_view(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                                           static_cast<std::size_t>(CFDataGetLength(data)));
    cf::Result result = cf::read(bytes);
    if (format != nullptr) *format = result.format;
    return result.object.release();
  } catch (const std::bad_alloc&) {
    cf::report(error, kCFPropertyListReadCorruptError, "no memory");
    return nullptr;
  } catch (const std::exception& e) {
    cf::report(error, kCFPropertyListReadCorruptError, e.what());
    return nullptr;
  }
}
