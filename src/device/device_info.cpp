#include "device/device_info.h"

#include "device/RestorableDeviceHandler.h"
#include "output/cf_strings.h"
#include "output/plist_values.h"
#include "support/cf_type_deleter.h"

namespace korvrestore {
namespace {

cf_string make_cfstring(const std::string& text) {
  return cf_string(
      CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

void set_string(CFMutableDictionaryRef dictionary, CFStringRef key, const std::string& text) {
  set_unless_null(dictionary, key, make_cfstring(text).get());
}

void set_number(CFMutableDictionaryRef dictionary, CFStringRef key, CFNumberType type,
                const void* number) {
  const cf_object value(CFNumberCreate(kCFAllocatorDefault, type, number));
  set_unless_null(dictionary, key, value.get());
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
  if (array == nullptr) no_memory();
  for (const TY::ecid& ecid : ecids) {
    const cf_string text = make_cfstring(std::string(ecid));
    if (text) CFArrayAppendValue(array, text.get());
  }
  return array;
}

void device_notifier_state::printDeviceInfo(AMRestorableDeviceRef device) {
  device_info info{.ecid = *ecid,
                   .productID = AMRestorableDeviceGetProductID(device),
                   .boardID = AMRestorableDeviceGetBoardID(device),
                   .chipID = AMRestorableDeviceGetChipID(device),
                   .productType = AMRestorableDeviceGetProductType(device),
                   .fusingInfo = AMRestorableDeviceGetFusingInfo(device),
                   .locationID = AMRestorableDeviceGetLocationID(device),
                   .serialNumber = std::nullopt,
                   .productString = std::nullopt,
                   .description = std::nullopt};
  if (const std::optional<std::string> serial =
          take_string(AMRestorableDeviceCopySerialNumber(device)))
    info.serialNumber.emplace(*serial);
  info.productString = take_string(AMRestorableDeviceCopyProductString(device));
  const auto dictionary = not_null<cf_object>(make_cftype(info));
  outputter->print_value(CFSTR("DeviceInfo"), dictionary.get());
}

}  // namespace korvrestore
