#include "geom/planar/point_in_triangle.h"

#include <cmath>
#include <initializer_list>

#include "geom/model/keel/tolerances.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Point2Flt;
using qvLinear::Vector;

namespace {

using Vector2Flt = qvLinear::BasicVector<float, 2>;

// Solves w = s v + t u, eliminating t by the given coordinate of u. False, with s and t untouched, when a
// divisor is below the tolerance or zero, or the solution is not finite.
bool solveByAxis(const Vector2Flt& w, const Vector2Flt& v, const Vector2Flt& u, int axis, float tolerance,
                 float& s, float& t) {
  const int other = 1 - axis;
  const auto isZero = [&](float divisor) { return divisor == 0 || std::fabs(divisor) < tolerance; };
  const float det = v[other] * u[axis] - v[axis] * u[other];
  if (isZero(u[axis]) || isZero(det)) return false;
  const float sFound = (w[other] * u[axis] - w[axis] * u[other]) / det;
  const float tFound = (w[axis] - sFound * v[axis]) / u[axis];
  if (!std::isfinite(sFound) || !std::isfinite(tFound)) return false;
  s = sFound;
  t = tFound;
  return true;
}

bool inBounds(float s, float t) { return s >= 0 && s <= 1 && t >= 0 && s + t <= 1; }

// A part below this share of the whole area lies outside by rounding only.
constexpr double kOutsideShare = 1e-5;

}  // namespace

bool isPointInTriangleInclusive(const Point2Flt& p, const Point2Flt& a, const Point2Flt& b,
                                const Point2Flt& c, float& s, float& t) {
  const Vector2Flt u = b - a;
  s = t = 0;
  return solveByAxis(p - a, c - a, u, u[0] != 0 ? 0 : 1, 0, s, t) && inBounds(s, t);
}

bool isPointInTriangleDefinitive(const Point2Flt& p, const Point2Flt& a, const Point2Flt& b,
                                 const Point2Flt& c, float& s, float& t) {
  constexpr float kTol = qvLinear::epsilonTolFlt;
  const Vector2Flt u = b - a;
  s = t = 1.0f / 3;
  return solveByAxis(p - a, c - a, u, std::fabs(u[0]) > kTol ? 0 : 1, kTol, s, t) && inBounds(s, t);
}

bool isPointInTriangleInclusive(const Point& p, const Point& a, const Point& b, const Point& c) {
  return isPointInTriangleInclusive(p, a, b, c, 0.5 * cross(b - a, c - a));
}

bool isPointInTriangleInclusive(const Point& p, const Point& a, const Point& b, const Point& c,
                                const Vector& normal) {
  const double whole = length(normal);
  if (whole == 0) return false;
  const Vector toA = a - p;
  const Vector toB = b - p;
  const Vector toC = c - p;
  for (const Vector& part : {0.5 * cross(toB, toC), 0.5 * cross(toC, toA), 0.5 * cross(toA, toB)}) {
    if (dot(part, normal) > 0) continue;
    // Written so that NaN counts as outside.
    if (!(length(part) / whole < kOutsideShare)) return false;
  }
  return true;
}

}  // namespace qvGeom
