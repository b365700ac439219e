#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"

namespace qvLinear {

/// Line through a point. The direction is kept as given, never normalised: parameters are in units of it, so
/// that the two ends of an edge have parameters 0 and 1.
struct Line {
  Point origin;
  Vector direction;

  constexpr Line() = default;
  constexpr Line(const Point& o, const Vector& d) : origin(o), direction(d) {}

  constexpr Point eval(double t) const { return origin + t * direction; }
};

/// Line with an explicit parameterisation: parameter t is at origin + t direction.
struct ParamLine : Line {
  using Line::Line;
};

/// Plane by a point and a unit normal; the point is kept, since callers use it as a centre.
class Plane {
 public:
  constexpr Plane() = default;
  Plane(const Point& p, const Normal& n) : point(p), normal(n) { calculateD(); }

  Point point;
  Normal normal;
  double d = 0;  ///< eval(p) = normal . p + d

  /// Restores `d` after point or normal were set.
  constexpr void calculateD() { d = -(normal[0] * point[0] + normal[1] * point[1] + normal[2] * point[2]); }
  /// Signed distance, positive on the side of the normal.
  constexpr double eval(const Point& p) const {
    return normal[0] * p[0] + normal[1] * p[1] + normal[2] * p[2] + d;
  }
  /// Finite, with a direction.
  bool isValid() const;
};

/// Plane with an origin and two directions: (s, t) is at origin + s u + t v.
struct ParamPlane {
  Point origin;
  Vector u;
  Vector v;

  constexpr Point eval(double s, double t) const { return origin + s * u + t * v; }
};

/// Parameter of the foot point of `p`: (p - origin) . d / d . d; 0 when the direction is zero.
constexpr double projectParam(const Point& p, const Line& line) {
  const double dd = length2(line.direction);
  return dd > 0 ? dot(p - line.origin, line.direction) / dd : 0;
}
/// Foot point of `p` on the line.
constexpr Point project(const Point& p, const Line& line) { return line.eval(projectParam(p, line)); }

/// Whether `p` lies more than `tol` on the positive side.
constexpr bool isAbove(const Point& p, const Plane& plane, double tol) { return plane.eval(p) > tol; }

/// Where a line meets a plane. When the squared cosine between direction and normal is at most `tol`, the
/// line counts as parallel: `ok` is false and its origin is returned, so that the point is finite in any
/// case.
QVGEOM_API Point intersect(const Line& line, const Plane& plane, bool& ok, double tol);

/// The line common to two planes, with a unit direction along cross(a.normal, b.normal) and its origin at the
/// point of the line nearest to `a.point`. Parallel and antiparallel planes, and invalid ones, give false.
QVGEOM_API Line intersect(const Plane& a, const Plane& b, bool& ok);

/// Whether the segments a0 a1 (the edge) and b0 b1 come within `tol` of each other.
/// @param t      on true: parameter of the meeting point on the edge, [0, 1]
/// @param point  on true: the meeting point, on the edge
/// @param single on true: whether they meet in one point; segments that overlap along a stretch report the
///               stretch's start on the edge
QVGEOM_API bool doLineSegmentsIntersect(const Point2& a0, const Point2& a1, const Point2& b0,
                                        const Point2& b1, double tol, double& t, Point2& point, bool& single);

}  // namespace qvLinear
