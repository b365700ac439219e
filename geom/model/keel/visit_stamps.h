#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qvUtil {

/// Marks elements as seen, round after round, without clearing an array in between: an element counts as seen
/// when its mark equals the stamp of the round. Marks start at 0, which is never the stamp in use, nor is any
/// value above 4294967294; passing that clears the marks and goes on at 1. One thread at a time.
class VisitStamps {
 public:
  static constexpr std::uint32_t kLargestStamp = 4294967294u;

  VisitStamps() = default;
  explicit VisitStamps(std::size_t elements) : marks_(elements, 0) {}

  /// New elements are unseen; the round goes on.
  void resize(std::size_t elements) { marks_.resize(elements, 0); }

  /// Begins a round in which nothing has been seen.
  void next() {
    if (stamp_ >= kLargestStamp) {
      std::fill(marks_.begin(), marks_.end(), 0u);
      stamp_ = 0;
    }
    ++stamp_;
  }
  /// Marks element i. @return whether it had been seen in this round already
  bool seen(std::size_t i) {
    if (marks_[i] == stamp_) return true;
    marks_[i] = stamp_;
    return false;
  }
  bool isMarked(std::size_t i) const { return marks_[i] == stamp_; }

  /// Lets a test reach the wrap in a few rounds. @param stamp in [1, kLargestStamp]
  void setStamp(std::uint32_t stamp) { stamp_ = std::clamp(stamp, 1u, kLargestStamp); }

 private:
  std::vector<std::uint32_t> marks_;
  std::uint32_t stamp_ = 1;
};

}  // namespace qvUtil
