/// Creates CoreFoundation values from C++ values, and reads and retains them.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "../cf_owned.h"

namespace MobileDevice {

using cf::Owned;

/// Retains `cf`.
template <typename Ref>
Owned<Ref> retained(Ref cf) {
  if (cf != nullptr) CFRetain(cf);
  return Owned<Ref>(cf);
}

/// `value` as a `Ref` if it is of the type `id`, else NULL; borrowed either way.
template <typename Ref>
Ref cast(CFTypeRef value, CFTypeID id) {
  return value != nullptr && CFGetTypeID(value) == id ? static_cast<Ref>(const_cast<void*>(value))
                                                      : nullptr;
}

/// In a text that isn't UTF-8 (such as a path) question marks replace the bytes beyond ASCII.
/// @throws std::bad_alloc
Owned<CFStringRef> make_cfstring(std::string_view text);
Owned<CFNumberRef> make_number(std::int64_t value);
Owned<CFErrorRef> make_error(std::string_view domain, CFIndex code, std::string_view description);

/// As UTF-8, including any U+0000; empty if it can't be converted.
std::string to_text(CFStringRef string);

}  // namespace MobileDevice
