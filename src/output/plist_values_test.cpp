#include "output/plist_values.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "output/cf_strings.h"
#include "output/plist_validation.h"

namespace korvrestore {
namespace {

constexpr CFPropertyListFormat xml = kCFPropertyListXMLFormat_v1_0;
constexpr CFPropertyListFormat binary = kCFPropertyListBinaryFormat_v1_0;

cf_object number(int value) {
  return cf_object(CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &value));
}

cf_object array_of(const void* element) {
  return cf_object(CFArrayCreate(kCFAllocatorDefault, &element, 1, &kCFTypeArrayCallBacks));
}

cf_object set_of(const void* element) {
  return cf_object(CFSetCreate(kCFAllocatorDefault, &element, 1, &kCFTypeSetCallBacks));
}

cf_mutable_dictionary dictionary() {
  return cf_mutable_dictionary(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

cf_error error(CFIndex code, CFStringRef reason) {
  const cf_mutable_dictionary info = dictionary();
  CFDictionarySetValue(info.get(), kCFErrorLocalizedFailureReasonKey, reason);
  return cf_error(CFErrorCreate(kCFAllocatorDefault, CFSTR("Lab"), code, info.get()));
}

TEST(PlistValidation, KnowsWhatEachFormatHolds) {
  const cf_object one = number(1);
  const cf_mutable_dictionary number_key = dictionary();
  CFDictionarySetValue(number_key.get(), one.get(), CFSTR("value"));
  const cf_mutable_dictionary holds_set = dictionary();
  const cf_object set = set_of(one.get());
  CFDictionarySetValue(holds_set.get(), CFSTR("key"), set.get());
  const cf_object null_set = set_of(kCFNull);
  const cf_object nested = array_of(number_key.get());

  const struct {
    const void* object;
    bool in_xml, in_binary;
  } cases[] = {
      {nullptr, false, false},  {CFSTR("text"), true, true},      {kCFBooleanTrue, true, true},
      {kCFNull, false, false},  {number_key.get(), false, false}, {nested.get(), false, false},
      {set.get(), false, true}, {holds_set.get(), false, true},   {null_set.get(), false, false}};
  for (const auto& [object, in_xml, in_binary] : cases) {
    SCOPED_TRACE(MakeDescription(object));
    EXPECT_EQ(CFPropertyListValidateForSerialization(object, xml), in_xml);
    EXPECT_EQ(CFPropertyListValidateForSerialization(object, binary), in_binary);
    EXPECT_FALSE(CFPropertyListValidateForSerialization(object, kCFPropertyListOpenStepFormat));
  }
}

TEST(SanitizeForXml, DropsOrFailsWhatXmlCannotHold) {
  const cf_object one = number(1);
  const cf_mutable_dictionary source = dictionary();
  const cf_object odd = array_of(kCFNull);
  const cf_error failure = error(7, CFSTR("why"));
  CFDictionarySetValue(source.get(), CFSTR("kept"), one.get());
  CFDictionarySetValue(source.get(), one.get(), CFSTR("no string key"));
  CFDictionarySetValue(source.get(), CFSTR("emptied"), odd.get());
  CFDictionarySetValue(source.get(), CFSTR("dropped"), kCFNull);
  CFDictionarySetValue(source.get(), CFSTR("error"), failure.get());

  const cf_object copy = sanitize_for_xml(source.get(), on_error::skip);
  const CFDictionaryRef result = static_cast<CFDictionaryRef>(copy.get());
  EXPECT_EQ(CFDictionaryGetCount(result), 3);
  EXPECT_EQ(CFDictionaryGetValue(result, CFSTR("kept")), one.get());
  EXPECT_EQ(
      CFArrayGetCount(static_cast<CFArrayRef>(CFDictionaryGetValue(result, CFSTR("emptied")))), 0);
  const cf_mutable_dictionary expected = DictionaryFromError(failure.get());
  EXPECT_TRUE(CFEqual(CFDictionaryGetValue(result, CFSTR("error")), expected.get()));
  EXPECT_EQ(CFDictionaryGetCount(expected.get()), 4);
  EXPECT_TRUE(CFPropertyListValidateForSerialization(result, xml));

  EXPECT_EQ(sanitize_for_xml(source.get(), static_cast<on_error>(2)), nullptr);
  EXPECT_EQ(sanitize_for_xml(kCFNull, on_error::skip), nullptr);
  for (const void* object :
       {static_cast<const void*>(source.get()), odd.get(), static_cast<const void*>(kCFNull)}) {
    try {
      sanitize_for_xml(object, on_error::fail);
      FAIL();
    } catch (const std::runtime_error& thrown) {
      EXPECT_STREQ(thrown.what(), "Could not convert to xml plist");
    }
  }
}

TEST(CFStrings, ConvertWithoutThrowing) {
  const char cut[] = "a\0b";
  const cf_string with_nul(CFStringCreateWithBytes(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(cut), 3, kCFStringEncodingUTF8, false));
  EXPECT_EQ(make_string(with_nul.get()), "a");
  const cf_string wide(
      CFStringCreateWithCString(kCFAllocatorDefault, "h\u00e9\U0001F600", kCFStringEncodingUTF8));
  EXPECT_EQ(make_string(wide.get()), "h\u00e9\U0001F600");
  EXPECT_EQ(make_string(nullptr), std::nullopt);
  EXPECT_EQ(MakeString(nullptr), "");
  EXPECT_EQ(MakeDescription(nullptr), "(null)");
}

}  // namespace
}  // namespace korvrestore
