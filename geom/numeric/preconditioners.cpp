#include "geom/numeric/preconditioners.h"

#include <cmath>

namespace qvGeom {

Preconditioner::~Preconditioner() = default;

DiagonalPreconditioner::DiagonalPreconditioner(const SparseMatrix& A) : inverse_(A.size()) {
  for (int i = 0; i < A.size(); ++i) inverse_[i] = 1.0 / A.getElement(i, i);
}

DiagonalPreconditioner::~DiagonalPreconditioner() = default;

void DiagonalPreconditioner::applyInverse(const NVector& r, NVector& z) const {
  const int n = inverse_.size();
  if (r.size() != n || z.size() != n) return;
  for (int i = 0; i < n; ++i) z[i] = r[i] * inverse_[i];
}

// The factorisation goes row by row over the upper triangle. Row k is reduced by the earlier rows that have
// an element in column k, which the rows that were finished list.
IncompleteCholeskyPreconditioner::IncompleteCholeskyPreconditioner(const SparseMatrix& A)
    : L_(A.size()), U_(A.size()) {
  const int n = A.size();
  A.getUpperTriangular(U_);
  qv::vector<qv::vector<int>> rowsOfColumn(static_cast<std::size_t>(n));  // ascending, diagonal left out
  for (int k = 0; k < n; ++k) {
    auto& row = U_.rows_[k];
    for (const int i : rowsOfColumn[k]) {
      const double u = U_.getElement(i, k);
      for (SparseElement& element : row)
        if (element.value != 0) element.value -= U_.getElement(i, element.column) * u;
    }
    double pivot = 0;
    for (SparseElement& element : row)
      if (element.column == k) pivot = element.value = std::sqrt(element.value);
    for (SparseElement& element : row) {
      if (element.column != k) {
        element.value /= pivot;
        rowsOfColumn[element.column].push_back(k);
      }
      L_.rows_[element.column].emplace_back(k, element.value);
    }
  }
}

IncompleteCholeskyPreconditioner::~IncompleteCholeskyPreconditioner() = default;

namespace {

// Solves for one unknown; the others in the row are known.
void substitute(const qv::vector<SparseElement>& row, int i, NVector& z) {
  double sum = z[i];
  double diagonal = 0;
  for (const SparseElement& element : row)
    if (element.column != i)
      sum -= z[element.column] * element.value;
    else
      diagonal = element.value;
  z[i] = sum / diagonal;
}

}  // namespace

void IncompleteCholeskyPreconditioner::applyInverse(const NVector& r, NVector& z) const {
  const int n = L_.size();
  if (r.size() != n || z.size() != n) return;
  z = r;
  for (int i = 0; i < n; ++i) substitute(L_.row(i), i, z);
  for (int i = n - 1; i >= 0; --i) substitute(U_.row(i), i, z);
}

}  // namespace qvGeom
