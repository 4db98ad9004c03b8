#include "object.h"

struct __CFBoolean {
  CFRuntimeBase base;
};

namespace {

constinit const __CFBoolean true_boolean = {cf::immortal_base(cf::kBoolean)};
constinit const __CFBoolean false_boolean = {cf::immortal_base(cf::kBoolean)};

const char* name(CFTypeRef cf) noexcept { return cf == &true_boolean ? "true" : "false"; }

CFStringRef copy_name(CFTypeRef cf, const void* /*format_options*/) noexcept {
  return cf::make_cfstring(name(cf)).release();
}

CFStringRef copy_description(CFTypeRef cf) noexcept {
  return cf::make_cfstring(cf::description_head(cf, "CFBoolean") + "{value = " + name(cf) + '}')
      .release();
}

}  // namespace

constinit const CFRuntimeClass cf::kBooleanClass = {
    .className = "CFBoolean",
    .copyFormattingDesc = copy_name,
    .copyDebugDesc = copy_description,
};

constinit const CFBooleanRef kCFBooleanTrue = &true_boolean;
constinit const CFBooleanRef kCFBooleanFalse = &false_boolean;

CFTypeID CFBooleanGetTypeID(void) { return cf::kBoolean; }
Boolean CFBooleanGetValue(CFBooleanRef boolean) { return boolean == kCFBooleanTrue; }
