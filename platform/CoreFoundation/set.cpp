#include <CoreFoundation/CFSet.h>

#include "hash_table.h"

struct __CFSet : cf::HashTable {};

namespace {

CFStringRef copy_description(CFTypeRef cf) noexcept {
  return cf::copy_table_description(cf, "set");
}

const cf::CallBacks* shared(const CFSetCallBacks* callbacks) noexcept {
  if (callbacks == nullptr) return cf::interned({});
  return cf::interned({.keys = {callbacks->retain, callbacks->release, callbacks->copyDescription,
                                callbacks->equal, callbacks->hash},
                       .values = {}});
}

}  // namespace

constinit const CFRuntimeClass cf::kSetClass = {
    .className = "CFSet",
    .finalize = finalize_table,
    .equal = equal_tables,
    .hash = hash_of_table,
    .copyDebugDesc = copy_description,
};

CFTypeID CFSetGetTypeID(void) { return cf::kSet; }

CFSetRef CFSetCreate(CFAllocatorRef allocator, const void** values, CFIndex num_values,
                     const CFSetCallBacks* call_backs) {
  if (num_values < 0) cf::fatal("CFSetCreate() called with a negative count");
  cf::HashTable* const table = cf::create_table(
      allocator, cf::kSet, static_cast<std::size_t>(num_values), shared(call_backs));
  if (table == nullptr) return nullptr;
  for (CFIndex i = 0; i < num_values; ++i)
    if (cf::find(*table, values[i]) == nullptr) cf::insert_retained(*table, {values[i], nullptr});
  return static_cast<CFSetRef>(table);
}

void CFSetApplyFunction(CFSetRef set, CFSetApplierFunction applier, void* context) {
  for (const cf::Entry& entry : set->all()) applier(entry.key, context);
}
