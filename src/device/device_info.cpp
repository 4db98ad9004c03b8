#include "device/device_info.h"

#include "support/cf_type_deleter.h"

namespace korvrestore {
namespace {

cf_string make_cfstring(const std::string& text) {
  return cf_string(
      CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

void set_if_made(CFMutableDictionaryRef dictionary, CFStringRef key, const void* value) {
  if (value != nullptr) CFDictionarySetValue(dictionary, key, value);
}

void set_string(CFMutableDictionaryRef dictionary, CFStringRef key, const std::string& text) {
  set_if_made(dictionary, key, make_cfstring(text).get());
}

void set_number(CFMutableDictionaryRef dictionary, CFStringRef key, CFNumberType type,
                const void* number) {
  const cf_object value(CFNumberCreate(kCFAllocatorDefault, type, number));
  set_if_made(dictionary, key, value.get());
}

}  // namespace

CFMutableDictionaryRef make_cftype(const device_info& info) noexcept {
  const CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 10, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  if (dictionary == nullptr) return nullptr;
  set_string(dictionary, CFSTR("ECID"), std::string(info.ecid));
  set_number(dictionary, CFSTR("ProductID"), kCFNumberSInt16Type, &info.productID);
  set_number(dictionary, CFSTR("BoardID"), kCFNumberSInt32Type, &info.boardID);
  set_number(dictionary, CFSTR("ChipID"), kCFNumberSInt32Type, &info.chipID);
  set_number(dictionary, CFSTR("ProductType"), kCFNumberSInt32Type, &info.productType);
  set_number(dictionary, CFSTR("FusingInfo"), kCFNumberSInt32Type, &info.fusingInfo);
  set_number(dictionary, CFSTR("LocationID"), kCFNumberSInt32Type, &info.locationID);
  if (info.serialNumber)
    set_string(dictionary, CFSTR("SerialNumber"), std::string(*info.serialNumber));
  if (info.productString) set_string(dictionary, CFSTR("ProductString"), *info.productString);
  if (info.description) set_string(dictionary, CFSTR("Description"), *info.description);
  return dictionary;
}

CFMutableArrayRef make_cftype(std::span<const TY::ecid> ecids) noexcept {
  const CFMutableArrayRef array = CFArrayCreateMutable(
      kCFAllocatorDefault, static_cast<CFIndex>(ecids.size()), &kCFTypeArrayCallBacks);
  for (const TY::ecid& ecid : ecids) {
    const cf_string text = make_cfstring(std::string(ecid));
    if (text) CFArrayAppendValue(array, text.get());
  }
  return array;
}

}  // namespace korvrestore
