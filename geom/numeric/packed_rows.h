#pragma once

#include <cstdint>

#include "geom/model/keel/containers.h"
#include "geom/numeric/sparse_matrix.h"

namespace qvGeom {

/// The rows of a matrix, laid out for products: one stream of columns and values, without the elements that
/// are zero. Systems of points have two or three interleaved unknowns a vertex and rows alike but for one
/// column's shift; such a block of rows is kept once.
///
/// Sums run in the order of the stored rows, and a product with zero adds nothing to them, so that products
/// have the bits of the rows as they stand, for finite vectors. One with an infinity or a NaN in it would
/// make a stored zero count.
class PackedRows {
 public:
  explicit PackedRows(const qv::vector<qv::vector<SparseElement>>& rows);

  /// Whether a stored zero was left out.
  bool leftOut() const { return leftOut_; }
  /// y = A x
  void multiply(const double* x, double* y) const;
  /// y = A x, and x.y summed up from the last element to the first.
  double multiplyAndDot(const double* x, double* y) const;

 private:
  // Rows `row` to `row + height - 1`, of which each has the elements [first, first of the next block), its
  // columns being those of the first row plus the number of rows in between.
  struct Block {
    int row;
    int height;
    std::int64_t first;
  };
  static constexpr int kMaxHeight = 3;

  bool repeats(const qv::vector<SparseElement>& row, int shift) const;
  template <int kHeight>
  void multiplyBlock(const Block& block, const double* x, double* sums) const;
  void multiplyBlock(const Block& block, const double* x, double* sums) const;

  qv::vector<Block> blocks_;  // and one behind the last
  qv::vector<int> columns_;
  qv::vector<double> values_;
  bool leftOut_ = false;
};

}  // namespace qvGeom
