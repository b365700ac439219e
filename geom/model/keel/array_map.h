#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>

#include "geom/model/keel/containers.h"

namespace qvUtil {

/// Map in one array of (key, value) pairs sorted by key, for maps that are built once and then asked often. A
/// value that equals the default counts as absent, and erasing sets it.
///
/// Pairs that are appended are not found until `sort`. Keys are appended once, or again after having been
/// erased.
template <typename K, typename V>
class ArrayMap {
 public:
  using Pair = std::pair<K, V>;

  explicit ArrayMap(V defaultValue = V()) : default_(defaultValue) {}

  void reserve(std::size_t n) { pairs_.reserve(n); }
  void append(const K& key, const V& value) { pairs_.emplace_back(key, value); }
  /// Drops what was erased and sorts the rest. O(n log n), or O(n) when it was appended in ascending order.
  void sort() {
    std::erase_if(pairs_, [&](const Pair& p) { return p.second == default_; });
    const auto less = [](const Pair& a, const Pair& b) { return a.first < b.first; };
    if (!std::is_sorted(pairs_.begin(), pairs_.end(), less))
      std::stable_sort(pairs_.begin(), pairs_.end(), less);
    sorted_ = pairs_.size();
  }

  /// The value, or the default where there is none. O(log n).
  V find(const K& key) const {
    const std::size_t i = position(key);
    return i < sorted_ ? pairs_[i].second : default_;
  }
  bool contains(const K& key) const { return !(find(key) == default_); }
  void erase(const K& key) {
    const std::size_t i = position(key);
    if (i < sorted_) pairs_[i].second = default_;
  }

  /// All pairs, erased ones among them until the next `sort`.
  auto begin() const { return pairs_.begin(); }
  auto end() const { return pairs_.end(); }
  auto begin() { return pairs_.begin(); }
  auto end() { return pairs_.end(); }
  const V& defaultValue() const { return default_; }

 private:
  // Among the sorted pairs; their number when there is none.
  std::size_t position(const K& key) const {
    const auto last = pairs_.begin() + static_cast<std::ptrdiff_t>(sorted_);
    const auto found =
        std::lower_bound(pairs_.begin(), last, key, [](const Pair& p, const K& k) { return p.first < k; });
    return found != last && found->first == key ? static_cast<std::size_t>(found - pairs_.begin()) : sorted_;
  }

  qv::vector<Pair> pairs_;
  std::size_t sorted_ = 0;  // leading pairs that can be found
  V default_;
};

}  // namespace qvUtil
