#pragma once

#include "geom/model/keel/export.h"
#include "geom/numeric/n_vector.h"
#include "geom/numeric/sparse_matrix.h"

namespace qvGeom {

/// Approximates the inverse of a matrix, to speed up conjugate gradients. Pivots are not tested: a zero or
/// missing diagonal gives infinities, a negative pivot of the incomplete factorisation NaN. One thread at a
/// time, since derived classes may keep scratch; the two below keep none, and several threads may apply one.
class QVGEOM_API Preconditioner {
 public:
  virtual ~Preconditioner();
  /// z = M^-1 r. Both have the size of the matrix; with another size nothing happens.
  virtual void applyInverse(const NVector& r, NVector& z) const = 0;

 protected:
  Preconditioner() = default;
  Preconditioner(const Preconditioner&) = default;
  Preconditioner& operator=(const Preconditioner&) = default;
};

/// Divides by the diagonal.
class QVGEOM_API DiagonalPreconditioner : public Preconditioner {
 public:
  explicit DiagonalPreconditioner(const SparseMatrix& A);
  ~DiagonalPreconditioner() override;
  void applyInverse(const NVector& r, NVector& z) const override;

  /// 1 / A(i, i).
  const NVector& inverseDiagonal() const { return inverse_; }

 private:
  NVector inverse_;
};

/// Incomplete Cholesky factorisation without fill-in, of the upper triangle of A: exact where the complete
/// one has no other elements, as for a tridiagonal matrix.
class QVGEOM_API IncompleteCholeskyPreconditioner : public Preconditioner {
 public:
  explicit IncompleteCholeskyPreconditioner(const SparseMatrix& A);
  ~IncompleteCholeskyPreconditioner() override;
  void applyInverse(const NVector& r, NVector& z) const override;

  /// The factors, transposes of each other: L by rows with ascending columns, U in the element order of A.
  const SparseMatrix& lower() const { return L_; }
  const SparseMatrix& upper() const { return U_; }

 private:
  SparseMatrix L_;
  SparseMatrix U_;
};

}  // namespace qvGeom
