#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "value_test_support.h"

namespace {

using cf::integer;
using cf::Owned;
using cf::string;

Owned<CFMutableDictionaryRef> object_dictionary() {
  return Owned<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

TEST(CFArray, HoldsReferencesAndOrder) {
  const Owned<CFStringRef> value = string("v");
  {
    const Owned<CFMutableArrayRef> array(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    std::vector<const void*> values;
    for (std::int64_t i = 0; i < 100; ++i) {
      const Owned<CFTypeRef> element =
          i % 2 == 0 ? Owned<CFTypeRef>(CFRetain(value.get())) : Owned<CFTypeRef>(integer(i));
      CFArrayAppendValue(array.get(), element.get());
      values.push_back(element.get());
    }
    const Owned<CFArrayRef> copy(
        CFArrayCreate(kCFAllocatorDefault, values.data(), 100, &kCFTypeArrayCallBacks));
    EXPECT_TRUE(CFEqual(array.get(), copy.get()));
    EXPECT_EQ(CFHash(array.get()), CFHash(copy.get()));
    std::vector<const void*> applied;
    CFArrayApplyFunction(
        array.get(), CFRangeMake(98, 2),
        [](const void* element, void* context) {
          static_cast<std::vector<const void*>*>(context)->push_back(element);
        },
        &applied);
    EXPECT_EQ(applied, std::vector(values.begin() + 98, values.end()));
    CFArrayAppendValue(array.get(), kCFNull);
    EXPECT_FALSE(CFEqual(array.get(), copy.get()));
  }
}

TEST(CFDictionary, KeepsTheFirstOfEqualKeysAndReplacesValues) {
  const Owned<CFStringRef> key = string("key");
  const Owned<CFStringRef> same_key = string("key");
  const Owned<CFStringRef> value = string("value");
  {
    const void* keys[] = {key.get(), CFSTR("other"), same_key.get()};
    const void* values[] = {value.get(), kCFNull, kCFBooleanTrue};
    const Owned<CFDictionaryRef> dictionary(CFDictionaryCreate(kCFAllocatorDefault, keys, values, 3,
                                                               &kCFTypeDictionaryKeyCallBacks,
                                                               &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 2);
    EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), same_key.get()), value.get());

    const Owned<CFMutableDictionaryRef> copy(
        CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, dictionary.get()));
    EXPECT_TRUE(CFEqual(dictionary.get(), copy.get()));
    CFDictionarySetValue(copy.get(), same_key.get(), kCFBooleanFalse);
    const void* found_keys[2];
    const void* found_values[2];
    CFDictionaryGetKeysAndValues(copy.get(), found_keys, found_values);
    EXPECT_EQ(found_keys[0], key.get());
    EXPECT_EQ(found_values[0], kCFBooleanFalse);
    EXPECT_FALSE(CFEqual(dictionary.get(), copy.get()));
    EXPECT_EQ(CFHash(dictionary.get()), CFHash(copy.get()));
    CFDictionaryRemoveValue(copy.get(), CFSTR("absent"));
    CFDictionaryRemoveValue(copy.get(), key.get());
    EXPECT_EQ(CFDictionaryGetCount(copy.get()), 1);
    EXPECT_EQ(CFDictionaryGetValue(copy.get(), key.get()), nullptr);
  }
}

TEST(CFDictionary, TakesOverReferencesAndLetsTheLastOfEqualKeysStand) {
  for (const std::size_t distinct : {1, 7, 8, 9, 1000}) {
    std::vector<CFTypeRef> pairs;
    for (std::size_t i = 0; i < 2 * distinct; ++i) {
      pairs.push_back(string("k" + std::to_string(i % distinct)).release());
      pairs.push_back(integer(static_cast<std::int64_t>(1000 + i)).release());
    }
    const Owned<CFDictionaryRef> dictionary = cf::make_dictionary(pairs);
    ASSERT_EQ(CFDictionaryGetCount(dictionary.get()), static_cast<CFIndex>(distinct));
    for (std::size_t i = 0; i < distinct; ++i) {
      const CFTypeRef value =
          CFDictionaryGetValue(dictionary.get(), string("k" + std::to_string(i)).get());
      ASSERT_NE(value, nullptr);
      EXPECT_TRUE(CFEqual(value, integer(static_cast<std::int64_t>(1000 + distinct + i)).get()));
    }
    const Owned<CFDictionaryRef> copy = cf::make_immutable(dictionary.get());
    EXPECT_EQ(copy.get(), dictionary.get());
  }
}

