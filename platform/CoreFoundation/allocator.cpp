#include "object.h"

struct __CFAllocator {
  CFRuntimeBase base;
};

struct __CFNull {
  CFRuntimeBase base;
};

namespace {

constinit const __CFAllocator system_allocator = {cf::immortal_base(cf::kAllocator)};
constinit const __CFAllocator null_allocator = {cf::immortal_base(cf::kAllocator)};
constinit const __CFNull null = {cf::immortal_base(cf::kNull)};

}  // namespace

constinit const CFRuntimeClass cf::kAllocatorClass = {.className = "CFAllocator"};
constinit const CFRuntimeClass cf::kNullClass = {.className = "CFNull"};

constinit const CFAllocatorRef kCFAllocatorDefault = nullptr;
constinit const CFAllocatorRef kCFAllocatorSystemDefault = &system_allocator;
constinit const CFAllocatorRef kCFAllocatorNull = &null_allocator;
constinit const CFNullRef kCFNull = &null;
