#include <bit>
#include <cstdio>

#include "object.h"

struct __CFDate {
  CFRuntimeBase base;
  CFAbsoluteTime time;
};

namespace {

CFAbsoluteTime time_of(CFTypeRef cf) noexcept { return static_cast<CFDateRef>(cf)->time; }

Boolean equal(CFTypeRef a, CFTypeRef b) noexcept { return time_of(a) == time_of(b); }

CFHashCode hash(CFTypeRef cf) noexcept {
  // Adding 0.0 makes -0.0, which equals 0.0, the same bits.
  return cf::scramble(std::bit_cast<std::uint64_t>(time_of(cf) + 0.0));
}

CFStringRef copy_description(CFTypeRef cf) noexcept {
  char value[64];
  std::snprintf(value, sizeof value, "{time = %.9g}", time_of(cf));
  return cf::make_cfstring(cf::description_head(cf, "CFDate") + value).release();
}

}  // namespace

constinit const CFRuntimeClass cf::kDateClass = {
    .className = "CFDate",
    .equal = equal,
    .hash = hash,
    .copyDebugDesc = copy_description,
};

constinit const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;

CFTypeID CFDateGetTypeID(void) { return cf::kDate; }

CFDateRef CFDateCreate(CFAllocatorRef alloc, CFAbsoluteTime at) {
  __CFDate* const date = cf::create<__CFDate>(alloc, cf::kDate);
  if (date != nullptr) date->time = at;
  return date;
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) { return date->time; }
