/// Types and functions for all CoreFoundation objects.
#pragma once

#include <cstddef>
#include <cstdint>

using Boolean = unsigned char;
using UInt8 = unsigned char;
using SInt8 = signed char;
using UInt16 = unsigned short;
using SInt16 = signed short;
using UInt32 = unsigned int;
using SInt32 = signed int;
using UInt64 = std::uint64_t;
using SInt64 = std::int64_t;
using Float32 = float;
using Float64 = double;
using UniChar = UInt16;

using CFTypeID = unsigned long;
using CFOptionFlags = unsigned long;
using CFHashCode = unsigned long;
using CFIndex = signed long;

using CFTypeRef = const void*;
using CFPropertyListRef = CFTypeRef;
using CFStringRef = const struct __CFString*;
using CFAllocatorRef = const struct __CFAllocator*;
using CFNullRef = const struct __CFNull*;

/// A range of indexes; in strings they count UTF-16 units.
struct CFRange {
  CFIndex location;
  CFIndex length;
};

inline CFRange CFRangeMake(CFIndex location, CFIndex length) { return {location, length}; }

enum : CFIndex { kCFNotFound = -1 };

#pragma GCC visibility push(default)
extern "C" {

/// NULL, which means the system's allocator in every Create call.
extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFAllocatorRef kCFAllocatorSystemDefault;
/// Allocates and frees nothing. As a deallocator it means that the caller keeps the memory.
extern const CFAllocatorRef kCFAllocatorNull;

extern const CFNullRef kCFNull;

/// Adds a reference. Constants are immortal: for them, retain and release do nothing.
CFTypeRef CFRetain(CFTypeRef cf);
/// Releases one reference; the last release finalizes the object. NULL ends the process.
void CFRelease(CFTypeRef cf);
CFTypeID CFGetTypeID(CFTypeRef cf);
Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
/// Equal objects have equal hashes.
CFHashCode CFHash(CFTypeRef cf);
/// A description for debugging; NULL for NULL.
CFStringRef CFCopyDescription(CFTypeRef cf);
/// The name of a type, such as "CFString".
CFStringRef CFCopyTypeIDDescription(CFTypeID type_id);

}  // extern "C"
#pragma GCC visibility pop
