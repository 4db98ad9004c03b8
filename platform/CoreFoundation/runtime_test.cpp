#include <CoreFoundation/CFRuntime.h>

#include <atomic>
#include <barrier>
#include <set>
#include <thread>
#include <vector>

#include "testing/value_test_support.h"

namespace cf::test {
namespace {

constexpr int kThreads = 4;

/// Runs `work(thread number)` on kThreads threads that start together.
template <typename Work>
void run_together(const Work& work) {
  std::barrier start(kThreads);
  std::vector<std::jthread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&start, &work, i] {
      start.arrive_and_wait();
      work(i);
    });
  }
}

/// An object to which each thread writes before it releases its reference.
struct Ledger {
  CFRuntimeBase base;
  int entries[kThreads];
};

std::atomic<int> finalized = 0;
std::atomic<int> sum = 0;

void finalize_ledger(CFTypeRef cf) {
  // A finalizer may retain and release its object.
  CFRelease(CFRetain(cf));
  for (const int entry : static_cast<const Ledger*>(cf)->entries) sum += entry;
  ++finalized;
}

const CFRuntimeClass ledger_class = {.className = "Ledger", .finalize = finalize_ledger};

Ledger* create_ledger(CFTypeID type_id) {
  return static_cast<Ledger*>(const_cast<void*>(_CFRuntimeCreateInstance(
      kCFAllocatorDefault, type_id, sizeof(Ledger) - sizeof(CFRuntimeBase), nullptr)));
}

TEST(Runtime, RegisteredTypesBehaveLikeBuiltIn) {
  static const CFRuntimeClass whole_class = {
      .className = "Whole",
      .init = [](CFTypeRef cf) { static_cast<Ledger*>(const_cast<void*>(cf))->entries[0] = 7; },
      .equal = [](CFTypeRef, CFTypeRef) -> Boolean { return true; },
      .hash = [](CFTypeRef) -> CFHashCode { return 5; },
      .copyDebugDesc = [](CFTypeRef) -> CFStringRef { return CFSTR("a whole"); },
  };
  const CFTypeID type_id = _CFRuntimeRegisterClass(&whole_class);
  const Owned<CFTypeRef> a(create_ledger(type_id));
  const Owned<CFTypeRef> b(create_ledger(type_id));
  EXPECT_EQ(CFGetTypeID(a.get()), type_id);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(a.get()) % 16, 0U);
  EXPECT_EQ(static_cast<const Ledger*>(a.get())->entries[0], 7);
  EXPECT_EQ(static_cast<const Ledger*>(a.get())->entries[1], 0);
  EXPECT_TRUE(CFEqual(a.get(), b.get()));
  EXPECT_FALSE(CFEqual(a.get(), kCFNull));
  EXPECT_EQ(CFHash(a.get()), 5U);
  EXPECT_EQ(described(a.get()), "a whole");

  EXPECT_EQ(_CFRuntimeCreateInstance(kCFAllocatorDefault, kNotAType, 0, nullptr), nullptr);
  EXPECT_EQ(_CFRuntimeCreateInstance(kCFAllocatorDefault, 60'000, 0, nullptr), nullptr);
  EXPECT_EQ(_CFRuntimeCreateInstance(kCFAllocatorDefault, type_id, -1, nullptr), nullptr);
  EXPECT_EQ(CFCopyTypeIDDescription(1024), nullptr);
}

TEST(Runtime, LastReleaseFinalizesOnce) {
  constexpr int kObjects = 200;
  constexpr int kRounds = 50;
  const CFTypeID type_id = _CFRuntimeRegisterClass(&ledger_class);
  finalized = 0;
  sum = 0;
  std::vector<Ledger*> ledgers;
  for (int i = 0; i < kObjects; ++i) {
    ledgers.push_back(create_ledger(type_id));
    for (int thread = 1; thread < kThreads; ++thread) CFRetain(ledgers.back());
  }
  run_together([&ledgers](int thread) {
    for (Ledger* const ledger : ledgers) {
      for (int round = 0; round < kRounds; ++round) CFRetain(ledger);
      for (int round = 0; round < kRounds; ++round) CFRelease(ledger);
      ledger->entries[thread] = 1;
      CFRelease(ledger);
    }
  });
  EXPECT_EQ(finalized, kObjects);
  EXPECT_EQ(sum, kObjects * kThreads);
}

TEST(Runtime, ThreadsShareConstantStrings) {
  // Adding long texts takes some time, so that the threads do interleave.
  static const std::string padding(std::size_t{64} * 1024, 'x');
  static std::vector<std::string> texts;
  for (int i = 0; i < 200; ++i) texts.push_back(padding + std::to_string(i));
  std::vector<CFStringRef> constants[kThreads];
  std::barrier next_text(kThreads);
  run_together([&](int thread) {
    for (const std::string& text : texts) {
      next_text.arrive_and_wait();
      constants[thread].push_back(__CFStringMakeConstantString(text.c_str()));
    }
  });
  for (const auto& seen : constants) EXPECT_EQ(seen, constants[0]);
  EXPECT_EQ(std::set(constants[0].begin(), constants[0].end()).size(), texts.size());
}

TEST(Runtime, ThreadsRegisterTypes) {
  constexpr int kTypes = 40;
  static CFRuntimeClass classes[kThreads][kTypes];
  static std::string names[kThreads][kTypes];
  CFTypeID type_ids[kThreads][kTypes];
  run_together([&](int thread) {
    for (int i = 0; i < kTypes; ++i) {
      names[thread][i] = "Type" + std::to_string(thread) + '-' + std::to_string(i);
      classes[thread][i].className = names[thread][i].c_str();
      type_ids[thread][i] = _CFRuntimeRegisterClass(&classes[thread][i]);
      const Owned<CFTypeRef> object(
          _CFRuntimeCreateInstance(kCFAllocatorDefault, type_ids[thread][i], 8, nullptr));
      EXPECT_EQ(described(object.get()), '<' + names[thread][i] + " 0xP [0xP]>");
      const Owned<CFTypeRef> other(
          _CFRuntimeCreateInstance(kCFAllocatorDefault, type_ids[thread][i], 8, nullptr));
      EXPECT_FALSE(CFEqual(object.get(), other.get()));
    }
  });
  const std::set<CFTypeID> distinct(&type_ids[0][0], &type_ids[0][0] + kThreads * kTypes);
  EXPECT_EQ(distinct.size(), static_cast<std::size_t>(kThreads * kTypes));
  EXPECT_GE(*distinct.begin(), CFTypeID{kFirstRegistered});
}

TEST(RuntimeDeathTest, NullAborts) {
  EXPECT_DEATH(CFRelease(nullptr), "CoreFoundation: CFRelease\\(\\) called with NULL");
  EXPECT_DEATH(CFRetain(nullptr), "CFRetain\\(\\) called with NULL");
  EXPECT_DEATH(CFEqual(kCFNull, nullptr), "CFEqual\\(\\) called with NULL");
}

}  // namespace
}  // namespace cf::test
