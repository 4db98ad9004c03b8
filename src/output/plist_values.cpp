#include "output/plist_values.h"

#include <stdexcept>

namespace korvrestore {
namespace {

cf_object sanitized(const void* object, on_error policy);

bool is_kept_as_it_is(CFTypeID type) {
  return type == CFStringGetTypeID() || type == CFNumberGetTypeID() ||
         type == CFBooleanGetTypeID() || type == CFDateGetTypeID() || type == CFDataGetTypeID();
}

cf_object sanitized_array(CFArrayRef array, on_error policy) {
  const CFMutableArrayRef copy =
      CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
  cf_object result = not_null<cf_object>(copy);
  const CFIndex count = CFArrayGetCount(array);
  for (CFIndex i = 0; i < count; ++i) {
    const cf_object element = sanitized(CFArrayGetValueAtIndex(array, i), policy);
    if (element) {
      CFArrayAppendValue(copy, element.get());
    } else if (policy != on_error::skip) {
      return nullptr;
    }
  }
  return result;
}

struct dictionary_copy {
  CFMutableDictionaryRef copy;
  on_error policy;
  bool failed;
};

void copy_sanitized_entry(const void* key, const void* value, void* context) {
  dictionary_copy& state = *static_cast<dictionary_copy*>(context);
  if (state.failed) return;
  const bool key_is_string = key != nullptr && CFGetTypeID(key) == CFStringGetTypeID();
  const cf_object kept = key_is_string ? sanitized(value, state.policy) : nullptr;
  if (kept) {
    CFDictionarySetValue(state.copy, key, kept.get());
  } else if (state.policy != on_error::skip) {
    state.failed = true;
  }
}

cf_object sanitized_dictionary(CFDictionaryRef dictionary, on_error policy) {
  dictionary_copy state{
      CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                &kCFTypeDictionaryValueCallBacks),
      policy, false};
  cf_object result = not_null<cf_object>(state.copy);
  CFDictionaryApplyFunction(dictionary, copy_sanitized_entry, &state);
  return state.failed ? nullptr : std::move(result);
}

cf_object sanitized(const void* object, on_error policy) {
  if (object == nullptr) return nullptr;
  const CFTypeID type = CFGetTypeID(object);
  if (is_kept_as_it_is(type)) return cf_object(CFRetain(object));
  if (type == CFArrayGetTypeID()) return sanitized_array(static_cast<CFArrayRef>(object), policy);
  if (type == CFDictionaryGetTypeID())
    return sanitized_dictionary(static_cast<CFDictionaryRef>(object), policy);
  if (type == CFErrorGetTypeID())
    return DictionaryFromError(static_cast<CFErrorRef>(const_cast<void*>(object)));
  return nullptr;
}

}  // namespace

cf_object sanitize_for_xml(const void* object, on_error policy) {
  cf_object copy = sanitized(object, policy);
  if (!copy && policy == on_error::fail) throw std::runtime_error("Could not convert to xml plist");
  return copy;
}

void set_unless_null(CFMutableDictionaryRef dictionary, CFStringRef key, const void* value) {
  if (value != nullptr) CFDictionarySetValue(dictionary, key, value);
}

cf_mutable_dictionary DictionaryFromError(CFErrorRef error) {
  if (error == nullptr) return nullptr;
  cf_mutable_dictionary dictionary(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  if (!dictionary) return nullptr;

  set_unless_null(dictionary.get(), CFSTR("Domain"), CFErrorGetDomain(error));
  const CFIndex code = CFErrorGetCode(error);
  const cf_object number(CFNumberCreate(kCFAllocatorDefault, kCFNumberCFIndexType, &code));
  set_unless_null(dictionary.get(), CFSTR("Code"), number.get());
  const cf_string description(CFErrorCopyDescription(error));
  set_unless_null(dictionary.get(), CFSTR("Description"), description.get());
  const cf_string reason(CFErrorCopyFailureReason(error));
  set_unless_null(dictionary.get(), CFSTR("FailureReason"), reason.get());
  return dictionary;
}

}  // namespace korvrestore
