#include "geom/planar/scan_conversion.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "geom/planar/triangle_system.h"

namespace qvGeom {

using qvLinear::Point2Flt;

namespace {

bool isFinite(const Point2Flt& p) { return std::isfinite(p[0]) && std::isfinite(p[1]); }

// Columns from `begin` up to, but not including, `end`.
struct Columns {
  int begin;
  int end;

  bool isEmpty() const { return begin >= end; }
  int size() const { return isEmpty() ? 0 : end - begin; }
  void intersect(const Columns& other) {
    begin = std::max(begin, other.begin);
    end = std::min(end, other.end);
  }
};

// An edge along one row of samples: positive to its left. In double, where the coordinates of a drawing leave
// no rounding in the sign.
class RowEdge {
 public:
  RowEdge(const Point2Flt& from, const Point2Flt& to, float y)
      : x_(static_cast<double>(from[0])),
        dy_(static_cast<double>(to[1]) - static_cast<double>(from[1])),
        rise_((static_cast<double>(to[0]) - x_) * (static_cast<double>(y) - static_cast<double>(from[1]))) {}

  bool isNegativeAt(float x) const { return rise_ - dy_ * (static_cast<double>(x) - x_) < 0; }

 private:
  double x_;
  double dy_;
  double rise_;
};

// The columns before and after the one where an edge's sign changes. Along a row the edge function is
// monotone, also as rounded, since each of its steps is; so the sign changes once at most.
template <typename IsNegativeAt>
void splitBySign(const Columns& all, const IsNegativeAt& isNegativeAt, Columns& negative, Columns& others) {
  const bool first = isNegativeAt(all.begin);
  int low = all.begin;
  int high = all.end;
  if (isNegativeAt(high - 1) != first)
    --high;
  else
    low = high;
  while (high - low > 1) {
    const int middle = low + (high - low) / 2;
    (isNegativeAt(middle) == first ? low : high) = middle;
  }
  const Columns before{all.begin, high};
  const Columns after{high, all.end};
  negative.intersect(first ? before : after);
  others.intersect(first ? after : before);
}

// The first unbroken run of columns that are in either.
Columns firstRun(Columns a, Columns b) {
  if (a.isEmpty() || (!b.isEmpty() && b.begin < a.begin)) std::swap(a, b);
  return {a.begin, !b.isEmpty() && b.begin == a.end ? b.end : a.end};
}

// A coordinate's place on the grid, held within it.
int placeOn(double place, int last) {
  return static_cast<int>(std::clamp(place, 0.0, static_cast<double>(last)));
}

}  // namespace

MeshScanConverter::MeshScanConverter(int width, int height, float margin)
    : last_{std::max(width, 0) - 1, std::max(height, 0) - 1} {
  for (int k = 0; k < 2; ++k) {
    const double rim = static_cast<double>(margin);
    const double size = last_[k] + 2 * rim;
    scale_[k] = 1 / size;
    offset_[k] = rim / size;
    if (std::isfinite(scale_[k]) && std::isfinite(offset_[k])) continue;
    scale_[k] = 0;
    offset_[k] = 0;
  }
}

void MeshScanConverter::setPointSampleCB(PointSampleFunc func, void* user) {
  pointSample_ = func;
  pointSampleUser_ = user;
}

void MeshScanConverter::setTriangleCB(TriangleFunc func, void* user) {
  triangle_ = func;
  triangleUser_ = user;
}

float MeshScanConverter::positionOf(int sample, int axis) const {
  return static_cast<float>(sample * scale_[axis] + offset_[axis]);
}

int MeshScanConverter::scanTriangle(float x0, float y0, float x1, float y1, float x2, float y2) {
  const Point2Flt corners[3] = {{x0, y0}, {x1, y1}, {x2, y2}};
  if (last_[0] < 0 || last_[1] < 0 || !std::all_of(corners, corners + 3, isFinite)) return 0;
  std::copy_n(corners, 3, sorted_);
  // By neighbours: corners at one height keep their order, on which depends which way the triangle runs.
  for (const int k : {0, 1, 0})
    if (sorted_[k + 1][1] < sorted_[k][1]) std::swap(sorted_[k], sorted_[k + 1]);
  const auto [left, right] = std::minmax({x0, x1, x2});
  const float low = sorted_[0][1];
  const float high = sorted_[2][1];
  if (low > 1 || high < 0 || left > 1 || right < 0) return 0;

  const auto first = [this](float at, int k) {
    return placeOn(std::floor(static_cast<double>(at) * last_[k]), last_[k]);
  };
  const auto last = [this](float at, int k) {
    return placeOn(std::ceil(static_cast<double>(at) * last_[k]), last_[k]);
  };
  const int columns[2] = {first(left, 0), last(right, 0)};
  const int rows[2] = {first(low, 1), last(high, 1)};
  if (triangle_) triangle_(triangleUser_, columns[1] - columns[0] + 1, rows[1] - rows[0] + 1);
  std::int64_t samples = 0;
  for (int row = rows[0]; row <= rows[1]; ++row)
    samples += scanSpan(corners[0], corners[1], corners[2], columns[0], columns[1], row);
  return static_cast<int>(std::min<std::int64_t>(samples, std::numeric_limits<int>::max()));
}

int MeshScanConverter::scanSpan(const Point2Flt& p0, const Point2Flt& p1, const Point2Flt& p2,
                                int firstColumn, int lastColumn, int row) {
  const Columns all{std::max(firstColumn, 0), std::min(lastColumn, last_[0]) + 1};
  if (all.isEmpty() || row < 0 || row > last_[1]) return 0;
  const float y = positionOf(row, 1);
  Columns negative = all;
  Columns others = all;
  for (int k = 0; k < 3; ++k) {
    const RowEdge edge(sorted_[k], sorted_[(k + 1) % 3], y);
    const auto isNegativeAt = [&](int column) { return edge.isNegativeAt(positionOf(column, 0)); };
    splitBySign(all, isNegativeAt, negative, others);
  }
  const Columns run = firstRun(negative, others);
  const PointSampleFunc func = pointSample_;
  if (!func) return run.size();
  void* const user = pointSampleUser_;
  const TriangleSystem weights = TriangleSystem::definitive(p0, p1, p2);
  for (int column = run.begin; column < run.end; ++column) {
    float second = 1.0f / 3;
    float third = 1.0f / 3;
    weights.solve({positionOf(column, 0), y}, third, second);
    func(user, column, row, second, third);
  }
  return run.size();
}

}  // namespace qvGeom
