#pragma once

#include <algorithm>
#include <limits>

#include "geom/model/keel/vectors.h"

namespace qvLinear {

/// Closed interval; empty (max below min) by default.
struct Range1d {
  double min = std::numeric_limits<double>::max();
  double max = std::numeric_limits<double>::lowest();

  constexpr Range1d() = default;
  constexpr Range1d(double lower, double upper) : min(lower), max(upper) {}

  constexpr bool isEmpty() const { return !(min <= max); }
  /// Length; 0 when empty.
  constexpr double size() const { return isEmpty() ? 0 : max - min; }
  /// Inclusive, with the interval grown by `tol` on both sides.
  constexpr bool contains(double v, double tol = 0) const { return v >= min - tol && v <= max + tol; }
  /// Values that compare unordered change nothing.
  constexpr void unite(double v) {
    if (v < min) min = v;
    if (v > max) max = v;
  }
  /// An empty interval changes nothing.
  constexpr void unite(const Range1d& r) {
    if (r.isEmpty()) return;
    if (r.min < min) min = r.min;
    if (r.max > max) max = r.max;
  }
};

/// Overlap of two intervals, [larger min, smaller max]. Ends that miss each other by no more than `tol` count
/// as touching and give their midpoint; otherwise disjoint intervals give an empty one, whose size is 0.
constexpr Range1d intersect(const Range1d& a, const Range1d& b, double tol) {
  Range1d r(std::max(a.min, b.min), std::min(a.max, b.max));
  if (r.min > r.max && r.min - r.max <= tol) r.min = r.max = 0.5 * (r.min + r.max);
  return r;
}

/// Axis-aligned box in N dimensions given by its corners; empty by default.
template <int N>
struct BasicRange {
  using PointType = BasicPoint<double, N>;
  PointType min;
  PointType max;

  constexpr BasicRange() {
    for (int i = 0; i < N; ++i) {
      min[i] = std::numeric_limits<double>::max();
      max[i] = std::numeric_limits<double>::lowest();
    }
  }
  constexpr BasicRange(const PointType& lower, const PointType& upper) : min(lower), max(upper) {}

  /// [0, 1] in every dimension; of use in the plane.
  static const BasicRange unitSquare;

  constexpr Range1d axis(int i) const { return {min[i], max[i]}; }
  constexpr bool isEmpty() const {
    for (int i = 0; i < N; ++i)
      if (axis(i).isEmpty()) return true;
    return false;
  }
  constexpr double width() const { return axis(0).size(); }
  constexpr double height() const { return axis(1).size(); }
  constexpr double area() const requires(N == 2) { return width() * height(); }
  /// Inclusive, with the box grown by `tol` on all sides.
  constexpr bool contains(const PointType& p, double tol = 0) const {
    for (int i = 0; i < N; ++i)
      if (!axis(i).contains(p[i], tol)) return false;
    return true;
  }
  /// Coordinates that compare unordered change nothing.
  constexpr void unite(const PointType& p) {
    for (int i = 0; i < N; ++i) {
      if (p[i] < min[i]) min[i] = p[i];
      if (p[i] > max[i]) max[i] = p[i];
    }
  }
  /// An empty box changes nothing.
  constexpr void unite(const BasicRange& r) {
    if (r.isEmpty()) return;
    for (int i = 0; i < N; ++i) {
      if (r.min[i] < min[i]) min[i] = r.min[i];
      if (r.max[i] > max[i]) max[i] = r.max[i];
    }
  }
};

template <int N>
constexpr BasicRange<N> makeUnitRange() {
  BasicRange<N> r;
  for (int i = 0; i < N; ++i) {
    r.min[i] = 0;
    r.max[i] = 1;
  }
  return r;
}
template <int N>
constexpr BasicRange<N> BasicRange<N>::unitSquare = makeUnitRange<N>();

using Range2d = BasicRange<2>;
using Range3d = BasicRange<3>;

}  // namespace qvLinear
