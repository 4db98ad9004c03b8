/// Errors: a domain, a code and a dictionary of texts about them.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>

using CFErrorRef = struct __CFError*;
using CFErrorDomain = CFStringRef;

#pragma GCC visibility push(default)
extern "C" {

/// User-info keys: "NSLocalizedDescription", "NSLocalizedFailureReason".
extern const CFStringRef kCFErrorLocalizedDescriptionKey;
extern const CFStringRef kCFErrorLocalizedFailureReasonKey;

CFTypeID CFErrorGetTypeID(void);
/// Keeps a copy of `user_info` (NULL: an empty one).
CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                         CFDictionaryRef user_info);
/// Borrowed.
CFErrorDomain CFErrorGetDomain(CFErrorRef error);
CFIndex CFErrorGetCode(CFErrorRef error);
CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef error);
/// The description of the user info; without one, a sentence made from the failure reason or
/// from domain and code.
CFStringRef CFErrorCopyDescription(CFErrorRef error);
/// NULL when the user info has none.
CFStringRef CFErrorCopyFailureReason(CFErrorRef error);

}  // extern "C"
#pragma GCC visibility pop
