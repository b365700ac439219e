#include "geom/model/keel/smp_sort.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <vector>

namespace qvUtil {
namespace {

std::vector<int> indices(std::size_t n) {
  std::vector<int> v(n);
  std::iota(v.begin(), v.end(), 0);
  return v;
}

// The same on pools of 1, 2 and 5 threads, or a failure. Each stage does the whole work on however many
// threads it is given: a pool may shrink after the sort has asked for its size.
template <typename Compare>
std::vector<int> sorted(const std::vector<int>& items, const Compare& compare) {
  static ThreadPool one(1), two(2), five(5);
  const int n = static_cast<int>(items.size());
  std::vector<int> staged = items;
  SMPSortPiecewise piecewise(staged.data(), n, compare);
  one.run(piecewise);
  SMPSortMerge merge(staged.data(), n, compare);
  one.run(merge);
  for (ThreadPool* pool : {&one, &two, &five}) {
    std::vector<int> result = items;
    smpSort(result.data(), n, compare, *pool);
    EXPECT_EQ(result, staged) << pool->getNumThreads() << " threads";
  }
  return staged;
}

// NaN equal to everything is no order: the walks from the two ends may contradict each other. Nothing may be
// lost or doubled then, and the number of threads must not show.
TEST(SmpSort, StableOrAtLeastOnePermutationOnEveryPool) {
  int contradictions = 0;
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    // The shortest arrays come often; a few are long, and there are many ties or few.
    std::vector<double> keys(seed % 20 ? random() % (seed % 4 ? 200 : 8) : random() % 3000);
    for (double& k : keys) k = static_cast<double>(random() % (1 + seed % 70));
    std::vector<int> items = indices(keys.size());
    if (seed % 3) std::shuffle(items.begin(), items.end(), random);
    const bool ordered = seed % 2;
    for (double& k : keys)
      if (!ordered && random() % 3 == 0) k = std::nan("");

    const Ordering::IndexedLessThan<double> less{keys.data()};
    const auto threeWay = [&](int a, int b) { return keys[a] < keys[b] ? -1 : keys[a] > keys[b] ? 1 : 0; };
    std::vector<int> result = sorted(items, less);
    EXPECT_EQ(sorted(items, threeWay), result);
    std::stable_sort(items.begin(), items.end(), less);
    EXPECT_TRUE(!ordered || result == items);
    contradictions += result != items;
    std::sort(result.begin(), result.end());
    EXPECT_EQ(result, indices(keys.size()));
  }
  EXPECT_GT(contradictions, 50) << "the keys are too tame to test anything";
}

}  // namespace
}  // namespace qvUtil
