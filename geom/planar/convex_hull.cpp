#include "geom/planar/convex_hull.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <new>
#include <numeric>

#include "geom/model/keel/ranges.h"

// A scan after R. L. Graham, An efficient algorithm for determining the convex hull of a finite planar set
// (1972), of the points that are left once those were put aside that plainly lie inside.

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Point2;
using qvLinear::Range1d;

namespace {

constexpr double kLargest = 1e150;

bool takesPart(const Point2& p) { return std::fabs(p[0]) <= kLargest && std::fabs(p[1]) <= kLargest; }

/// The side on which o, a, b turn: +1 left, -1 right, 0 when they lie in line. Swapping a and b gives the
/// opposite answer exactly, as rounding is the same for both.
int orient(const Point2& o, const Point2& a, const Point2& b) {
  const double turn = (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0]);
  return turn > 0 ? 1 : turn < 0 ? -1 : 0;
}

struct Item {
  Point2 point;
  int index;
};

// Tells the points that have others strictly to the lower left, the upper left, the lower right and the upper
// right, and so lie strictly within the hull of four. Comparisons alone decide that, so that rounding can put
// nothing aside that belongs to the hull. Of scattered points hardly more than those in the outermost columns
// are left.
class InnerPoints {
 public:
  explicit InnerPoints(const qv::vector<Point2>& points) {
    Range1d x;
    for (const Point2& p : points)
      if (takesPart(p)) x.unite(p[0]);
    if (!(x.size() > 0)) return;
    first_ = x.min;
    perUnit_ = kColumns / x.size();
    if (!std::isfinite(perUnit_)) perUnit_ = 0;
    for (const Point2& p : points)
      if (takesPart(p)) column(p[0]).unite(p[1]);
    keepLowerAndUpperBounds();
  }

  bool has(const Point2& p) const {
    const Range1d& inside = columns_[static_cast<std::size_t>(columnOf(p[0]))];
    return p[1] > inside.min && p[1] < inside.max;
  }

 private:
  static constexpr int kColumns = 1024;

  // Grows with x: a point in a lower column lies strictly to the left.
  int columnOf(double x) const { return std::min(static_cast<int>((x - first_) * perUnit_), kColumns - 1); }
  Range1d& column(double x) { return columns_[static_cast<std::size_t>(columnOf(x))]; }

  // Puts in the place of each column the heights between which a point of it is surrounded.
  void keepLowerAndUpperBounds() {
    std::array<Range1d, kColumns> toTheRight;
    Range1d seen;
    for (std::size_t c = kColumns; c-- > 0; seen.unite(columns_[c])) toTheRight[c] = seen;
    seen = Range1d();
    for (std::size_t c = 0; c < kColumns; ++c) {
      const Range1d here = columns_[c];
      columns_[c] = Range1d(std::max(seen.min, toTheRight[c].min), std::min(seen.max, toTheRight[c].max));
      seen.unite(here);
    }
  }

  double first_ = 0;
  double perUnit_ = 0;
  std::array<Range1d, kColumns> columns_;  // empty ones have nothing inside
};

class Scan {
 public:
  explicit Scan(const qv::vector<Point2>& points) {
    const InnerPoints inner(points);
    for (std::size_t i = 0; i < points.size(); ++i)
      if (takesPart(points[i]) && !inner.has(points[i])) items_.push_back({points[i], static_cast<int>(i)});
  }

  void run(qv::vector<int>& hull) {
    hull.clear();
    if (items_.empty()) return;
    choosePivot();
    sortByAngle();
    walk();
    for (const int i : hull_) hull.push_back(items_[i].index);
  }

 private:
  const Point2& at(int i) const { return items_[static_cast<std::size_t>(i)].point; }

  void choosePivot() {
    for (std::size_t i = 1; i < items_.size(); ++i) {
      const Point2& p = items_[i].point;
      const Point2& best = items_[pivot_].point;
      if (p[1] < best[1] || (p[1] == best[1] && p[0] > best[0])) pivot_ = static_cast<int>(i);
    }
  }

