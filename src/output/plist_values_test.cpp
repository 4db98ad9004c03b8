#include "output/plist_values.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "output/cf_strings.h"
#include "output/plist_validation.h"

namespace korvrestore {
namespace {

constexpr CFPropertyListFormat xml = kCFPropertyListXMLFormat_v1_0;
constexpr CFPropertyListFormat binary = kCFPropertyListBinaryFormat_v1_0;

cf_object array_of(const void* element) {
  return cf_object(CFArrayCreate(nullptr, &element, 1, &kCFTypeArrayCallBacks));
}

cf_object set_of(const void* element) {
  return cf_object(CFSetCreate(nullptr, &element, 1, &kCFTypeSetCallBacks));
}

cf_object dictionary_of(const void* key, const void* value, CFIndex count = 1) {
  return cf_object(CFDictionaryCreate(nullptr, &key, &value, count, &kCFTypeDictionaryKeyCallBacks,
                                      &kCFTypeDictionaryValueCallBacks));
}

TEST(PlistValidation, AcceptsTypesOfEachFormat) {
  const cf_object odd_key = dictionary_of(kCFBooleanTrue, CFSTR("value"));
  const cf_object set = set_of(kCFBooleanTrue);
  const struct {
    cf_object object;
    bool in_xml, in_binary;
  } cases[] = {
      {nullptr, false, false},
      {cf_object(CFSTR("text")), true, true},
      {cf_object(kCFBooleanTrue), true, true},
      {cf_object(kCFNull), false, false},
      {array_of(odd_key.get()), false, false},
      {dictionary_of(CFSTR("key"), set.get()), false, true},
      {set_of(kCFNull), false, false},
  };
  for (const auto& [object, in_xml, in_binary] : cases) {
    SCOPED_TRACE(MakeDescription(object.get()));
    EXPECT_EQ(CFPropertyListValidateForSerialization(object.get(), xml), in_xml);
    EXPECT_EQ(CFPropertyListValidateForSerialization(object.get(), binary), in_binary);
    EXPECT_FALSE(
        CFPropertyListValidateForSerialization(object.get(), kCFPropertyListOpenStepFormat));
  }
}

TEST(SanitizeForXml, DropsUnwritableValuesOrFails) {
  const cf_object odd_key = dictionary_of(kCFNull, CFSTR("value"));
  const cf_object nothing = dictionary_of(nullptr, nullptr, 0);
  const struct {
    cf_object object, left;
  } cases[] = {{array_of(odd_key.get()), array_of(nothing.get())},
               {dictionary_of(CFSTR("key"), kCFNull), cf_object(CFRetain(nothing.get()))},
               {cf_object(kCFNull), nullptr}};
  for (const auto& [object, left] : cases) {
    SCOPED_TRACE(MakeDescription(object.get()));
    const cf_object copy = sanitize_for_xml(object.get(), on_error::skip);
    EXPECT_TRUE(left ? CFEqual(copy.get(), left.get()) : copy == nullptr);
    EXPECT_EQ(sanitize_for_xml(object.get(), static_cast<on_error>(2)), nullptr);
    try {
      sanitize_for_xml(object.get(), on_error::fail);
      FAIL();
    } catch (const std::runtime_error& thrown) {
      EXPECT_STREQ(thrown.what(), "Could not convert to xml plist");
    }
  }
}

TEST(CFStrings, ConvertUpToFirstNul) {
  const char bytes[] = "h\u00e9\U0001F600\0cut";
  const cf_string text(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes),
                                               sizeof bytes, kCFStringEncodingUTF8, false));
  EXPECT_EQ(make_string(text.get()), "h\u00e9\U0001F600");
  EXPECT_EQ(make_string(nullptr), std::nullopt);
  EXPECT_EQ(MakeString(nullptr) + MakeDescription(nullptr), "(null)");
}

}  // namespace
}  // namespace korvrestore
