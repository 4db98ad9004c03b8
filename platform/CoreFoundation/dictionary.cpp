#include <CoreFoundation/CFDictionary.h>

#include <utility>

#include "hash_table.h"

struct __CFDictionary : cf::HashTable {};

namespace {

constinit const __CFDictionary empty_dictionary = {
    {cf::immortal_base(cf::kDictionary), 0, 0, nullptr, &cf::kObjectCallBacks}};

CFStringRef copy_description(CFTypeRef cf) noexcept {
  return cf::copy_table_description(cf, "dict");
}

const cf::CallBacks* shared(const CFDictionaryKeyCallBacks* keys,
                            const CFDictionaryValueCallBacks* values) noexcept {
  if (keys == &kCFTypeDictionaryKeyCallBacks && values == &kCFTypeDictionaryValueCallBacks)
    return &cf::kObjectCallBacks;
  cf::CallBacks callbacks = {};
  if (keys != nullptr)
    callbacks.keys = {keys->retain, keys->release, keys->copyDescription, keys->equal, keys->hash};
  if (values != nullptr) {
    callbacks.values = {values->retain, values->release, values->copyDescription, values->equal,
                        nullptr};
  }
  return cf::interned(callbacks);
}

}  // namespace

constinit const CFRuntimeClass cf::kDictionaryClass = {
    .className = "CFDictionary",
    .finalize = finalize_table,
    .equal = equal_tables,
    .hash = hash_of_table,
    .copyDebugDesc = copy_description,
};

cf::Owned<CFDictionaryRef> cf::make_dictionary(
    std::span<const CFTypeRef> keys_and_values) noexcept {
  if (keys_and_values.empty()) return Owned<CFDictionaryRef>(&empty_dictionary);
  HashTable* const table =
      create_table(kCFAllocatorDefault, kDictionary, keys_and_values.size() / 2, &kObjectCallBacks);
  if (table == nullptr) return nullptr;
  constexpr std::size_t kAhead = 16;  // far enough to hide the latency of the memory
  for (std::size_t i = 0; i + 1 < keys_and_values.size(); i += 2) {
    if (i + kAhead < keys_and_values.size()) prefetch(*table, keys_and_values[i + kAhead]);
    const Entry entry = {keys_and_values[i], keys_and_values[i + 1]};
    if (Entry* const earlier = find_or_insert(*table, entry)) {
      CFRelease(entry.key);
      CFRelease(earlier->value);
      earlier->value = entry.value;
    }
  }
  return Owned<CFDictionaryRef>(static_cast<CFDictionaryRef>(table));
}

cf::Owned<CFDictionaryRef> cf::make_immutable(CFDictionaryRef dictionary) noexcept {
  if (!dictionary->is_mutable())
    return Owned<CFDictionaryRef>(static_cast<CFDictionaryRef>(CFRetain(dictionary)));
  HashTable* const copy =
      create_table(kCFAllocatorDefault, kDictionary, dictionary->count, dictionary->callbacks);
  if (copy == nullptr) return nullptr;
  for (const Entry& entry : dictionary->all()) insert_retained(*copy, entry);
  return Owned<CFDictionaryRef>(static_cast<CFDictionaryRef>(copy));
}

CFTypeID CFDictionaryGetTypeID(void) { return cf::kDictionary; }

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex num_values,
                                   const CFDictionaryKeyCallBacks* key_call_backs,
                                   const CFDictionaryValueCallBacks* value_call_backs) {
  if (num_values < 0) cf::fatal("CFDictionaryCreate() called with a negative count");
  cf::HashTable* const table =
      cf::create_table(allocator, cf::kDictionary, static_cast<std::size_t>(num_values),
                       shared(key_call_backs, value_call_backs));
  if (table == nullptr) return nullptr;
  for (CFIndex i = 0; i < num_values; ++i)
    if (cf::find(*table, keys[i]) == nullptr) cf::insert_retained(*table, {keys[i], values[i]});
  return static_cast<CFDictionaryRef>(table);
}

CFMutableDictionaryRef CFDictionaryCreateMutable(
    CFAllocatorRef allocator, CFIndex /*capacity*/, const CFDictionaryKeyCallBacks* key_call_backs,
    const CFDictionaryValueCallBacks* value_call_backs) {
  return static_cast<CFMutableDictionaryRef>(cf::create_growing_table(
      allocator, cf::kDictionary, shared(key_call_backs, value_call_backs)));
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex /*capacity*/,
                                                     CFDictionaryRef dictionary) {
  cf::HashTable* const copy =
      cf::create_growing_table(allocator, cf::kDictionary, dictionary->callbacks);
  if (copy == nullptr) return nullptr;
  for (const cf::Entry& entry : dictionary->all()) cf::insert_retained(*copy, entry);
  return static_cast<CFMutableDictionaryRef>(copy);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) { return dictionary->count; }

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const cf::Entry* const entry = cf::find(*dictionary, key);
  return entry == nullptr ? nullptr : entry->value;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                  const void** values) {
  for (const cf::Entry& entry : dictionary->all()) {
    if (keys != nullptr) *keys++ = entry.key;
    if (values != nullptr) *values++ = entry.value;
  }
}

void CFDictionaryApplyFunction(CFDictionaryRef dictionary, CFDictionaryApplierFunction applier,
                               void* context) {
  for (const cf::Entry& entry : dictionary->all()) applier(entry.key, entry.value, context);
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  if (!dictionary->is_mutable())
    cf::fatal("CFDictionarySetValue() called on an immutable dictionary");
  cf::Entry* const entry = cf::find(*dictionary, key);
  if (entry == nullptr) {
    cf::insert_retained(*dictionary, {key, value});
    return;
  }
  const cf::ElementCallBacks& values = dictionary->callbacks->values;
  const void* const replaced = std::exchange(entry->value, values.take(value));
  values.drop(replaced);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key) {
  if (!dictionary->is_mutable())
    cf::fatal("CFDictionaryRemoveValue() called on an immutable dictionary");
  if (cf::Entry* const entry = cf::find(*dictionary, key)) cf::erase(*dictionary, entry);
}
