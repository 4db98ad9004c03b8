/// The part of the runtime that every type's file needs. CFRuntimeBase::_cfinfoa contains, from the
/// low bits up: 8 flags of the type, 16 bits of type ID, 8 unused bits, the 32-bit reference count.
/// A count of 0 marks an immortal object.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "internal.h"

namespace cf {

inline constexpr int kTypeShift = 8;
inline constexpr std::uint64_t kOneReference = std::uint64_t{1} << 32;

using Flags = unsigned char;

constexpr CFRuntimeBase immortal_base(TypeID type, Flags flags = 0) {
  return {0, std::uint64_t{type} << kTypeShift | flags};
}

constexpr CFRuntimeBase new_base(CFTypeID type, Flags flags = 0) {
  return {0, kOneReference | std::uint64_t{type} << kTypeShift | flags};
}

inline std::atomic_ref<std::uint64_t> info_of(const CFRuntimeBase& base) noexcept {
  return std::atomic_ref(const_cast<CFRuntimeBase&>(base)._cfinfoa);
}

/// The type's flags, fixed when the object is created.
inline Flags flags_of(const CFRuntimeBase& base) noexcept {
  return static_cast<Flags>(info_of(base).load(std::memory_order_relaxed));
}

/// As CFRetain, but not atomic: for an object that no other thread knows yet.
inline CFTypeRef retain_private(CFTypeRef cf) noexcept {
  const std::atomic_ref<std::uint64_t> info = info_of(*static_cast<const CFRuntimeBase*>(cf));
  const std::uint64_t before = info.load(std::memory_order_relaxed);
  if (before >= kOneReference) info.store(before + kOneReference, std::memory_order_relaxed);
  return cf;
}

/// As CFRelease, but atomic only for the last reference: for an object that no other thread knows.
inline void release_private(CFTypeRef cf) noexcept {
  const std::atomic_ref<std::uint64_t> info = info_of(*static_cast<const CFRuntimeBase*>(cf));
  const std::uint64_t before = info.load(std::memory_order_relaxed);
  if (before < 2 * kOneReference) {
    CFRelease(cf);
  } else {
    info.store(before - kOneReference, std::memory_order_relaxed);
  }
}

/// Ends the process with one line on standard error.
[[noreturn]] void fatal(const char* message) noexcept;

/// Handles a failed allocation of an object. A small one ends the process: nothing could be
/// reported without memory. A larger one, whose size depends on a file, gives NULL.
inline void check_allocation(const void* object, std::size_t size) noexcept {
  constexpr std::size_t kLargestSmallSize = 65536;
  if (object == nullptr && size <= kLargestSmallSize) fatal("no memory for an object");
}

/// A new object with one reference and `trailing` bytes after it. Only the base is initialised.
/// NULL if memory is short for a large object, or the allocator is kCFAllocatorNull.
template <typename Object>
Object* create(CFAllocatorRef allocator, TypeID type, std::size_t trailing = 0,
               Flags flags = 0) noexcept {
  if (allocator == kCFAllocatorNull) return nullptr;
  Object* const object = static_cast<Object*>(std::malloc(sizeof(Object) + trailing));
  check_allocation(object, sizeof(Object) + trailing);
  if (object != nullptr) object->base = new_base(type, flags);
  return object;
}

/// "<TYPE 0x... [0x...]>" with the addresses of the object and of its allocator.
std::string description_head(CFTypeRef cf, std::string_view type_name);

/// A string itself, a number in digits, or the description of any other object; the caller releases
/// it.
CFStringRef copy_text(CFTypeRef cf) noexcept;

/// Mixes the bits of `value` over the whole word.
constexpr std::uint64_t scramble(std::uint64_t value) noexcept {
  value ^= value >> 32;
  value *= 0x9e3779b97f4a7c15;
  return value ^ value >> 32;
}

extern const CFRuntimeClass kAllocatorClass;
extern const CFRuntimeClass kStringClass;
extern const CFRuntimeClass kNumberClass;
extern const CFRuntimeClass kBooleanClass;
extern const CFRuntimeClass kDateClass;
extern const CFRuntimeClass kDataClass;
extern const CFRuntimeClass kArrayClass;
extern const CFRuntimeClass kDictionaryClass;
extern const CFRuntimeClass kSetClass;
extern const CFRuntimeClass kNullClass;
extern const CFRuntimeClass kErrorClass;

}  // namespace cf
