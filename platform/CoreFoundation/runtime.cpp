#include <CoreFoundation/CFRuntime.h>

#include <atomic>
#include <cstdio>

#include "object.h"

namespace {

using cf::kOneReference;

static_assert(alignof(std::max_align_t) >= 16, "malloc aligns objects to 16 bytes");

constexpr CFTypeID kMaxTypes = 1024;

constinit std::atomic<const CFRuntimeClass*> type_table[kMaxTypes] = {
    nullptr,           &cf::kAllocatorClass, &cf::kStringClass,
    &cf::kNumberClass, &cf::kBooleanClass,   &cf::kDateClass,
    &cf::kDataClass,   &cf::kArrayClass,     &cf::kDictionaryClass,
    &cf::kSetClass,    &cf::kNullClass,      &cf::kErrorClass,
};

constinit std::atomic<CFTypeID> next_type_id = cf::kFirstRegistered;

const CFRuntimeClass* class_of_type(CFTypeID type_id) noexcept {
  return type_id < kMaxTypes ? type_table[type_id].load(std::memory_order_acquire) : nullptr;
}

/// The info word of an object from a caller. Ends the process with `null_message` if it is NULL.
std::atomic_ref<std::uint64_t> checked_info(CFTypeRef cf, const char* null_message) noexcept {
  if (cf == nullptr) cf::fatal(null_message);
  return cf::info_of(*static_cast<const CFRuntimeBase*>(cf));
}

CFTypeID type_in(std::uint64_t info) noexcept {
  return static_cast<std::uint16_t>(info >> cf::kTypeShift);
}

std::uint64_t count_in(std::uint64_t info) noexcept { return info / kOneReference; }

}  // namespace

void cf::fatal(const char* message) noexcept {
  std::fprintf(stderr, "CoreFoundation: %s\n", message);
  std::abort();
}

std::string cf::description_head(CFTypeRef cf, std::string_view type_name) {
  char addresses[64];
  std::snprintf(addresses, sizeof addresses, " %p [%p]>", cf,
                static_cast<const void*>(kCFAllocatorSystemDefault));
  return '<' + std::string(type_name) + addresses;
}

CFStringRef cf::copy_text(CFTypeRef cf) noexcept {
  const CFRuntimeClass* const cls = class_of_type(CFGetTypeID(cf));
  return cls->copyFormattingDesc != nullptr ? cls->copyFormattingDesc(cf, nullptr)
                                            : CFCopyDescription(cf);
}

CFTypeID _CFRuntimeRegisterClass(const CFRuntimeClass* cls) {
  const CFTypeID type_id = next_type_id.fetch_add(1, std::memory_order_relaxed);
  if (type_id >= kMaxTypes) cf::fatal("too many types registered");
  type_table[type_id].store(cls, std::memory_order_release);
  return type_id;
}

CFTypeRef _CFRuntimeCreateInstance(CFAllocatorRef allocator, CFTypeID type_id, CFIndex extra_bytes,
                                   unsigned char* /*category*/) {
  const CFRuntimeClass* const cls = class_of_type(type_id);
  if (cls == nullptr || extra_bytes < 0 || allocator == kCFAllocatorNull) return nullptr;
  const std::size_t size = sizeof(CFRuntimeBase) + static_cast<std::size_t>(extra_bytes);
  void* const object = std::calloc(1, size);
  cf::check_allocation(object, size);
  if (object == nullptr) return nullptr;
  *static_cast<CFRuntimeBase*>(object) = cf::new_base(type_id);
  if (cls->init != nullptr) cls->init(object);
  return object;
}

CFTypeRef CFRetain(CFTypeRef cf) {
  const std::atomic_ref<std::uint64_t> info = checked_info(cf, "CFRetain() called with NULL");
  if (count_in(info.load(std::memory_order_relaxed)) != 0)
    info.fetch_add(kOneReference, std::memory_order_relaxed);
  return cf;
}

void CFRelease(CFTypeRef cf) {
  const std::atomic_ref<std::uint64_t> info = checked_info(cf, "CFRelease() called with NULL");
  if (count_in(info.load(std::memory_order_relaxed)) == 0) return;
  const std::uint64_t before = info.fetch_sub(kOneReference, std::memory_order_acq_rel);
  if (count_in(before) != 1) return;
  // With a count of 0 the object is immortal, so its finalizer may retain and release it.
  const CFRuntimeClass* const cls = class_of_type(type_in(before));
  if (cls->finalize != nullptr) cls->finalize(cf);
  std::free(const_cast<void*>(cf));
}

CFTypeID CFGetTypeID(CFTypeRef cf) {
  return type_in(
      checked_info(cf, "CFGetTypeID() called with NULL").load(std::memory_order_relaxed));
}

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
  const auto type_of = [](CFTypeRef cf) {
    return type_in(checked_info(cf, "CFEqual() called with NULL").load(std::memory_order_relaxed));
  };
  const CFTypeID type_id = type_of(cf1);
  if (type_id != type_of(cf2)) return false;
  if (cf1 == cf2) return true;
  const CFRuntimeClass* const cls = class_of_type(type_id);
  return cls->equal != nullptr && cls->equal(cf1, cf2);
}

CFHashCode CFHash(CFTypeRef cf) {
  const CFRuntimeClass* const cls = class_of_type(CFGetTypeID(cf));
  return cls->hash != nullptr ? cls->hash(cf) : reinterpret_cast<CFHashCode>(cf);
}

CFStringRef CFCopyDescription(CFTypeRef cf) {
  if (cf == nullptr) return nullptr;
  const CFRuntimeClass* const cls = class_of_type(CFGetTypeID(cf));
  if (cls->copyDebugDesc != nullptr) {
    if (const CFStringRef description = cls->copyDebugDesc(cf)) return description;
  }
  return cf::make_cfstring(cf::description_head(cf, cls->className)).release();
}

CFStringRef CFCopyTypeIDDescription(CFTypeID type_id) {
  const CFRuntimeClass* const cls = class_of_type(type_id);
  return cls == nullptr ? nullptr : cf::make_cfstring(cls->className).release();
}
