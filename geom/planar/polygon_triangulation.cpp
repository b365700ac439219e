// The polygon is cut off along each chord (i, j); the best triangulation of the part i .. j hangs a triangle
// with some apex k on the chord and joins the best parts i .. k and k .. j. Chords are taken by ascending j
// and, for each, by descending i: then everything about the chords (k, j) stands in one column, which fits a
// near cache, and everything about the chords (i, k) in one row, read from end to end.
//
// Most apexes are ruled out by the weights of the two parts, since adding the triangle can only make them
// worse; this needs no normals, and no square root. Whatever is not ruled out beyond doubt is weighed in
// full, so that the answer is that of weighing every apex.

#include "geom/planar/polygon_triangulation.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "geom/model/keel/tolerances.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::Vector;

class Alg {
 public:
  Alg(const qv::vector<Point>& polygon, const BitVector* forbidden, qvUtil::Progress* progress);
  bool run(qv::vector<int>& triangles);

 private:
  static constexpr int kReportEvery = 1000;  // apexes between two looks at the progress

  // The best triangulation of the part cut off by a chord, and the normal of the triangle that hangs on it.
  struct Chord {
    TriangulationWeight weight = TriangulationWeight::infinite();
    Vector normal;
    int apex = -1;
  };

  // Of chord (i, j) in the tables by rows; row i begins with its edge (i, i + 1).
  std::ptrdiff_t rowStart(int i) const { return std::ptrdiff_t{i} * (2 * std::ptrdiff_t{n_} - i - 1) / 2; }
  std::ptrdiff_t at(int i, int j) const { return rowStart(i) + (j - i - 1); }
  bool isSet(int row, int column) const {
    return forbidden_ && forbidden_->test(BitVector::Index{n_} * row + column);
  }
  void beginColumn(int j);
  bool solve(int i, int j);
  void store(int i, int j, const Chord& chord);
  void tryApexes(int i, int j, int from, int to, Chord& best) const;
  bool report();
  void emit(qv::vector<int>& triangles) const;

  const qv::vector<Point>& points_;
  const int n_;
  const BitVector* forbidden_;
  qvUtil::Progress* progress_;
  std::int64_t total_ = 0;  // apexes to examine
  std::int64_t done_ = 0;
  int untilReport_ = kReportEvery;

  // By rows, for every pair i < j. Apart, because most looks want the cosine alone.
  qv::vector<double> cosines_, areas_;
  qv::vector<Vector> normals_;
  qv::vector<int> apexes_;

  // Column j: chords (k, j), by k.
  qv::vector<double> columnCosines_, columnAreas_;
  qv::vector<Vector> columnNormals_;
  qv::vector<char> columnForbidden_;  // whether the bit of (k, j) is set
};

}  // namespace

bool triangulatePolygon(const qv::vector<Point>& polygon, qv::vector<int>& triangles, BitVector* forbidden,
                        qvUtil::Progress* progress) {
  triangles.clear();
  if (polygon.size() < 3) return true;
  return Alg(polygon, forbidden, progress).run(triangles);
}

