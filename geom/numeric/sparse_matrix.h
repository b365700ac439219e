#pragma once

#include <iosfwd>
#include <memory>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"
#include "geom/model/keel/strings.h"
#include "geom/numeric/n_vector.h"

namespace qvGeom {

class PackedRows;

/// An element of a row.
struct SparseElement {
  int column = -1;
  double value = 0;

  constexpr SparseElement() = default;
  constexpr SparseElement(int c, double v) : column(c), value(v) {}
};

/// Square matrix of n rows, each with its elements in the order in which they came. An element that was added
/// stays one, also when its value is zero. Row and column numbers outside 0 to n - 1 name elements that are
/// absent and cannot be added.
///
/// Sums over a row run in the order of its elements, whatever way they are stored. One thread at a time, for
/// products as well: the first product after a change packs the rows.
class QVGEOM_API SparseMatrix {
 public:
  SparseMatrix() : SparseMatrix(0) {}
  /// n empty rows; none for n < 1.
  explicit SparseMatrix(int n);
  SparseMatrix(const SparseMatrix& other);
  SparseMatrix(SparseMatrix&& other) noexcept;
  SparseMatrix& operator=(const SparseMatrix& other);
  SparseMatrix& operator=(SparseMatrix&& other) noexcept;
  ~SparseMatrix();

  int size() const { return static_cast<int>(rows_.size()); }
  const qv::vector<SparseElement>& row(int i) const { return rows_[i]; }
  /// Number of elements.
  int nnz() const;

  /// A(i, j) += v; an absent element is added behind the others of its row. O(elements in the row).
  void addToElement(int i, int j, double v);
  /// @return false, with v untouched, when the element is absent
  bool getElement(int i, int j, double& v) const;
  /// 0 for an absent element.
  double getElement(int i, int j) const;
  /// Drops all elements; n may be another size.
  void setToZero(int n);

  /// Whether every element differs from its mirror image by less than 1e-6, an absolute bound.
  bool isSymmetric() const;
  /// Whether the diagonal is positive, all else is not, no row has a negative sum, and some row a positive
  /// one. Rows without elements do not count; false for an empty matrix.
  bool isMMatrix() const;
  /// By a dense factorisation, O(n^3) time and O(n^2) memory.
  bool isPositiveDefinite() const;

  /// Appends the elements with column >= row, in row order, to the rows of `out`, which must have n of them
  /// and is not cleared; with another number nothing happens.
  void getUpperTriangular(SparseMatrix& out) const;
  void transpose(SparseMatrix& out) const;
  /// Dense: A = L L^T, every element of the lower triangle stored. O(n^3).
  /// @return false at the first pivot that is not positive; L then holds what was done before
  bool choleskyFactorization(SparseMatrix& L) const;

  /// Does what the first product would do before it begins, for those who cannot wait there: O(elements).
  /// @return false when cancelled
  bool prepareProducts(qvUtil::Progress& progress);

  // Products; vectors must have n elements, or nothing happens (and the number is 0). An output may not be an
  // input.
  /// y = A x
  void getMatrixTimesVector(const NVector& x, NVector& y) const;
  /// r = b - A x
  void getVectorMinusMatrixTimesVector(const NVector& b, const NVector& x, NVector& r) const;
  /// u^T A v
  double vectorDotMatrixTimesVector(const NVector& u, const NVector& v) const;
  /// y = A x, and the product x.dot(y), in one pass.
  double getMatrixTimesVectorAndDot(const NVector& x, NVector& y) const;

  /// Tells standard output how many rows there are of each length.
  void dumpRowLengths() const;
  /// The dense matrix as nested lists in braces. O(n^2).
  qvString::CString toMmaString() const;
  /// The dense matrix, a line a row. O(n^2).
  friend QVGEOM_API std::ostream& operator<<(std::ostream& out, const SparseMatrix& matrix);

 private:
  friend class IncompleteCholeskyPreconditioner;  // factorises rows where they stand

  void copy(const SparseMatrix& other);
  const PackedRows& packed() const;

  qv::vector<qv::vector<SparseElement>> rows_;
  mutable std::unique_ptr<PackedRows> packed_;  // for products; null after a change
};

}  // namespace qvGeom
