#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "geom/model/keel/export.h"

namespace qvGeom {

/// Resizable set of bits in 32-bit words: bit i is bit i mod 32 of word i div 32, and bits past the end of
/// the last word are 0. Algorithms test bits inline through the words.
///
/// Every setter ignores indices outside [0, size).
class QVGEOM_API BitVector {
 public:
  using Index = std::int64_t;

  BitVector() = default;
  /// n bits, all clear.
  explicit BitVector(Index n) { resize(n); }

  /// Sets the size and clears **all** bits, the leading ones too: whoever resizes a selection starts a new
  /// one, and bits left over from the old one would be acted on.
  void resize(Index n);
  Index size() const { return size_; }

  /// Whether bit i is set; false for every i outside [0, size), since a selection may be shorter than the
  /// elements that it selects from.
  bool test(Index i) const {
    return i >= 0 && i < size_ && (words_[static_cast<std::size_t>(i >> 5)] >> (i & 31) & 1u) != 0;
  }
  void setBit(Index i) {
    if (i >= 0 && i < size_ && !test(i)) flip(i, 1);
  }
  void clearBit(Index i) {
    if (test(i)) flip(i, -1);
  }
  void setBits(int n, int const* indices);
  void setAllBits();
  void clearBits();

  /// Sets every bit that is set in `other`, as far as this vector reaches; never grows.
  BitVector& operator|=(const BitVector& other);

  std::uint32_t const* words() const { return words_.data(); }
  std::size_t numWords() const { return words_.size(); }

  friend bool operator==(const BitVector& a, const BitVector& b) {
    return a.size_ == b.size_ && a.words_ == b.words_;
  }
  void swap(BitVector& other) noexcept;

  /// Number of bits that are set, kept current by every operation. Read it; do not write it.
  Index numSetBits = 0;

 private:
  void flip(Index i, int change) {
    words_[static_cast<std::size_t>(i >> 5)] ^= std::uint32_t{1} << (i & 31);
    numSetBits += change;
  }

  Index size_ = 0;
  std::vector<std::uint32_t> words_;
};

}  // namespace qvGeom
