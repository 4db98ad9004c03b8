#include "callbacks.h"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFSet.h>

#include <cstdio>
#include <forward_list>
#include <mutex>

namespace {

const void* retain(CFAllocatorRef /*allocator*/, const void* element) { return CFRetain(element); }
void release(CFAllocatorRef /*allocator*/, const void* element) { CFRelease(element); }

constexpr cf::ElementCallBacks kObject = {retain, release, CFCopyDescription, CFEqual, CFHash};
constexpr cf::ElementCallBacks kUnhashedObject = {retain, release, CFCopyDescription, CFEqual,
                                                  nullptr};
constexpr cf::CallBacks kPointers = {};

struct Interned {
  std::mutex mutex;
  std::forward_list<cf::CallBacks> list;
};

}  // namespace

constinit const cf::CallBacks cf::kObjectCallBacks = {kObject, kUnhashedObject};

constinit const CFArrayCallBacks kCFTypeArrayCallBacks = {0, retain, release, CFCopyDescription,
                                                          CFEqual};
constinit const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0, retain, release, CFCopyDescription, CFEqual, CFHash};
constinit const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, retain, release, CFCopyDescription, CFEqual};
constinit const CFSetCallBacks kCFTypeSetCallBacks = {0,       retain, release, CFCopyDescription,
                                                      CFEqual, CFHash};

void cf::ElementCallBacks::describe(const void* element, std::string& text) const {
  if (copy_description != nullptr) {
    const Owned<CFStringRef> description(copy_description(element));
    text.append(description == nullptr ? std::string_view("(null)") : utf8(description.get()));
    return;
  }
  char address[32];
  std::snprintf(address, sizeof address, "<%p>", element);
  text += address;
}

const cf::CallBacks* cf::interned(const CallBacks& callbacks) noexcept {
  if (callbacks == kObjectCallBacks) return &kObjectCallBacks;
  if (callbacks == kPointers) return &kPointers;
  static Interned& interned = *new Interned;
  const std::lock_guard<std::mutex> lock(interned.mutex);
  for (const CallBacks& known : interned.list)
    if (known == callbacks) return &known;
  return &interned.list.emplace_front(callbacks);
}
