#include "geom/numeric/packed_rows.h"

#include <bit>
#include <cstdint>

#include "geom/model/keel/lanes.h"

namespace qvGeom {

namespace {

// Elements to ask for ahead of their turn: a product waits for memory and for little else. The streams are
// longer by as many, so that nothing is asked for that is not there.
constexpr int kAhead = 512;
constexpr int kLine = 8;  // values in a line of the cache

constexpr int kRowsBetweenQuestions = 1 << 16;

// The rows to pack lie about in memory.
constexpr int kRowsAhead = 8;

void askFor(const qv::vector<SparseElement>& row) {
  constexpr std::size_t kElementsInLine = 4;
  for (std::size_t e = 0; e < row.size(); e += kElementsInLine) qvUtil::prefetch(row.data() + e);
}

}  // namespace

bool PackedRows::pack(const qv::vector<qv::vector<SparseElement>>& rows, qvUtil::Progress* progress) {
  // Zeros and rows alike leave some of it untouched, which costs address space and no memory.
  std::size_t elements = kAhead + kLine;
  for (const auto& row : rows) elements += row.size();
  columns_.reserve(elements);
  values_.reserve(elements);
  blocks_.reserve(rows.size());
  for (int i = static_cast<int>(rows.size()) - 1; i >= 0; --i) {
    if (progress && i % kRowsBetweenQuestions == 0 && progress->cancelled()) return false;
    if (i >= kRowsAhead) askFor(rows[i - kRowsAhead]);
    append(i, rows[i]);
  }
  columns_.resize(columns_.size() + kAhead + kLine);
  values_.resize(values_.size() + kAhead + kLine);
  return true;
}

// A row joins the block of the row below it or begins another. The columns of a block are those of its first
// row, so they move on by one with each row that joins above.
void PackedRows::append(int i, const qv::vector<SparseElement>& row) {
  if (!blocks_.empty() && blocks_.back().height < kMaxHeight && repeats(row)) {
    Block& block = blocks_.back();
    --block.row;
    ++block.height;
    for (std::size_t e = columns_.size() - block.count; e < columns_.size(); ++e) --columns_[e];
    return;
  }
  const std::size_t first = columns_.size();
  for (const SparseElement& element : row) {
    if (element.value == 0) {
      leftOut_ = true;
      continue;
    }
    columns_.push_back(element.column);
    values_.push_back(element.value);
  }
  blocks_.push_back({i, 1, static_cast<int>(columns_.size() - first)});
}

// Whether a row is like the first one of the last block, one column to the left.
bool PackedRows::repeats(const qv::vector<SparseElement>& row) const {
  std::size_t e = columns_.size() - blocks_.back().count;
  for (const SparseElement& element : row) {
    if (element.value == 0) continue;
    if (e == columns_.size() || columns_[e] != element.column + 1) return false;
    if (std::bit_cast<std::uint64_t>(values_[e]) != std::bit_cast<std::uint64_t>(element.value)) return false;
    ++e;
  }
  return e == columns_.size();
}

namespace {

// @return `total` and the block's part of x.y
template <int kHeight>
inline double multiplyBlock(int count, const int* columns, const double* values, const double* x,
                            const double* xOfRows, double* y, double total) {
  qvUtil::prefetch(columns + kAhead);
  qvUtil::prefetch(values + kAhead);
  qvUtil::prefetch(values + kAhead + kLine);  // a row of a mesh takes more than one cache line
  double sums[kHeight] = {};
  for (int e = 0; e < count; ++e) {
    const double* at = x + columns[e];
    for (int k = 0; k < kHeight; ++k) sums[k] += values[e] * at[k];
  }
  for (int k = kHeight - 1; k >= 0; --k) {
    y[k] = sums[k];
    total += xOfRows[k] * sums[k];
  }
  return total;
}

}  // namespace

double PackedRows::multiply(const double* x, double* y) const {
  const int* columns = columns_.data();
  const double* values = values_.data();
  double total = 0;
  for (const Block& block : blocks_) {
    const double* xOfRows = x + block.row;
    double* out = y + block.row;
    const int count = block.count;
    if (block.height == 1)
      total = multiplyBlock<1>(count, columns, values, x, xOfRows, out, total);
    else if (block.height == 2)
      total = multiplyBlock<2>(count, columns, values, x, xOfRows, out, total);
    else
      total = multiplyBlock<3>(count, columns, values, x, xOfRows, out, total);
    columns += count;
    values += count;
  }
  return total;
}

}  // namespace qvGeom
