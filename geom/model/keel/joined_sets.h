#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace qvUtil {

/// Sets of the numbers 0 to n - 1 that only ever merge, as trees towards the lowest number of each. One
/// thread at a time.
class JoinedSets {
 public:
  /// Each number in a set of its own.
  explicit JoinedSets(int n) : parents_(static_cast<std::size_t>(n)) {
    std::iota(parents_.begin(), parents_.end(), 0);
  }

  /// The lowest number of the set of i. O(log n) on average.
  int root(int i) {
    int* const parents = parents_.data();
    while (parents[i] != i) i = parents[i] = parents[parents[i]];
    return i;
  }
  /// @return whether they were apart
  bool join(int i, int j) {
    i = root(i);
    j = root(j);
    if (i == j) return false;
    parents_[static_cast<std::size_t>(std::max(i, j))] = std::min(i, j);
    return true;
  }

 private:
  std::vector<int> parents_;
};

}  // namespace qvUtil
