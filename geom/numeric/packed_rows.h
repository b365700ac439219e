#pragma once

// The rows of a matrix, laid out for products. Not part of the public surface.

#include "geom/model/keel/containers.h"
#include "geom/numeric/sparse_matrix.h"

namespace qvGeom {

/// One stream of columns and values, without the elements that are zero. Systems of points have two or three
/// interleaved unknowns a vertex, and rows alike but for a shift by one column; such a block of rows is kept
/// once.
///
/// Sums run in the order of the stored rows, and a product with zero adds nothing to them, so that products
/// have the bits of the rows as they stand, for finite vectors. One with an infinity or a NaN in it would
/// make a stored zero count.
class PackedRows {
 public:
  /// To be called once, before a product.
  /// @param progress null, or asked for cancellation @return false when cancelled: there are no products
  bool pack(const qv::vector<qv::vector<SparseElement>>& rows, qvUtil::Progress* progress);

  /// Whether a stored zero was left out.
  bool leftOut() const { return leftOut_; }
  /// y = A x. @return x.y, summed up from the last element to the first
  double multiply(const double* x, double* y) const;

 private:
  // Rows `row` to `row + height - 1` with `count` elements each, whose columns are those of the first row
  // plus the number of rows in between. Blocks stand in the order in which the sum goes, the last rows first,
  // and their elements follow one another: memory is read from front to back.
  struct Block {
    int row;
    int height;
    int count;
  };
  static constexpr int kMaxHeight = 3;

  void append(int i, const qv::vector<SparseElement>& row);
  bool repeats(const qv::vector<SparseElement>& row) const;

  qv::vector<Block> blocks_;
  qv::vector<int> columns_;
  qv::vector<double> values_;
  bool leftOut_ = false;
};

}  // namespace qvGeom
