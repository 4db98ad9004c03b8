#include <CoreFoundation/CFError.h>

#include "string_object.h"

struct __CFError {
  CFRuntimeBase base;
  CFStringRef domain;
  CFIndex code;
  CFDictionaryRef user_info;
};

namespace {

constinit cf::ConstantString description_key("NSLocalizedDescription");
constinit cf::ConstantString failure_reason_key("NSLocalizedFailureReason");
constinit cf::ConstantString debug_description_key("NSDebugDescription");

const __CFError& to_error(CFTypeRef cf) noexcept { return *static_cast<const __CFError*>(cf); }

/// The string under `key` of the user info; borrowed, NULL if there is none.
CFStringRef text_under(const __CFError& error, CFStringRef key) noexcept {
  const CFTypeRef text = CFDictionaryGetValue(error.user_info, key);
  const bool is_string = text != nullptr && CFGetTypeID(text) == cf::kString;
  return is_string ? static_cast<CFStringRef>(text) : nullptr;
}

std::string generic_description(const __CFError& error) {
  std::string sentence = "The operation couldn\u2019t be completed. ";
  if (const CFStringRef reason = text_under(error, &failure_reason_key.header))
    return sentence.append(cf::utf8(reason));
  sentence.append("(").append(cf::utf8(error.domain)).append(" error ");
  return sentence.append(std::to_string(error.code)).append(".)");
}

void append_pair(const void* key, const void* value, void* context) {
  std::string& text = *static_cast<std::string*>(context);
  const auto append = [&text](CFTypeRef cf) {
    const cf::Owned<CFStringRef> shown(cf::copy_text(cf));
    if (shown != nullptr) text.append(cf::utf8(shown.get()));
  };
  if (!text.empty()) text += ", ";
  append(key);
  text += '=';
  append(value);
}

void finalize(CFTypeRef cf) noexcept {
  CFRelease(to_error(cf).domain);
  CFRelease(to_error(cf).user_info);
}

Boolean equal(CFTypeRef cf1, CFTypeRef cf2) noexcept {
  const __CFError& a = to_error(cf1);
  const __CFError& b = to_error(cf2);
  return a.code == b.code && CFEqual(a.domain, b.domain) && CFEqual(a.user_info, b.user_info);
}

CFHashCode hash(CFTypeRef cf) noexcept {
  return CFHash(to_error(cf).domain) + static_cast<CFHashCode>(to_error(cf).code);
}

CFStringRef copy_description(CFTypeRef cf) noexcept {
  const __CFError& error = to_error(cf);
  CFStringRef shown = text_under(error, &description_key.header);
  if (shown == nullptr) shown = text_under(error, &debug_description_key.header);
  std::string text = "Error Domain=";
  text.append(cf::utf8(error.domain)).append(" Code=").append(std::to_string(error.code));
  text.append(" \"");
  text.append(shown == nullptr ? generic_description(error) : std::string(cf::utf8(shown)));
  text.append("\"");
  if (CFDictionaryGetCount(error.user_info) != 0) {
    std::string pairs;
    CFDictionaryApplyFunction(error.user_info, append_pair, &pairs);
    text.append(" UserInfo={").append(pairs).append("}");
  }
  return cf::make_cfstring(text).release();
}

}  // namespace

constinit const CFRuntimeClass cf::kErrorClass = {
    .className = "CFError",
    .finalize = finalize,
    .equal = equal,
    .hash = hash,
    .copyDebugDesc = copy_description,
};

constinit const CFStringRef kCFErrorLocalizedDescriptionKey = &description_key.header;
constinit const CFStringRef kCFErrorLocalizedFailureReasonKey = &failure_reason_key.header;

CFTypeID CFErrorGetTypeID(void) { return cf::kError; }

CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                         CFDictionaryRef user_info) {
  cf::Owned<CFDictionaryRef> info =
      user_info == nullptr ? cf::make_dictionary({}) : cf::make_immutable(user_info);
  if (info == nullptr) return nullptr;
  __CFError* const error = cf::create<__CFError>(allocator, cf::kError);
  if (error == nullptr) return nullptr;
  error->domain = static_cast<CFStringRef>(CFRetain(domain));
  error->code = code;
  error->user_info = info.release();
  return error;
}

CFErrorDomain CFErrorGetDomain(CFErrorRef error) { return error->domain; }

CFIndex CFErrorGetCode(CFErrorRef error) { return error->code; }

CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef error) {
  return static_cast<CFDictionaryRef>(CFRetain(error->user_info));
}

CFStringRef CFErrorCopyDescription(CFErrorRef error) {
  if (const CFStringRef text = text_under(*error, kCFErrorLocalizedDescriptionKey))
    return static_cast<CFStringRef>(CFRetain(text));
  return cf::make_cfstring(generic_description(*error)).release();
}

CFStringRef CFErrorCopyFailureReason(CFErrorRef error) {
  const CFStringRef text = text_under(*error, kCFErrorLocalizedFailureReasonKey);
  return text == nullptr ? nullptr : static_cast<CFStringRef>(CFRetain(text));
}
