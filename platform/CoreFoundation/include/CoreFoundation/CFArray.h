/// Arrays of pointers, or of CF objects with kCFTypeArrayCallBacks. With NULL callbacks the
/// pointers are neither retained nor released.
#pragma once

#include <CoreFoundation/CFBase.h>

using CFArrayRef = const struct __CFArray*;
using CFMutableArrayRef = struct __CFArray*;

using CFArrayRetainCallBack = const void* (*)(CFAllocatorRef allocator, const void* value);
using CFArrayReleaseCallBack = void (*)(CFAllocatorRef allocator, const void* value);
using CFArrayCopyDescriptionCallBack = CFStringRef (*)(const void* value);
using CFArrayEqualCallBack = Boolean (*)(const void* value1, const void* value2);

struct CFArrayCallBacks {
  CFIndex version;
  CFArrayRetainCallBack retain;
  CFArrayReleaseCallBack release;
  CFArrayCopyDescriptionCallBack copyDescription;
  CFArrayEqualCallBack equal;
};

using CFArrayApplierFunction = void (*)(const void* value, void* context);

#pragma GCC visibility push(default)
extern "C" {

extern const CFArrayCallBacks kCFTypeArrayCallBacks;
CFTypeID CFArrayGetTypeID(void);
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex num_values,
                         const CFArrayCallBacks* call_backs);
/// `capacity` is a hint; the array grows past it.
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* call_backs);
CFIndex CFArrayGetCount(CFArrayRef array);
/// Borrowed. An index out of range ends the process.
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
/// Ends the process for an immutable array: that is a programming error.
void CFArrayAppendValue(CFMutableArrayRef array, const void* value);
void CFArrayApplyFunction(CFArrayRef array, CFRange range, CFArrayApplierFunction applier,
                          void* context);

}  // extern "C"
#pragma GCC visibility pop
