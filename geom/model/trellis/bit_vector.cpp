#include "geom/model/trellis/bit_vector.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace qvGeom {

void BitVector::resize(Index n) {
  size_ = std::max<Index>(n, 0);
  words_.assign(static_cast<std::size_t>((size_ + 31) >> 5), 0u);
  numSetBits = 0;
}

void BitVector::setBits(int n, int const* indices) {
  for (int i = 0; i < n; ++i) setBit(indices[i]);
}

void BitVector::setAllBits() {
  std::fill(words_.begin(), words_.end(), ~0u);
  if (const int used = static_cast<int>(size_ & 31)) words_.back() = (1u << used) - 1u;
  numSetBits = size_;
}

void BitVector::clearBits() {
  std::fill(words_.begin(), words_.end(), 0u);
  numSetBits = 0;
}

BitVector& BitVector::operator|=(const BitVector& other) {
  const std::size_t common = std::min(words_.size(), other.words_.size());
  for (std::size_t w = 0; w < common; ++w) {
    std::uint32_t added = other.words_[w] & ~words_[w];
    // The last word may reach further in the other vector than in this one.
    const Index here = size_ - (static_cast<Index>(w) << 5);
    if (here < 32) added &= (1u << here) - 1u;
    words_[w] |= added;
    numSetBits += std::popcount(added);
  }
  return *this;
}

void BitVector::swap(BitVector& other) noexcept {
  std::swap(size_, other.size_);
  std::swap(numSetBits, other.numSetBits);
  words_.swap(other.words_);
}

}  // namespace qvGeom
