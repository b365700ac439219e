#include "geom/planar/point_in_triangle.h"

#include <initializer_list>

#include "geom/planar/triangle_system.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Point2Flt;
using qvLinear::Vector;

namespace {

bool inBounds(float s, float t) { return s >= 0 && s <= 1 && t >= 0 && s + t <= 1; }

// A part below this share of the whole area lies outside by rounding only.
constexpr double kOutsideShare = 1e-5;

}  // namespace

bool isPointInTriangleInclusive(const Point2Flt& p, const Point2Flt& a, const Point2Flt& b,
                                const Point2Flt& c, float& s, float& t) {
  s = t = 0;
  return TriangleSystem(a, b, c, (b - a)[0] != 0 ? 0 : 1, 0).solve(p, s, t) && inBounds(s, t);
}

bool isPointInTriangleDefinitive(const Point2Flt& p, const Point2Flt& a, const Point2Flt& b,
                                 const Point2Flt& c, float& s, float& t) {
  s = t = 1.0f / 3;
  return TriangleSystem::definitive(a, b, c).solve(p, s, t) && inBounds(s, t);
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
