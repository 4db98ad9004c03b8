/// Immutable Unicode strings. Lengths and ranges count UTF-16 units.
#pragma once

#include <CoreFoundation/CFBase.h>

using CFStringEncoding = UInt32;

enum : CFStringEncoding {
  kCFStringEncodingASCII = 0x0600,
  kCFStringEncodingUTF8 = 0x08000100,
};

using CFStringCompareFlags = CFOptionFlags;

#pragma GCC visibility push(default)
extern "C" {

CFTypeID CFStringGetTypeID(void);

/// A copy of a NUL-terminated text; NULL when it isn't valid in `encoding` (ASCII or UTF-8), or
/// takes 4 GiB or more.
CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* c_str,
                                      CFStringEncoding encoding);
/// A copy of `num_bytes` bytes; NULL when they aren't valid in `encoding` (ASCII or UTF-8). With
/// `is_external_representation` a leading byte order mark is dropped.
CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex num_bytes,
                                    CFStringEncoding encoding, Boolean is_external_representation);

CFIndex CFStringGetLength(CFStringRef string);
/// Writes the text and a NUL. False, with `buffer[0]` 0, when it doesn't fit into `buffer_size`
/// bytes or can't be written in `encoding`.
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex buffer_size,
                           CFStringEncoding encoding);
/// The maximum number of bytes of `length` UTF-16 units; kCFNotFound if it is beyond CFIndex's
/// range.
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
/// The first place of `string_to_find` in `string`, compared literally; (kCFNotFound, 0) if there
/// is none.
CFRange CFStringFind(CFStringRef string, CFStringRef string_to_find, CFStringCompareFlags options);

/// Used by CFSTR: one immortal string for each text. Copies `c_str`, which must be UTF-8; the real
/// library takes ASCII only.
CFStringRef __CFStringMakeConstantString(const char* c_str);

}  // extern "C"
#pragma GCC visibility pop

/// The constant string of an ASCII literal; never released.
#define CFSTR(c_str) __CFStringMakeConstantString("" c_str "")
