#include <malloc.h>

#include <algorithm>
#include <ctime>
#include <limits>

#include "../testing/hostile_shapes_test_support.h"
#include "../testing/value_test_support.h"

namespace cf::test {
namespace {

constexpr std::size_t kFactor = 4;

// The times of builds with sanitizers mean nothing; such builds only read all shapes.
#ifdef NDEBUG
constexpr bool kIsOptimised = true;
#else
constexpr bool kIsOptimised = false;
#endif

/// Whether reading the property list that `make` returns takes about the same processor time per
/// byte when it is kFactor times as long. A reader that scans it repeatedly needs up to kFactor
/// times as much. Other processes can only increase a time, so the least of several counts.
::testing::AssertionResult reads_in_proportion(const HostileShape& shape) {
  constexpr double kMost = 7;
  constexpr int kLeastRounds = 3;
  constexpr int kRounds = 8;
  const std::string inputs[] = {shape.make(shape.size), shape.make(kFactor * shape.size)};
  double least[] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
  for (int round = 1; round <= kRounds; ++round) {
    for (std::size_t i = 0; i < 2; ++i) {
      timespec before{}, after{};
      clock_gettime(CLOCK_THREAD_CPUTIME_ID, &before);
      parse(inputs[i]);
      clock_gettime(CLOCK_THREAD_CPUTIME_ID, &after);
      least[i] = std::min(least[i], static_cast<double>(after.tv_sec - before.tv_sec) +
                                        static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e9);
    }
    if (round >= kLeastRounds && least[1] <= kMost * least[0]) return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << shape.name << ": " << inputs[0].size() << " bytes take " << least[0] << " s, "
         << inputs[1].size() << " bytes " << least[1] << " s";
}

TEST(Readers, TimeIsProportionalToInput) {
  if (!kIsOptimised) {
    for (const HostileShape& shape : hostile_shapes()) parse(shape.make(std::size_t{16} * 1024));
    return;
  }
  // Memory that returns to the system between two readings costs a page fault for each page.
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  mallopt(M_MMAP_THRESHOLD, std::numeric_limits<int>::max());
  for (const HostileShape& shape : hostile_shapes()) EXPECT_TRUE(reads_in_proportion(shape));
}

}  // namespace
}  // namespace cf::test
