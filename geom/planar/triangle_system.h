#pragma once

#include <cmath>

#include "geom/model/keel/tolerances.h"
#include "geom/model/keel/vectors.h"

// The system behind the tests of points in triangles. Not part of the public surface.

namespace qvGeom {

/// Solves p - a = s (c - a) + t (b - a) for one triangle and any number of points, in single precision,
/// eliminating t by the given coordinate of b - a.
class TriangleSystem {
 public:
  using Point = qvLinear::Point2Flt;

  /// @param tolerance divisors below it in magnitude count as zero
  TriangleSystem(const Point& a, const Point& b, const Point& c, int axis, float tolerance)
      : a_(a), u_(b - a), v_(c - a), axis_(axis) {
    const int other = 1 - axis;
    det_ = v_[other] * u_[axis] - v_[axis] * u_[other];
    const auto isZero = [&](float divisor) { return divisor == 0 || std::fabs(divisor) < tolerance; };
    solvable_ = !isZero(u_[axis]) && !isZero(det_);
  }
  /// The choice of axis and tolerance of `isPointInTriangleDefinitive`.
  static TriangleSystem definitive(const Point& a, const Point& b, const Point& c) {
    constexpr float kTol = qvLinear::epsilonTolFlt;
    return {a, b, c, std::fabs((b - a)[0]) > kTol ? 0 : 1, kTol};
  }

  /// False, with s and t untouched, when a divisor is zero or the solution is not finite.
  bool solve(const Point& p, float& s, float& t) const {
    if (!solvable_) return false;
    const Vec w = p - a_;
    const int other = 1 - axis_;
    const float sFound = (w[other] * u_[axis_] - w[axis_] * u_[other]) / det_;
    const float tFound = (w[axis_] - sFound * v_[axis_]) / u_[axis_];
    if (!std::isfinite(sFound) || !std::isfinite(tFound)) return false;
    s = sFound;
    t = tFound;
    return true;
  }

 private:
  using Vec = qvLinear::BasicVector<float, 2>;

  Point a_;
  Vec u_, v_;
  int axis_;
  float det_;
  bool solvable_;
};

}  // namespace qvGeom