  // All others lie above the pivot, or level with it and to the left: their angles span half a turn at most.
  // A quotient that grows with the angle tells most of them apart; where two are equal but for rounding, the
  // turn decides, as it does in the walk.
  void sortByAngle() {
    qv::vector<Direction> directions;
    directions.reserve(items_.size());
    for (int i = 0; i < static_cast<int>(items_.size()); ++i)
      if (i != pivot_) directions.push_back({angleKey(at(i) - at(pivot_)), i});
    std::sort(directions.begin(), directions.end(), [](const Direction& a, const Direction& b) {
      return a.key < b.key || (a.key == b.key && a.item < b.item);
    });
    order_.reserve(directions.size());
    for (std::size_t first = 0; first < directions.size();) {
      order_.push_back(directions[first].item);
      std::size_t last = first + 1;
      for (; last < directions.size() && directions[last].key - directions[last - 1].key <= kSameAngle;
           ++last)
        order_.push_back(directions[last].item);
      // Turns that were rounded may contradict each other, which a merge survives.
      if (last - first > 1)
        std::stable_sort(order_.end() - static_cast<std::ptrdiff_t>(last - first), order_.end(),
                         [this](int i, int j) { return precedes(i, j); });
      first = last;
    }
  }

  // Of two in line with the pivot the nearer one comes first.
  bool precedes(int i, int j) const {
    const int turn = orient(at(pivot_), at(i), at(j));
    if (turn != 0) return turn > 0;
    const double di = distance2(at(pivot_), at(i)), dj = distance2(at(pivot_), at(j));
    return di < dj || (di == dj && i < j);
  }

  struct Direction {
    double key;
    int item;
  };
  static constexpr double kSameAngle = 1e-14;  // of keys; several times their rounding

  // From -1 to 1; points at the place of the pivot, which are in line with everything, come first.
  static double angleKey(const qvLinear::Vector2& v) {
    const double size = std::fabs(v[0]) + v[1];
    return size > 0 ? -v[0] / size : -2;
  }

  void walk() {
    hull_.push_back(pivot_);
    for (std::size_t k = 0; k < order_.size(); ++k) {
      const int i = order_[k];
      const bool fartherFollows = k + 1 < order_.size() && orient(at(pivot_), at(i), at(order_[k + 1])) == 0;
      if (fartherFollows) continue;
      while (hull_.size() > 1 && orient(at(i), at(hull_[hull_.size() - 2]), at(hull_.back())) <= 0)
        hull_.pop_back();
      hull_.push_back(i);
    }
  }

  qv::vector<Item> items_;
  int pivot_ = 0;
  qv::vector<int> order_;  // numbers of items, without the pivot
  qv::vector<int> hull_;
};

template <typename Line>
bool hullOfLines(const qv::vector<const Line*>& lines, qv::vector<Point>& hull) {
  qv::vector<Point2> points;
  for (const Line* line : lines) {
    if (!line) continue;
    for (int i = 0; i < line->getNumVertices(); ++i) {
      const Point2 p(line->getVertex(i)[0], line->getVertex(i)[1]);
      if (takesPart(p)) points.push_back(p);
    }
  }
  const bool found = convexHull2d(points, points);
  hull.clear();
  for (const Point2& p : points) hull.emplace_back(p[0], p[1], 0);
  return found;
}

}  // namespace

bool convexHull2d(const qv::vector<Point2>& points, qv::vector<int>& hull) {
  if (points.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
  if (points.size() < 3) {
    hull.resize(points.size());
    std::iota(hull.begin(), hull.end(), 0);
    return true;
  }
  Scan(points).run(hull);
  return hull.size() > 1;
}

bool convexHull2d(const qv::vector<Point2>& points, qv::vector<Point2>& hull) {
  qv::vector<int> indices;
  const bool found = convexHull2d(points, indices);
  qv::vector<Point2> result;
  result.reserve(indices.size());
  for (const int i : indices) result.push_back(points[i]);
  hull.swap(result);
  return found;
}

bool convexHull2d(const qv::vector<const Polyline*>& lines, qv::vector<Point>& hull) {
  return hullOfLines(lines, hull);
}
bool convexHull2d(const qv::vector<const Polyline2d*>& lines, qv::vector<Point>& hull) {
  return hullOfLines(lines, hull);
}

}  // namespace qvGeom
