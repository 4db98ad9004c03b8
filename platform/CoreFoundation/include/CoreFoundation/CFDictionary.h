/// Hash maps of pointers, or of CF objects with the kCFType callbacks. With NULL callbacks the
/// pointers themselves are compared, and are neither retained nor released.
#pragma once

#include <CoreFoundation/CFBase.h>

using CFDictionaryRef = const struct __CFDictionary*;
using CFMutableDictionaryRef = struct __CFDictionary*;

using CFDictionaryRetainCallBack = const void* (*)(CFAllocatorRef allocator, const void* value);
using CFDictionaryReleaseCallBack = void (*)(CFAllocatorRef allocator, const void* value);
using CFDictionaryCopyDescriptionCallBack = CFStringRef (*)(const void* value);
using CFDictionaryEqualCallBack = Boolean (*)(const void* value1, const void* value2);
using CFDictionaryHashCallBack = CFHashCode (*)(const void* value);

struct CFDictionaryKeyCallBacks {
  CFIndex version;
  CFDictionaryRetainCallBack retain;
  CFDictionaryReleaseCallBack release;
  CFDictionaryCopyDescriptionCallBack copyDescription;
  CFDictionaryEqualCallBack equal;
  CFDictionaryHashCallBack hash;
};

struct CFDictionaryValueCallBacks {
  CFIndex version;
  CFDictionaryRetainCallBack retain;
  CFDictionaryReleaseCallBack release;
  CFDictionaryCopyDescriptionCallBack copyDescription;
  CFDictionaryEqualCallBack equal;
};

using CFDictionaryApplierFunction = void (*)(const void* key, const void* value, void* context);

#pragma GCC visibility push(default)
extern "C" {

extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
CFTypeID CFDictionaryGetTypeID(void);
/// Of equal keys the first is kept.
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex num_values,
                                   const CFDictionaryKeyCallBacks* key_call_backs,
                                   const CFDictionaryValueCallBacks* value_call_backs);
/// `capacity` is a hint; the dictionary grows past it.
CFMutableDictionaryRef CFDictionaryCreateMutable(
    CFAllocatorRef allocator, CFIndex capacity, const CFDictionaryKeyCallBacks* key_call_backs,
    const CFDictionaryValueCallBacks* value_call_backs);
/// A mutable copy that shares (and retains) keys and values.
CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef dictionary);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
/// Borrowed; NULL if there is no such key.
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
/// Fills C arrays of CFDictionaryGetCount entries each; either may be NULL. Borrowed.
void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                  const void** values);
void CFDictionaryApplyFunction(CFDictionaryRef dictionary, CFDictionaryApplierFunction applier,
                               void* context);
/// Adds the pair, or replaces the value of an existing key (the old key stays). This and the next
/// call end the process for an immutable dictionary: that is a programming error.
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
/// Removes the pair, if there is one.
void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key);

}  // extern "C"
#pragma GCC visibility pop
