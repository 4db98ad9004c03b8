#include <CoreFoundation/CFArray.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "callbacks.h"

/// The values of an immutable array follow this object. Those of a mutable one are in a separate
/// block, whose size is kMinCapacity or the next power of two.
struct __CFArray {
  CFRuntimeBase base;
  std::size_t count;
  const void** values;
  const cf::CallBacks* callbacks;
};

namespace {

constexpr cf::Flags kMutable = 1;
constexpr std::size_t kMinCapacity = 4;

constinit const __CFArray empty_array = {cf::immortal_base(cf::kArray), 0, nullptr,
                                         &cf::kObjectCallBacks};

CFArrayRef to_array(CFTypeRef cf) noexcept { return static_cast<CFArrayRef>(cf); }

bool is_mutable(CFArrayRef array) noexcept { return cf::flags_of(array->base) == kMutable; }

std::span<const void*> values_of(CFArrayRef array) noexcept {
  return {array->values, array->count};
}

const cf::CallBacks* shared(const CFArrayCallBacks* callbacks) noexcept {
  if (callbacks == &kCFTypeArrayCallBacks) return &cf::kObjectCallBacks;
  if (callbacks == nullptr) return cf::interned({});
  return cf::interned({.keys = {},
                       .values = {callbacks->retain, callbacks->release, callbacks->copyDescription,
                                  callbacks->equal, nullptr}});
}

__CFArray* create_immutable(CFAllocatorRef allocator, std::size_t count,
                            const cf::CallBacks* callbacks) noexcept {
  __CFArray* const array =
      cf::create<__CFArray>(allocator, cf::kArray, count * sizeof(const void*));
  if (array == nullptr) return nullptr;
  array->count = count;
  array->values = reinterpret_cast<const void**>(array + 1);
  array->callbacks = callbacks;
  return array;
}

void finalize(CFTypeRef cf) {
  const CFArrayRef array = to_array(cf);
  for (const void* value : values_of(array)) array->callbacks->values.drop(value);
  if (is_mutable(array)) std::free(array->values);
}

Boolean equal(CFTypeRef cf1, CFTypeRef cf2) {
  const CFArrayRef array = to_array(cf1);
  return std::ranges::equal(
      values_of(array), values_of(to_array(cf2)),
      [array](const void* a, const void* b) { return array->callbacks->values.same(a, b); });
}

CFHashCode hash(CFTypeRef cf) { return cf::scramble(to_array(cf)->count); }

CFStringRef copy_description(CFTypeRef cf) noexcept {
  const CFArrayRef array = to_array(cf);
  std::string text = cf::description_head(cf, "CFArray");
  text.append("{type = ").append(is_mutable(array) ? "mutable-small" : "immutable");
  text.append(", count = ").append(std::to_string(array->count)).append(", values = (");
  for (std::size_t i = 0; i < array->count; ++i) {
    text.append(i == 0 ? "\n\t" : "\t").append(std::to_string(i)).append(" : ");
    array->callbacks->values.describe(array->values[i], text);
    text += '\n';
  }
  text += ")}";
  return cf::make_cfstring(text).release();
}

}  // namespace

constinit const CFRuntimeClass cf::kArrayClass = {
    .className = "CFArray",
    .finalize = finalize,
    .equal = equal,
    .hash = hash,
    .copyDebugDesc = copy_description,
};

cf::Owned<CFArrayRef> cf::make_array(std::span<const CFTypeRef> values) noexcept {
  if (values.empty()) return Owned<CFArrayRef>(&empty_array);
  __CFArray* const array = create_immutable(kCFAllocatorDefault, values.size(), &kObjectCallBacks);
  if (array != nullptr) std::ranges::copy(values, array->values);
  return Owned<CFArrayRef>(array);
}

CFTypeID CFArrayGetTypeID(void) { return cf::kArray; }

CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex num_values,
                         const CFArrayCallBacks* call_backs) {
  if (num_values < 0) cf::fatal("CFArrayCreate() called with a negative count");
  const std::size_t count = static_cast<std::size_t>(num_values);
  __CFArray* const array = create_immutable(allocator, count, shared(call_backs));
  if (array == nullptr) return nullptr;
  std::transform(values, values + count, array->values,
                 [array](const void* value) { return array->callbacks->values.take(value); });
  return array;
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex /*capacity*/,
                                       const CFArrayCallBacks* call_backs) {
  __CFArray* const array = cf::create<__CFArray>(allocator, cf::kArray, /*trailing=*/0, kMutable);
  if (array == nullptr) return nullptr;
  array->count = 0;
  array->values = nullptr;
  array->callbacks = shared(call_backs);
  return array;
}

CFIndex CFArrayGetCount(CFArrayRef array) { return static_cast<CFIndex>(array->count); }

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  if (index < 0 || index >= CFArrayGetCount(array))
    cf::fatal("CFArrayGetValueAtIndex() called with an index out of range");
  return array->values[index];
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) {
  if (!is_mutable(array)) cf::fatal("CFArrayAppendValue() called on an immutable array");
  const std::size_t count = array->count;
  if (count == 0 || (count >= kMinCapacity && std::has_single_bit(count))) {
    const std::size_t capacity = std::max(kMinCapacity, 2 * count);
    void* const grown = std::realloc(array->values, capacity * sizeof(const void*));
    if (grown == nullptr) cf::fatal("no memory for an array");
    array->values = static_cast<const void**>(grown);
  }
  array->values[count] = array->callbacks->values.take(value);
  array->count = count + 1;
}

void CFArrayApplyFunction(CFArrayRef array, CFRange range, CFArrayApplierFunction applier,
                          void* context) {
  const CFIndex count = CFArrayGetCount(array);
  if (range.location < 0 || range.location > count || range.length < 0 ||
      range.length > count - range.location)
    cf::fatal("CFArrayApplyFunction() called with a range out of bounds");
  for (CFIndex i = 0; i < range.length; ++i) applier(array->values[range.location + i], context);
}
