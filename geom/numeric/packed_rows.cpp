#include "geom/numeric/packed_rows.h"

#include <bit>

namespace qvGeom {

PackedRows::PackedRows(const qv::vector<qv::vector<SparseElement>>& rows) {
  const int n = static_cast<int>(rows.size());
  std::size_t elements = 0;
  for (const auto& row : rows) elements += row.size();
  columns_.reserve(elements);
  values_.reserve(elements);
  blocks_.reserve(rows.size() + 1);
  for (int i = 0; i < n; ++i) {
    if (!blocks_.empty() && blocks_.back().height < kMaxHeight && repeats(rows[i], blocks_.back().height)) {
      ++blocks_.back().height;
      continue;
    }
    blocks_.push_back({i, 1, static_cast<std::int64_t>(columns_.size())});
    for (const SparseElement& element : rows[i]) {
      if (element.value == 0) {
        leftOut_ = true;
        continue;
      }
      columns_.push_back(element.column);
      values_.push_back(element.value);
    }
  }
  blocks_.push_back({n, 0, static_cast<std::int64_t>(columns_.size())});
  columns_.shrink_to_fit();
  values_.shrink_to_fit();
  blocks_.shrink_to_fit();
}

// Whether the row is the last block's first one, shifted by so many columns.
bool PackedRows::repeats(const qv::vector<SparseElement>& row, int shift) const {
  std::size_t e = static_cast<std::size_t>(blocks_.back().first);
  for (const SparseElement& element : row) {
    if (element.value == 0) continue;
    if (e == columns_.size() || columns_[e] != element.column - shift) return false;
    if (std::bit_cast<std::uint64_t>(values_[e]) != std::bit_cast<std::uint64_t>(element.value)) return false;
    ++e;
  }
  return e == columns_.size();
}

template <int kHeight>
inline void PackedRows::multiplyBlock(const Block& block, const double* x, double* sums) const {
  double sum[kHeight] = {};
  const std::int64_t end = (&block + 1)->first;
  for (std::int64_t e = block.first; e < end; ++e) {
    const double value = values_[e];
    const double* at = x + columns_[e];
    for (int k = 0; k < kHeight; ++k) sum[k] += value * at[k];
  }
  for (int k = 0; k < kHeight; ++k) sums[k] = sum[k];
}

inline void PackedRows::multiplyBlock(const Block& block, const double* x, double* sums) const {
  switch (block.height) {
    case 1:
      return multiplyBlock<1>(block, x, sums);
    case 2:
      return multiplyBlock<2>(block, x, sums);
    default:
      return multiplyBlock<3>(block, x, sums);
  }
}

void PackedRows::multiply(const double* x, double* y) const {
  for (std::size_t b = 0; b + 1 < blocks_.size(); ++b) multiplyBlock(blocks_[b], x, y + blocks_[b].row);
}

double PackedRows::multiplyAndDot(const double* x, double* y) const {
  double sum = 0;
  for (std::size_t b = blocks_.size() - 1; b-- > 0;) {
    const Block& block = blocks_[b];
    double* out = y + block.row;
    multiplyBlock(block, x, out);
    for (int k = block.height - 1; k >= 0; --k) sum += x[block.row + k] * out[k];
  }
  return sum;
}

}  // namespace qvGeom