namespace {

Alg::Alg(const qv::vector<Point>& polygon, const BitVector* forbidden, qvUtil::Progress* progress)
    : points_(polygon), n_(static_cast<int>(polygon.size())), forbidden_(forbidden), progress_(progress) {
  for (std::int64_t d = 3; d < n_; ++d) total_ += (n_ - d) * (d - 1);
  const std::size_t pairs = static_cast<std::size_t>(rowStart(n_ - 1));
  for (qv::vector<double>* table : {&cosines_, &areas_}) table->resize(pairs);
  normals_.resize(pairs);
  apexes_.resize(pairs);
  for (qv::vector<double>* column : {&columnCosines_, &columnAreas_}) column->resize(polygon.size());
  columnNormals_.resize(polygon.size());
  columnForbidden_.resize(polygon.size());
}

bool Alg::run(qv::vector<int>& triangles) {
  for (int j = 1; j < n_; ++j) {
    beginColumn(j);
    for (int i = j - 2; i >= 0; --i)
      if (!solve(i, j)) return false;
  }
  emit(triangles);
  return true;
}

void Alg::beginColumn(int j) {
  for (int k = 0; k < j; ++k) columnForbidden_[k] = isSet(k, j);
  Chord edge;
  edge.weight = TriangulationWeight::zero();
  store(j - 1, j, edge);
}

void Alg::store(int i, int j, const Chord& chord) {
  const std::ptrdiff_t place = at(i, j);
  cosines_[place] = columnCosines_[i] = chord.weight.minCos;
  areas_[place] = columnAreas_[i] = chord.weight.area;
  normals_[place] = columnNormals_[i] = chord.normal;
  apexes_[place] = chord.apex;
}

bool Alg::solve(int i, int j) {
  Chord best;
  best.apex = i + 1;
  const bool allForbidden = isSet(j, i);
  for (int k = i + 1; k < j;) {
    const bool counts = j - i > 2;
    const int end = counts ? std::min(j, k + untilReport_) : j;
    if (!allForbidden) tryApexes(i, j, k, end, best);
    if (counts) {
      untilReport_ -= end - k;
      if (untilReport_ == 0 && !report()) return false;
    }
    k = end;
  }
  store(i, j, best);
  return true;
}

bool Alg::report() {
  untilReport_ = kReportEvery;
  done_ += kReportEvery;
  if (!progress_) return true;
  if (progress_->cancelled()) return false;
  progress_->set(static_cast<double>(done_) / static_cast<double>(total_));
  return true;
}

void Alg::tryApexes(int i, int j, int from, int to, Chord& best) const {
  const std::ptrdiff_t row = at(i, from) - from;  // of chord (i, k) at row + k
  const Vector toJ = points_[j] - points_[i];
  for (int k = from; k < to; ++k) {
    const double bound = std::min(cosines_[row + k], columnCosines_[k]);
    if (bound < best.weight.minCos) continue;
    if (columnForbidden_[k] || isSet(i, k)) continue;
    // Rounding is monotonic: the sum of all three areas is no less than that of two.
    const double rowArea = areas_[row + k];
    const bool mustBeSmaller = bound == best.weight.minCos;
    if (mustBeSmaller && rowArea + columnAreas_[k] >= best.weight.area) continue;

    const Vector m = 0.5 * cross(points_[k] - points_[i], toJ);
    const double area = length(m);
    TriangulationWeight weight{area + rowArea + columnAreas_[k], std::min(bound, -1.0)};
    if (mustBeSmaller && weight.area >= best.weight.area) continue;
    Vector normal;
    if (!(area < qvLinear::epsilonTol)) {
      const Vector& rowNormal = normals_[row + k];
      const Vector& columnNormal = columnNormals_[k];
      // The cosines times the area, without divisions; the margin is far above their rounding.
      constexpr double kMargin = 1e-9;
      const double least = (best.weight.minCos - kMargin) * area;
      if (dot(m, rowNormal) < least || dot(m, columnNormal) < least) continue;
      normal = Vector(m[0] / area, m[1] / area, m[2] / area);
      weight.minCos = std::min({bound, dot(normal, rowNormal), dot(normal, columnNormal)});
    }
    if (!weight.isBetterThan(best.weight)) continue;
    best.weight = weight;
    best.normal = normal;
    best.apex = k;
  }
}

// Along a chord first what lies left of its triangle, then the triangle, then what lies right of it. The
// stack is our own: in a fan it would be as deep as the polygon is long.
void Alg::emit(qv::vector<int>& triangles) const {
  triangles.reserve(3 * (points_.size() - 2));
  struct Triangle {
    int i, k, j;
  };
  qv::vector<Triangle> open;  // triangles whose left part is being written
  int i = 0;
  int j = n_ - 1;
  for (;;) {
    while (j - i > 1) {
      const int k = apexes_[at(i, j)];
      open.push_back({i, k, j});
      j = k;
    }
    if (open.empty()) return;
    const Triangle t = open.back();
    open.pop_back();
    triangles.insert(triangles.end(), {t.i, t.k, t.j});
    i = t.k;
    j = t.j;
  }
}

}  // namespace
}  // namespace qvGeom
