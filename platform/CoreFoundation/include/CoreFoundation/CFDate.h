/// Dates.
#pragma once

#include <CoreFoundation/CFBase.h>

using CFTimeInterval = double;
/// Seconds since 2001-01-01 00:00:00 UTC.
using CFAbsoluteTime = CFTimeInterval;
using CFDateRef = const struct __CFDate*;

#pragma GCC visibility push(default)
extern "C" {

extern const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;
CFTypeID CFDateGetTypeID(void);
CFDateRef CFDateCreate(CFAllocatorRef alloc, CFAbsoluteTime at);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date);

}  // extern "C"
#pragma GCC visibility pop
