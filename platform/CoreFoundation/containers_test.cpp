#include <map>
#include <random>
#include <vector>

#include "testing/value_test_support.h"

namespace cf::test {
namespace {

const void* pointer(std::uintptr_t value) { return reinterpret_cast<const void*>(value); }

// Containers of plain pointers that count their references.
std::size_t references = 0;

const void* count_retain(CFAllocatorRef, const void* element) {
  ++references;
  return element;
}

void count_release(CFAllocatorRef, const void*) { --references; }

void add_to_vector(const void* element, void* context) {
  static_cast<std::vector<const void*>*>(context)->push_back(element);
}

using Map = std::map<const void*, const void*>;

void add_to_map(const void* key, const void* value, void* context) {
  EXPECT_TRUE(static_cast<Map*>(context)->emplace(key, value).second);
}

TEST(CFArray, KeepsOrderAndReferences) {
  const CFArrayCallBacks callbacks = {0, count_retain, count_release, nullptr, nullptr};
  {
    const Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &callbacks));
    std::vector<const void*> values;
    for (std::uintptr_t i = 1; i <= 100; ++i) {
      values.push_back(pointer(i));
      CFArrayAppendValue(array.get(), pointer(i));
      EXPECT_EQ(references, i);
    }
    const Owned<CFArrayRef> copy(CFArrayCreate(nullptr, values.data(), 100, &callbacks));
    EXPECT_EQ(references, 200U);
    EXPECT_TRUE(CFEqual(array.get(), copy.get()));
    std::vector<const void*> applied;
    CFArrayApplyFunction(array.get(), CFRangeMake(98, 2), add_to_vector, &applied);
    EXPECT_EQ(applied, std::vector(values.begin() + 98, values.end()));
  }
  EXPECT_EQ(references, 0U);
}

/// Compares random changes with a std::map. `hash` decides how many keys collide.
void compare_with_map(CFDictionaryHashCallBack hash, std::uintptr_t keys) {
  const CFDictionaryKeyCallBacks of_keys = {0, count_retain, count_release, nullptr, nullptr, hash};
  const CFDictionaryValueCallBacks of_values = {0, count_retain, count_release, nullptr, nullptr};
  const Owned<CFMutableDictionaryRef> dictionary(
      CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &of_keys, &of_values));
  Map model;
  std::mt19937 random(1);
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
    ASSERT_EQ(references, 2 * model.size());
    const void* const probe = pointer(random() % keys + 1);
    const auto expected = model.find(probe);
    ASSERT_EQ(CFDictionaryGetValue(dictionary.get(), probe),
              expected == model.end() ? nullptr : expected->second);
  }
  const Owned<CFDictionaryRef> copies[] = {
      make_immutable(dictionary.get()),
      Owned<CFDictionaryRef>(CFDictionaryCreateMutableCopy(nullptr, 0, dictionary.get()))};
  for (const Owned<CFDictionaryRef>& copy : copies) {
    Map applied;
    CFDictionaryApplyFunction(copy.get(), add_to_map, &applied);
    EXPECT_EQ(applied, model);
    EXPECT_TRUE(CFEqual(copy.get(), dictionary.get()));
  }
  EXPECT_EQ(references, 6 * model.size());
}

TEST(CFDictionary, MatchesStdMapDespiteCollisions) {
  compare_with_map(nullptr, 2000);
  compare_with_map([](const void* key) { return reinterpret_cast<CFHashCode>(key) % 13; }, 100);
  compare_with_map([](const void*) { return CFHashCode{42}; }, 20);
  EXPECT_EQ(references, 0U);
}

