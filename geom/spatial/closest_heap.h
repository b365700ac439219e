#pragma once

#include <cstddef>
#include <cstdint>

#include "geom/model/keel/containers.h"

namespace qvGeom {

/// The frontier of a best-first search: nodes by their squared distance, the nearest first and equal ones in
/// the order of pushing. That order makes a search independent of nodes that were left out because nothing
/// below them could matter.
class ClosestHeap {
 public:
  struct Entry {
    double distance2;
    int node;
    std::uint32_t order;
  };

  void clear() {
    entries_.clear();
    pushed_ = 0;
  }
  bool empty() const { return entries_.empty(); }
  const Entry& top() const { return entries_.front(); }

  void push(double distance2, int node) { pushAs(distance2, node, next()); }
  /// The number of one more push; for nodes that are to count as pushed in another order than they are.
  std::uint32_t next() { return pushed_++; }
  void pushAs(double distance2, int node, std::uint32_t order) {
    const Entry entry{distance2, node, order};
    std::size_t place = entries_.size();
    entries_.emplace_back();
    while (place > 0) {
      const std::size_t parent = (place - 1) / 2;
      if (!isBefore(entry, entries_[parent])) break;
      entries_[place] = entries_[parent];
      place = parent;
    }
    entries_[place] = entry;
  }

  void pop() {
    const Entry moved = entries_.back();
    entries_.pop_back();
    const std::size_t size = entries_.size();
    if (size == 0) return;
    std::size_t place = 0;
    for (;;) {
      std::size_t child = 2 * place + 1;
      if (child >= size) break;
      if (child + 1 < size && isBefore(entries_[child + 1], entries_[child])) ++child;
      if (!isBefore(entries_[child], moved)) break;
      entries_[place] = entries_[child];
      place = child;
    }
    entries_[place] = moved;
  }

 private:
  static bool isBefore(const Entry& a, const Entry& b) {
    return a.distance2 < b.distance2 || (a.distance2 == b.distance2 && a.order < b.order);
  }

  qv::vector<Entry> entries_;
  std::uint32_t pushed_ = 0;
};

}  // namespace qvGeom
