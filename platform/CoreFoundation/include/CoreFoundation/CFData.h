/// Immutable bytes.
#pragma once

#include <CoreFoundation/CFBase.h>

using CFDataRef = const struct __CFData*;

#pragma GCC visibility push(default)
extern "C" {

CFTypeID CFDataGetTypeID(void);
/// A copy of `length` bytes.
CFDataRef CFDataCreate(CFAllocatorRef alloc, const UInt8* bytes, CFIndex length);
/// Refers to `bytes`, which must outlive the object. `bytes_deallocator` must be kCFAllocatorNull
/// (the caller keeps the memory); with any other one the result is NULL.
CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef alloc, const UInt8* bytes, CFIndex length,
                                      CFAllocatorRef bytes_deallocator);
CFIndex CFDataGetLength(CFDataRef data);
/// Borrowed: valid as long as the object exists.
const UInt8* CFDataGetBytePtr(CFDataRef data);

}  // extern "C"
#pragma GCC visibility pop
