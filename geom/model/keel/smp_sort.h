#pragma once

#include <algorithm>
#include <memory>
#include <type_traits>

#include "geom/model/keel/threading.h"

namespace qvUtil {

namespace Ordering {

/// Whether a comes strictly before b. Takes comparators of both kinds: those that answer "less" with a bool
/// and three-way ones that answer with a negative, zero or positive int.
template <typename Compare, typename T>
bool precedes(const Compare& compare, const T& a, const T& b) {
  if constexpr (std::is_same_v<decltype(compare(a, b)), bool>) {
    return compare(a, b);
  } else {
    return compare(a, b) < 0;
  }
}

/// Orders indices by the values that they select.
template <typename T>
struct IndexedLessThan {
  T const* values;
  bool operator()(int a, int b) const { return values[a] < values[b]; }
};

/// Orders indices by a predicate on the records that they select; `Predicate` is usually
/// `bool (*)(T const&, T const&)`.
template <typename T, typename Predicate>
struct IndexedBinaryPredicate {
  T const* records;
  Predicate predicate;
  bool operator()(int a, int b) const { return predicate(records[a], records[b]); }
};

}  // namespace Ordering

/// Sorts the two halves [0, ceil(n/2)) and [ceil(n/2), n), one on thread 0 and one on thread 1.
///
/// Each half is sorted stably. Some comparators call NaN equal to everything, which is no strict weak order:
/// an unstable sort may then run out of its range, a merging one only loses the order.
template <typename Compare>
class SMPSortPiecewise final : public ThreadedAlg {
 public:
  SMPSortPiecewise(int* items, int n, const Compare& compare) : items_(items), n_(n), compare_(compare) {}

  void execute(int thread, int numThreads) override {
    if (thread < 2) sortPart(thread);
    // The pool may have shrunk since the caller asked for its size.
    if (numThreads == 1) sortPart(1);
  }

 private:
  void sortPart(int part) {
    std::stable_sort(items_ + getBeginIndex(part, 2, n_), items_ + getBeginIndex(part + 1, 2, n_),
                     [this](int a, int b) { return Ordering::precedes(compare_, a, b); });
  }

  int* items_;
  int n_;
  const Compare& compare_;
};

/// Two sorted runs and a place in each; the steps of a stable merge from either end.
///
/// An order that contradicts itself (NaN equal to everything) can let the walk from the front and the walk
/// from the back choose differently. Both ends of each run are therefore tested at every step, and callers
/// compare where the two walks stopped.
template <typename Compare>
struct MergeWalk {
  Compare const* compare;
  int const* left;
  int leftBegin, leftEnd;
  int const* right;
  int rightBegin, rightEnd;

  int takeFirst() {
    const bool takeRight =
        leftBegin == leftEnd || (rightBegin < rightEnd && rightIsLess(rightBegin, leftBegin));
    return takeRight ? right[rightBegin++] : left[leftBegin++];
  }
  int takeLast() {
    const bool takeLeft =
        rightBegin == rightEnd || (leftBegin < leftEnd && rightIsLess(rightEnd - 1, leftEnd - 1));
    return takeLeft ? left[--leftEnd] : right[--rightEnd];
  }
  bool rightIsLess(int r, int l) const { return Ordering::precedes(*compare, right[r], left[l]); }
};

/// Merges two sorted halves: thread 0 fills the first ceil(n/2) places from the front, thread 1 the rest from
/// the back. Equal elements keep their order from either side.
template <typename Compare>
class SMPSortMerge final : public ThreadedAlg {
 public:
  SMPSortMerge(int* items, int n, const Compare& compare)
      : items_(items),
        n_(n),
        half_(getBeginIndex(1, 2, n)),
        front_{&compare, items, 0, half_, items + half_, 0, n - half_},
        back_(front_),
        merged_(std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(n))) {}

  void execute(int thread, int numThreads) override {
    if (thread == 0) fillFront();
    if (thread == 1 || numThreads == 1) fillBack();
  }
  void finalize() override {
    // The walks met elsewhere: one element would be missing and another doubled.
    if (front_.leftBegin != back_.leftEnd)
      for (int out = half_; out < n_; ++out) merged_[out] = front_.takeFirst();
    std::copy_n(merged_.get(), n_, items_);
  }

 private:
  // Each thread walks on its own stack: the two members share a cache line.
  void fillFront() {
    MergeWalk<Compare> walk = front_;
    for (int out = 0; out < half_; ++out) merged_[out] = walk.takeFirst();
    front_ = walk;
  }
  void fillBack() {
    MergeWalk<Compare> walk = back_;
    for (int out = n_ - 1; out >= half_; --out) merged_[out] = walk.takeLast();
    back_ = walk;
  }

  int* items_;
  int n_;
  int half_;
  MergeWalk<Compare> front_;
  MergeWalk<Compare> back_;
  std::unique_ptr<int[]> merged_;
};

/// What the two algorithms above do, on one thread and with room for half of the items only.
template <typename Compare>
void sortOnOneThread(int* items, int n, const Compare& compare) {
  const auto less = [&](int a, int b) { return Ordering::precedes(compare, a, b); };
  const int half = n - n / 2;
  std::stable_sort(items, items + half, less);
  std::stable_sort(items + half, items + n, less);
  const auto left = std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(half));
  std::copy_n(items, half, left.get());
  MergeWalk<Compare> front{&compare, left.get(), 0, half, items + half, 0, n - half};
  MergeWalk<Compare> rehearsal = front;
  for (int out = half; out < n; ++out) rehearsal.takeLast();
  // From the front no right element is written over before it is read, since the left half was moved away.
  for (int out = 0; out < half; ++out) items[out] = front.takeFirst();
  if (front.leftBegin != rehearsal.leftEnd) {
    for (int out = half; out < n; ++out) items[out] = front.takeFirst();
    return;
  }
  // From the back that holds once the right elements still to come stand first.
  std::copy(items + half + front.rightBegin, items + n, items + half);
  MergeWalk<Compare> back{
      &compare, left.get(), front.leftBegin, half, items + half, 0, n - half - front.rightBegin};
  for (int out = n - 1; out >= half; --out) items[out] = back.takeLast();
}

/// Sorts n ints, usually indices into another array, stably by `compare`, with the same result on
/// every pool. An order that contradicts itself gives some permutation, the same on every pool too.
/// `compare` is called from two threads at once and keeps no state. O(n log n), one temporary array of n ints
/// on a pool with several threads.
template <typename Compare>
void smpSort(int* items, int n, const Compare& compare, ThreadPool& pool) {
  if (n <= 1) return;
  if (pool.getNumThreads() == 1) {
    sortOnOneThread(items, n, compare);
    return;
  }
  SMPSortPiecewise<Compare> piecewise(items, n, compare);
  pool.run(piecewise);
  SMPSortMerge<Compare> merge(items, n, compare);
  pool.run(merge);
}

}  // namespace qvUtil
