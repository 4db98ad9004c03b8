/// Sets of pointers, or of CF objects with kCFTypeSetCallBacks. NULL callbacks: plain pointers.
#pragma once

#include <CoreFoundation/CFBase.h>

using CFSetRef = const struct __CFSet*;
using CFMutableSetRef = struct __CFSet*;

using CFSetRetainCallBack = const void* (*)(CFAllocatorRef allocator, const void* value);
using CFSetReleaseCallBack = void (*)(CFAllocatorRef allocator, const void* value);
using CFSetCopyDescriptionCallBack = CFStringRef (*)(const void* value);
using CFSetEqualCallBack = Boolean (*)(const void* value1, const void* value2);
using CFSetHashCallBack = CFHashCode (*)(const void* value);

struct CFSetCallBacks {
  CFIndex version;
  CFSetRetainCallBack retain;
  CFSetReleaseCallBack release;
  CFSetCopyDescriptionCallBack copyDescription;
  CFSetEqualCallBack equal;
  CFSetHashCallBack hash;
};

using CFSetApplierFunction = void (*)(const void* value, void* context);

#pragma GCC visibility push(default)
extern "C" {

extern const CFSetCallBacks kCFTypeSetCallBacks;
CFTypeID CFSetGetTypeID(void);
CFSetRef CFSetCreate(CFAllocatorRef allocator, const void** values, CFIndex num_values,
                     const CFSetCallBacks* call_backs);
void CFSetApplyFunction(CFSetRef set, CFSetApplierFunction applier, void* context);

}  // extern "C"
#pragma GCC visibility pop
