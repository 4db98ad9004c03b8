#include "output/plist_validation.h"

#include <unordered_map>

namespace {

using deep_validator = bool (*)(const void* object, CFPropertyListFormat format);
/// The types that a format can contain. A type whose contents must be checked has a validator.
using validator_table = std::unordered_map<CFTypeID, deep_validator>;

struct validation {
  bool result;
  CFPropertyListFormat format;
};

bool plist_object_valid_for_type(const void* object, CFPropertyListFormat format);

void plist_array_set_element_validator(const void* value, void* context) {
  validation& state = *static_cast<validation*>(context);
  if (!plist_object_valid_for_type(value, state.format)) state.result = false;
}

void plist_dict_element_validator(const void* key, const void* value, void* context) {
  validation& state = *static_cast<validation*>(context);
  const bool key_is_string = key != nullptr && CFGetTypeID(key) == CFStringGetTypeID();
  if (!key_is_string || !plist_object_valid_for_type(value, state.format)) state.result = false;
}

bool plist_array_valid_for_type(const void* object, CFPropertyListFormat format) {
  const CFArrayRef array = static_cast<CFArrayRef>(object);
  validation state{true, format};
  CFArrayApplyFunction(array, CFRangeMake(0, CFArrayGetCount(array)),
                       plist_array_set_element_validator, &state);
  return state.result;
}

bool plist_set_valid_for_type(const void* object, CFPropertyListFormat format) {
  validation state{true, format};
  CFSetApplyFunction(static_cast<CFSetRef>(object), plist_array_set_element_validator, &state);
  return state.result;
}

bool plist_dict_valid_for_type(const void* object, CFPropertyListFormat format) {
  validation state{true, format};
  CFDictionaryApplyFunction(static_cast<CFDictionaryRef>(object), plist_dict_element_validator,
                            &state);
  return state.result;
}

validator_table* make_xml_validators() {
  return new validator_table{
      {CFStringGetTypeID(), nullptr},
      {CFNumberGetTypeID(), nullptr},
      {CFBooleanGetTypeID(), nullptr},
      {CFDateGetTypeID(), nullptr},
      {CFDataGetTypeID(), nullptr},
      {CFArrayGetTypeID(), plist_array_valid_for_type},
      {CFDictionaryGetTypeID(), plist_dict_valid_for_type},
  };
}

validator_table* make_binary_validators() {
  validator_table* table = make_xml_validators();
  table->emplace(CFSetGetTypeID(), plist_set_valid_for_type);
  return table;
}

// Never destroyed: MobileDevice's threads may still send messages while the process exits.
const validator_table& plist_validators_xml_format = *make_xml_validators();
const validator_table& plist_validators_binary_format = *make_binary_validators();

bool plist_object_valid_for_type(const void* object, CFPropertyListFormat format) {
  if (object == nullptr) return false;
  const validator_table& validators = format == kCFPropertyListXMLFormat_v1_0
                                          ? plist_validators_xml_format
                                          : plist_validators_binary_format;
  const validator_table::const_iterator found = validators.find(CFGetTypeID(object));
  if (found == validators.end()) return false;
  return found->second == nullptr || found->second(object, format);
}

}  // namespace

bool CFPropertyListValidateForSerialization(const void* object, CFPropertyListFormat format) {
  if (format == kCFPropertyListOpenStepFormat) return false;
  return plist_object_valid_for_type(object, format);
}
