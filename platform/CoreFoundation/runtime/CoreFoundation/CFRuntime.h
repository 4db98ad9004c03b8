/// The runtime calls with which other libraries make CF types of their own. The system's public
/// headers lack them, so this header stands apart and serves with any CoreFoundation.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

/// At the front of every CF object; only CoreFoundation touches it.
struct CFRuntimeBase {
  std::uintptr_t _cfisa;
  std::uint64_t _cfinfoa;
};

/// What a type does beyond the defaults; NULL members take them: equality and hash by address, a
/// description of type name and address.
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

/// The new type's ID. `cls` must stay for ever. Thread-safe. There is room for some 1,000 types;
/// one more ends the process.
CFTypeID _CFRuntimeRegisterClass(const CFRuntimeClass* cls);
/// A new object with one reference: a CFRuntimeBase and `extra_bytes` zeroed bytes behind it,
/// aligned to 16. NULL for an unknown type or when memory is short.
CFTypeRef _CFRuntimeCreateInstance(CFAllocatorRef allocator, CFTypeID type_id, CFIndex extra_bytes,
                                   unsigned char* category);

}  // extern "C"
#pragma GCC visibility pop
