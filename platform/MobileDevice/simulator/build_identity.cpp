#include "build_identity.h"

#include <new>

#include "failure.h"
#include "fields.h"
#include "text/format.h"

namespace MobileDevice::simulator {
namespace {

/// NULL if `dictionary` is NULL or doesn't have the key.
CFTypeRef value_at(CFDictionaryRef dictionary, CFStringRef key) {
  return dictionary == nullptr ? nullptr : CFDictionaryGetValue(dictionary, key);
}

CFDictionaryRef dictionary_in(CFTypeRef value) {
  return cast<CFDictionaryRef>(value, CFDictionaryGetTypeID());
}

bool is_number(CFTypeRef value, std::uint32_t number) {
  if (const CFStringRef text = cast<CFStringRef>(value, CFStringGetTypeID()))
    return parse_integer(to_text(text)) == number;
  return integer_in(value) == number;
}

bool fits(CFDictionaryRef identity, const DeviceProperties& device) {
  return is_number(value_at(identity, CFSTR("ApChipID")), device.chip_id) &&
         is_number(value_at(identity, CFSTR("ApBoardID")), device.board_id);
}

bool is_for(CFDictionaryRef identity, CFTypeRef restore_behavior) {
  const CFTypeRef own =
      value_at(dictionary_in(value_at(identity, CFSTR("Info"))), CFSTR("RestoreBehavior"));
  return own != nullptr && restore_behavior != nullptr && CFEqual(own, restore_behavior);
}

CFDictionaryRef find_identity(CFArrayRef identities, const DeviceProperties& device,
                              CFTypeRef restore_behavior) {
  CFDictionaryRef first = nullptr;
  for (CFIndex i = 0; i < CFArrayGetCount(identities); ++i) {
    const CFDictionaryRef identity = dictionary_in(CFArrayGetValueAtIndex(identities, i));
    if (!fits(identity, device)) continue;
    if (is_for(identity, restore_behavior)) return identity;
    if (first == nullptr) first = identity;
  }
  return first;
}

}  // namespace

Owned<CFDictionaryRef> personalize(CFPropertyListRef manifest, const DeviceProperties& device,
                                   CFTypeRef restore_behavior, const std::string& bundle) {
  const CFDictionaryRef whole = dictionary_in(manifest);
  const CFArrayRef identities =
      cast<CFArrayRef>(value_at(whole, CFSTR("BuildIdentities")), CFArrayGetTypeID());
  if (identities == nullptr) {
    throw Failure(FailureCode::kBuildManifest,
                  text::format("{}: BuildManifest.plist has no array BuildIdentities", bundle));
  }
  const void* const identity = find_identity(identities, device, restore_behavior);
  if (identity == nullptr) {
    throw Failure(FailureCode::kNoIdentity,
                  text::format("{}: BuildManifest.plist has no identity for ChipID 0x{:X}, "
                               "BoardID 0x{:X}",
                               bundle, device.chip_id, device.board_id));
  }
  const void* values[] = {identity};
  const Owned<CFArrayRef> one(
      CFArrayCreate(kCFAllocatorDefault, values, 1, &kCFTypeArrayCallBacks));
  CFMutableDictionaryRef const result =
      CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, whole);
  if (one == nullptr || result == nullptr) throw std::bad_alloc();
  CFDictionarySetValue(result, CFSTR("BuildIdentities"), one.get());
  return Owned<CFDictionaryRef>(result);
}

}  // namespace MobileDevice::simulator
