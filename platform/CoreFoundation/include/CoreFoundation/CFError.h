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
/// Keeps a copy of `user_info`; NULL means an empty one.
CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                         CFDictionaryRef user_info);
/// Borrowed.
CFErrorDomain CFErrorGetDomain(CFErrorRef error);
CFIndex CFErrorGetCode(CFErrorRef error);
CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef error);
/// The description in the user info, or else a sentence with the failure reason or with domain and
/// code.
CFStringRef CFErrorCopyDescription(CFErrorRef error);
/// NULL if the user info has none.
CFStringRef CFErrorCopyFailureReason(CFErrorRef error);

}  // extern "C"
#pragma GCC visibility pop
