#include "cf_values.h"

#include <algorithm>
#include <new>

namespace MobileDevice {
namespace {

CFStringRef create_string(std::string_view text) {
  return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                 static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8,
                                 /*is_external_representation=*/false);
}

template <typename Ref>
Owned<Ref> checked(Ref cf) {
  if (cf == nullptr) throw std::bad_alloc();
  return Owned<Ref>(cf);
}

}  // namespace

Owned<CFStringRef> make_cfstring(std::string_view text) {
  if (CFStringRef string = create_string(text)) return Owned<CFStringRef>(string);
  std::string ascii(text);
  std::replace_if(
      ascii.begin(), ascii.end(), [](unsigned char byte) { return byte >= 0x80; }, '?');
  return checked(create_string(ascii));
}

Owned<CFNumberRef> make_number(std::int64_t value) {
  return checked(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

Owned<CFErrorRef> make_error(std::string_view domain, CFIndex code, std::string_view description) {
  const Owned<CFStringRef> text = make_cfstring(description);
  const void* key = kCFErrorLocalizedDescriptionKey;
  const void* value = text.get();
  const Owned<CFDictionaryRef> info =
      checked(CFDictionaryCreate(kCFAllocatorDefault, &key, &value, 1,
                                 &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  return checked(CFErrorCreate(kCFAllocatorDefault, make_cfstring(domain).get(), code, info.get()));
}

std::string to_text(CFStringRef string) {
  const CFIndex size =
      CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  // Not a byte of UTF-8: it marks the end, since the text may contain NULs.
  constexpr char kUnused = '\xFF';
  std::string text(static_cast<std::size_t>(size), kUnused);
  if (!CFStringGetCString(string, text.data(), size, kCFStringEncodingUTF8)) return {};
  text.resize(std::min(text.find(kUnused), text.size()) - 1);
  return text;
}

}  // namespace MobileDevice
