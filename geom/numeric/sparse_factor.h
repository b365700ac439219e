#pragma once

#include <cstdint>

#include "geom/model/keel/containers.h"
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

/// L D L^T of a positive definite matrix, with L rounded to floats: good for preconditioning. The unknowns
/// belong to points that are joined to near ones only, as vertices of a surface are. These are numbered by
/// dissection, halves before the seam between them, which keeps L sparse: O(n log n) elements and O(n^1.5)
/// time on a surface.
/// After A. George, Nested dissection of a regular finite element mesh (1973), and T. A. Davis, Algorithm
/// 849: a concise sparse Cholesky factorization package (2005).
class SparseFactor {
 public:
  enum class Outcome { done, notDefinite, cancelled };

  /// @param points   one for each row; only the cost depends on them
  /// @param progress asked for cancellation
  Outcome factor(const SymmetricRows& rows, const qv::vector<qvLinear::Point>& points,
                 qvUtil::Progress& progress);

  /// Solves for three right-hand sides at once, interleaved as x, y and z of points are, in place. Not before
  /// a factorisation was done.
  void solve(double* x) const;

 private:
  static constexpr int kLanes = 4;  // x, y, z and a zero, so that they go in pairs

  struct Above;  // what a row has to the left of its diagonal

  void analyse(const Above& rows);
  Outcome compute(const Above& rows, qvUtil::Progress& progress);

  qv::vector<int> order_;            // row of the matrix that each row of L stands for
  qv::vector<int> parent_;           // row of the first element below the diagonal in a column of L, or -1
  qv::vector<std::int64_t> starts_;  // of the columns of L
  qv::vector<int> rows_;
  qv::vector<float> values_;  // half of what a solution reads
  qv::vector<double> inverseD_;
  mutable qv::vector<double> work_;
};

}  // namespace qvGeom