/// Random changes against a std::map, with keys that collide as much as `hash` makes them.
void compare_with_map(CFDictionaryHashCallBack hash, std::uintptr_t keys) {
  const CFDictionaryKeyCallBacks key_callbacks = {0, nullptr, nullptr, nullptr, nullptr, hash};
  const Owned<CFMutableDictionaryRef> dictionary(
      CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &key_callbacks, nullptr));
  std::map<const void*, const void*> model;
  std::mt19937 random(1);
  const auto pointer = [](std::uintptr_t value) { return reinterpret_cast<const void*>(value); };
  for (std::uintptr_t step = 1; step < 20'000; ++step) {
    const void* const key = pointer(random() % keys + 1);
    const bool add = random() % 8 < (step / 2000 % 2 == 0 ? 6U : 2U);
    if (add) {
      CFDictionarySetValue(dictionary.get(), key, pointer(step));
      model[key] = pointer(step);
    } else {
      CFDictionaryRemoveValue(dictionary.get(), key);
      model.erase(key);
    }
    ASSERT_EQ(CFDictionaryGetCount(dictionary.get()), static_cast<CFIndex>(model.size()));
    const void* const probe = pointer(random() % keys + 1);
    const auto expected = model.find(probe);
    ASSERT_EQ(CFDictionaryGetValue(dictionary.get(), probe),
              expected == model.end() ? nullptr : expected->second);
  }
  std::map<const void*, const void*> applied;
  CFDictionaryApplyFunction(
      dictionary.get(),
      [](const void* key, const void* value, void* context) {
        static_cast<std::map<const void*, const void*>*>(context)->emplace(key, value);
      },
      &applied);
  EXPECT_EQ(applied, model);
}

TEST(CFDictionary, AgreesWithAMapHoweverKeysCollide) {
  compare_with_map(nullptr, 2000);
  compare_with_map([](const void* key) { return reinterpret_cast<CFHashCode>(key) % 13; }, 100);
  compare_with_map([](const void*) { return CFHashCode{42}; }, 20);
}

TEST(CFSet, HoldsEachValueOnce) {
  std::vector<Owned<CFNumberRef>> numbers;
  std::vector<const void*> values;
  for (std::int64_t i = 0; i < 60; ++i)
    values.push_back(numbers.emplace_back(integer(i % 30)).get());
  const Owned<CFSetRef> set(
      CFSetCreate(kCFAllocatorDefault, values.data(), 60, &kCFTypeSetCallBacks));
  const Owned<CFSetRef> half(
      CFSetCreate(kCFAllocatorDefault, values.data() + 30, 30, &kCFTypeSetCallBacks));
  EXPECT_TRUE(CFEqual(set.get(), half.get()));
  int visited = 0;
  CFSetApplyFunction(
      set.get(), [](const void*, void* context) { ++*static_cast<int*>(context); }, &visited);
  EXPECT_EQ(visited, 30);
}

TEST(Containers, Descriptions) {
  const void* inner_values[] = {CFSTR("x"), kCFBooleanTrue};
  const Owned<CFArrayRef> inner(
      CFArrayCreate(kCFAllocatorDefault, inner_values, 2, &kCFTypeArrayCallBacks));
  const Owned<CFArrayRef> pointers(CFArrayCreate(kCFAllocatorDefault, nullptr, 0, nullptr));
  const Owned<CFMutableDictionaryRef> dictionary = object_dictionary();
  CFDictionarySetValue(dictionary.get(), CFSTR("a"), inner.get());
  CFDictionarySetValue(dictionary.get(), CFSTR("b"), pointers.get());
  EXPECT_EQ(cf::described(dictionary.get()),
            "<CFBasicHash 0xP [0xP]>{type = mutable dict, count = 2,\nentries =>\n"
            "\t0 : <CFString 0xP [0xP]>{contents = \"a\"} = "
            "<CFArray 0xP [0xP]>{type = immutable, count = 2, values = (\n"
            "\t0 : <CFString 0xP [0xP]>{contents = \"x\"}\n"
            "\t1 : <CFBoolean 0xP [0xP]>{value = true}\n"
            ")}\n"
            "\t1 : <CFString 0xP [0xP]>{contents = \"b\"} = "
            "<CFArray 0xP [0xP]>{type = immutable, count = 0, values = ()}\n}\n");
  const void* one = reinterpret_cast<const void*>(0x10);
  const Owned<CFSetRef> set(CFSetCreate(kCFAllocatorDefault, &one, 1, nullptr));
  EXPECT_EQ(cf::described(set.get()),
            "<CFBasicHash 0xP [0xP]>{type = immutable set, count = 1,\nentries =>\n"
            "\t0 : <0x10>\n}\n");
}

TEST(ContainersDeathTest, ProgrammingErrorsEndTheProcess) {
  const Owned<CFArrayRef> array = cf::make_array({});
  const Owned<CFDictionaryRef> dictionary = cf::make_dictionary({});
  const CFMutableArrayRef as_mutable = const_cast<CFMutableArrayRef>(array.get());
  EXPECT_DEATH(CFArrayGetValueAtIndex(array.get(), 0), "index out of range");
  EXPECT_DEATH(CFArrayGetValueAtIndex(array.get(), -1), "index out of range");
  EXPECT_DEATH(CFArrayAppendValue(as_mutable, kCFNull), "immutable array");
  EXPECT_DEATH(CFArrayApplyFunction(array.get(), {0, 1}, nullptr, nullptr), "out of bounds");
  EXPECT_DEATH(
      CFDictionarySetValue(const_cast<CFMutableDictionaryRef>(dictionary.get()), kCFNull, kCFNull),
      "immutable dictionary");
  EXPECT_DEATH(
      CFDictionaryRemoveValue(const_cast<CFMutableDictionaryRef>(dictionary.get()), kCFNull),
      "immutable dictionary");
}

}  // namespace
