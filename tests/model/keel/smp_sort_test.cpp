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

// The same on pools of 1, 2 and 5 threads, or a failure.
template <typename Compare>
std::vector<int> sorted(std::vector<int> items, const Compare& compare) {
  static ThreadPool one(1), two(2), five(5);
  std::vector<std::vector<int>> results;
  for (ThreadPool* pool : {&one, &two, &five}) {
    results.push_back(items);
    smpSort(results.back().data(), static_cast<int>(items.size()), compare, *pool);
    EXPECT_EQ(results.back(), results.front()) << pool->getNumThreads() << " threads";
  }
  return results.front();
}

template <typename Compare>
std::vector<int> stable(std::vector<int> items, const Compare& compare) {
  std::stable_sort(items.begin(), items.end(), compare);
  return items;
}

TEST(SmpSort, ShortArraysInEveryOrder) {
  for (const std::vector<double>& keys : {std::vector<double>{},
                                          {1},
                                          {1, 2},
                                          {2, 1},
                                          {1, 2, 3, 4, 5},
                                          {5, 4, 3, 2, 1},
                                          {7, 7, 7, 7, 7},
                                          {2, 2, 1, 1, 2},
                                          {3, 1, 2}}) {
    SCOPED_TRACE(testing::PrintToString(keys));
    const Ordering::IndexedLessThan<double> less{keys.data()};
    EXPECT_EQ(sorted(indices(keys.size()), less), stable(indices(keys.size()), less));
  }
}

TEST(SmpSort, TiesKeepTheirOrder) {
  struct Record {
    int key;
  };
  for (unsigned seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::vector<Record> records(random() % 3000);
    for (Record& r : records) r.key = static_cast<int>(random() % (1 + seed * 4));
    std::vector<int> items = indices(records.size());
    if (seed % 2) std::shuffle(items.begin(), items.end(), random);
    const Ordering::IndexedBinaryPredicate<Record, bool (*)(Record const&, Record const&)> less{
        records.data(), [](Record const& a, Record const& b) { return a.key < b.key; }};
    const auto threeWay = [&](int a, int b) { return records[a].key - records[b].key; };
    const std::vector<int> expected = stable(items, less);
    EXPECT_EQ(sorted(items, less), expected);
    EXPECT_EQ(sorted(items, threeWay), expected);
  }
}

// NaN equal to everything is no order: the walks from the two ends may contradict each other. Nothing may be
// lost or doubled then, and the number of threads must not show.
TEST(SmpSort, ContradictoryOrderGivesOnePermutation) {
  int contradictions = 0;
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::vector<double> keys(1 + random() % 200);
    for (double& k : keys) k = random() % 3 ? static_cast<double>(random() % 50) : std::nan("");
    const Ordering::IndexedLessThan<double> less{keys.data()};
    const auto threeWay = [&](int a, int b) { return keys[a] < keys[b] ? -1 : keys[a] > keys[b] ? 1 : 0; };
    std::vector<int> result = sorted(indices(keys.size()), less);
    EXPECT_EQ(sorted(indices(keys.size()), threeWay), result);
    contradictions += result != stable(indices(keys.size()), less) ? 1 : 0;
    std::sort(result.begin(), result.end());
    EXPECT_EQ(result, indices(keys.size()));
  }
  EXPECT_GT(contradictions, 50) << "the keys are too tame to test anything";
}

// Each algorithm does the whole work on however many threads it is given: a pool may shrink after the sort
// has asked for its size.
TEST(SmpSort, StagesAreCompleteOnOneThread) {
  for (const std::vector<double>& keys : {std::vector<double>{5, 3, 9, 1, 5, 2, 8}, {1, 2, 3, 4, 5, 6, 7}}) {
    const Ordering::IndexedLessThan<double> less{keys.data()};
    for (const int p : {1, 2, 4}) {
      ThreadPool pool(p);
      std::vector<int> items = indices(7);
      SMPSortPiecewise piecewise(items.data(), 7, less);
      pool.run(piecewise);
      EXPECT_TRUE(std::is_sorted(items.begin(), items.begin() + 4, less)) << "the first part has four";
      EXPECT_TRUE(std::is_sorted(items.begin() + 4, items.end(), less));
      SMPSortMerge merge(items.data(), 7, less);
      pool.run(merge);
      EXPECT_EQ(items, stable(indices(7), less));
    }
  }
}

}  // namespace
}  // namespace qvUtil