TEST(CFDictionary, KeepsOneOfEqualKeys) {
  for (const std::size_t distinct : {1, 7, 8, 9, 1000}) {
    std::vector<CFTypeRef> keys, values, pairs;
    for (std::size_t i = 0; i < 2 * distinct; ++i) {
      keys.push_back(string("k" + std::to_string(i % distinct)).release());
      values.push_back(integer(static_cast<std::int64_t>(1000 + i)).release());
      pairs.insert(pairs.end(), {keys.back(), values.back()});
    }
    const Owned<CFDictionaryRef> created(
        CFDictionaryCreate(nullptr, keys.data(), values.data(), static_cast<CFIndex>(keys.size()),
                           &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    const Owned<CFDictionaryRef> taken = make_dictionary(pairs);
    EXPECT_EQ(make_immutable(taken.get()).get(), taken.get());
    for (const CFDictionaryRef dictionary : {created.get(), taken.get()}) {
      std::vector<CFTypeRef> found_keys(distinct), found_values(distinct);
      ASSERT_EQ(CFDictionaryGetCount(dictionary), static_cast<CFIndex>(distinct));
      CFDictionaryGetKeysAndValues(dictionary, found_keys.data(), found_values.data());
      EXPECT_TRUE(std::equal(found_keys.begin(), found_keys.end(), keys.begin()));
      for (std::size_t i = 0; i < distinct; ++i) {
        EXPECT_EQ(found_values[i], values[dictionary == created.get() ? i : distinct + i]);
        EXPECT_EQ(found_values[i], CFDictionaryGetValue(dictionary, found_keys[i]));
      }
    }
  }
}

TEST(CFSet, KeepsEachValueOnce) {
  const CFSetCallBacks callbacks = {0, count_retain, count_release, nullptr, nullptr, nullptr};
  std::vector<const void*> values;
  for (std::uintptr_t i = 0; i < 60; ++i) values.push_back(pointer(1 + i % 30));
  {
    const Owned<CFSetRef> set(CFSetCreate(kCFAllocatorDefault, values.data(), 60, &callbacks));
    std::vector<const void*> visited;
    CFSetApplyFunction(set.get(), add_to_vector, &visited);
    EXPECT_EQ(visited, std::vector(values.begin(), values.begin() + 30));
    EXPECT_EQ(references, 30U);
  }
  EXPECT_EQ(references, 0U);
}

TEST(ContainersDeathTest, ProgrammingErrorsAbort) {
  const Owned<CFArrayRef> array = array_of({kCFNull, kCFNull});
  const Owned<CFDictionaryRef> dictionary = make_dictionary({});
  const CFMutableDictionaryRef as_mutable = const_cast<CFMutableDictionaryRef>(dictionary.get());
  for (const CFIndex index : {-1, 2})
    EXPECT_DEATH(CFArrayGetValueAtIndex(array.get(), index), "with an index out of range\n");
  for (const CFRange range : {CFRange{-1, 1}, CFRange{3, 0}, CFRange{0, -1}, CFRange{1, 2}}) {
    EXPECT_DEATH(CFArrayApplyFunction(array.get(), range, add_to_vector, nullptr),
                 "with a range out of bounds\n");
  }
  EXPECT_DEATH(CFArrayAppendValue(const_cast<CFMutableArrayRef>(array.get()), kCFNull),
               "on an immutable array\n");
  EXPECT_DEATH(CFDictionarySetValue(as_mutable, kCFNull, kCFNull), "on an immutable dictionary\n");
  EXPECT_DEATH(CFDictionaryRemoveValue(as_mutable, kCFNull), "on an immutable dictionary\n");
  EXPECT_DEATH(CFArrayCreate(nullptr, nullptr, -1, nullptr), "a negative count\n");
  EXPECT_DEATH(CFDictionaryCreate(nullptr, nullptr, nullptr, -1, nullptr, nullptr),
               "a negative count\n");
  EXPECT_DEATH(CFSetCreate(nullptr, nullptr, -1, nullptr), "a negative count\n");
  EXPECT_DEATH(CFDataCreate(nullptr, nullptr, -1), "a negative length\n");
  EXPECT_DEATH(CFDataCreateWithBytesNoCopy(nullptr, nullptr, -1, kCFAllocatorNull),
               "a negative length\n");
}

}  // namespace
}  // namespace cf::test
