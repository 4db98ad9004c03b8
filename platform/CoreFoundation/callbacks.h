/// The operations of containers on their elements.
#pragma once

#include <string>

#include "object.h"

namespace cf {

/// The function pointers of one public callbacks structure; NULL ones mean plain pointers.
struct ElementCallBacks {
  const void* (*retain)(CFAllocatorRef allocator, const void* element);
  void (*release)(CFAllocatorRef allocator, const void* element);
  CFStringRef (*copy_description)(const void* element);
  Boolean (*equal)(const void* a, const void* b);
  CFHashCode (*hash_code)(const void* element);

  const void* take(const void* element) const {
    return retain == nullptr ? element : retain(kCFAllocatorSystemDefault, element);
  }
  void drop(const void* element) const {
    if (release != nullptr) release(kCFAllocatorSystemDefault, element);
  }
  bool same(const void* a, const void* b) const {
    return a == b || (equal != nullptr && equal(a, b));
  }
  std::uint64_t hash(const void* element) const {
    return hash_code == nullptr ? reinterpret_cast<std::uintptr_t>(element) : hash_code(element);
  }
  /// The element's description, "<0x...>" for a plain pointer.
  void describe(const void* element, std::string& text) const;

  bool operator==(const ElementCallBacks&) const = default;
};

/// Arrays use only the part for values, sets only the part for keys.
struct CallBacks {
  ElementCallBacks keys;
  ElementCallBacks values;

  bool operator==(const CallBacks&) const = default;
};

/// CF objects as keys and values.
extern const CallBacks kObjectCallBacks;

/// An immortal structure equal to `callbacks`, so that a container has one pointer instead of a
/// copy. Thread-safe.
const CallBacks* interned(const CallBacks& callbacks) noexcept;

}  // namespace cf
