#pragma once

#include <cstdint>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/large_array.h"
#include "geom/model/keel/progress.h"
#include "geom/model/keel/vectors.h"

namespace qvGeom {

/// Symmetric matrix by rows, the diagonal apart. Each pair of mirrored elements is given in both rows.
struct SymmetricRows {
  qv::vector<double> diagonal;
  qv::vector<int> starts;  // of each row among the columns, and one more behind the last
  qv::vector<int> columns;
  qv::vector<double> values;

  int size() const { return static_cast<int>(diagonal.size()); }
};

class Patience;

enum class FactorOutcome { done, notDefinite, cancelled };

/// L D L^T of a positive definite matrix, for preconditioning. The unknowns belong to points that are joined
/// to near ones only, as vertices of a surface are. These are numbered by dissection, halves before the seam
/// between them, which keeps L sparse: O(n log n) elements and O(n^1.5) time on a surface. After A. George,
/// Nested dissection of a regular finite element mesh (1973), and T. A. Davis, Algorithm 849: a concise
/// sparse Cholesky factorization package (2005).
///
/// @tparam Value  what L is rounded to: a solution reads all of it
/// @tparam kWidth number of right-hand sides that are solved for at once
template <typename Value, int kWidth>
class SparseFactor {
 public:
  /// @param rows     given up as soon as they are copied in order, since they and L are the most memory
  /// @param points   one for each row; only the cost depends on them
  /// @param progress asked for cancellation
  FactorOutcome factor(SymmetricRows rows, const qv::vector<qvLinear::Point>& points,
                       qvUtil::Progress& progress);

  /// Solves in place, for right-hand sides interleaved as x, y and z of points are. Not before a
  /// factorisation was done.
  /// @param progress null, or asked for cancellation: what is left then is no solution
  void solve(double* x, qvUtil::Progress* progress = nullptr) const;

 private:
  static constexpr int kLanes = kWidth + (kWidth > 1 && kWidth % 2);  // with a zero, so that they go in pairs

  struct Above;  // what a row has to the left of its diagonal

  bool analyse(const Above& rows, Patience& patience);
  FactorOutcome compute(const Above& rows, Patience& patience);

  qv::vector<int> order_;            // row of the matrix that each row of L stands for
  qv::vector<int> parent_;           // row of the first element below the diagonal in a column of L, or -1
  qv::vector<std::int64_t> starts_;  // of the columns of L
  qvUtil::LargeArray<int> rows_;
  qvUtil::LargeArray<Value> values_;
  qv::vector<double> inverseD_;
  mutable qv::vector<double> work_;
};

extern template class SparseFactor<float, 3>;
extern template class SparseFactor<double, 1>;

}  // namespace qvGeom
