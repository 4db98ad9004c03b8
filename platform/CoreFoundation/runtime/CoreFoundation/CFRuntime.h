/// The runtime functions with which other libraries create their own CF types. The system's public
/// headers don't declare them, so this separate header is used with any CoreFoundation.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

/// The start of every CF object; only CoreFoundation uses it.
struct CFRuntimeBase {
  std::uintptr_t _cfisa;
  std::uint64_t _cfinfoa;
};

/// The operations of a type. A NULL member means the default: equality and hash by address, a
/// description with type name and address.
struct CFRuntimeClass {
  CFIndex version = 0;
  const char* className = nullptr;
  void (*init)(CFTypeRef cf) = nullptr;
  CFTypeRef (*copy)(CFAllocatorRef allocator, CFTypeRef cf) = nullptr;
  void (*finalize)(CFTypeRef cf) = nullptr;
  Boolean (*equal)(CFTypeRef cf1, CFTypeRef cf2) = nullptr;
  CFHashCode (*hash)(CFTypeRef cf) = nullptr;
  CFStringRef (*copyFormattingDesc)(CFTypeRef cf, const void* format_options) = nullptr;
  CFStringRef (*copyDebugDesc)(CFTypeRef cf) = nullptr;
};

#pragma GCC visibility push(default)
extern "C" {

/// Returns the new type's ID. `cls` must exist forever. Thread-safe. At most about 1,000 types can
/// be registered; one more ends the process.
CFTypeID _CFRuntimeRegisterClass(const CFRuntimeClass* cls);
/// A new object with one reference: a CFRuntimeBase and `extra_bytes` zeroed bytes after it,
/// aligned to 16. NULL for an unknown type or when memory is short.
CFTypeRef _CFRuntimeCreateInstance(CFAllocatorRef allocator, CFTypeID type_id, CFIndex extra_bytes,
                                   unsigned char* category);

}  // extern "C"
#pragma GCC visibility pop
