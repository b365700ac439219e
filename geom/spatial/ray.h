#pragma once

#include <limits>

#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/elements.h"

namespace qvGeom {

// Single rays. Directions need not be of unit length; ray parameters are in units of the direction, so that
// the point at t is origin + t dir. On a triangle p0, p1, p2 the barycentric u and v weight p1 and p2, and 1
// - u - v weights p0. Front is the side from which the corners run counter-clockwise.

/// Ray against triangle from both sides. A ray through an edge or a corner hits every triangle that shares
/// it: which side of an edge a ray passes is decided without rounding, so that no ray slips between
/// neighbours. Rays within 1e-6 of parallel, by the absolute size of the determinant dir . (e2 x e1), hit
/// nothing: so with edges below about 1e-3 for unit directions, nor do those whose determinant no double
/// holds. Hits behind the origin count, but those on back faces nearer than the cull distance do not: a ray
/// that starts on a surface would meet it at once.
/// @param dir      three doubles
/// @param orig     three floats; so are p0, p1, p2
/// @param t, u, v  written where the ray meets the triangle, even when the cull distance then rejects the hit
/// After T. Moeller and B. Trumbore, Fast, minimum storage ray/triangle intersection (1997).
QVGEOM_API bool intersectRayTriangle(double const* dir, float const* orig, float const* p0, float const* p1,
                                     float const* p2, double& t, double& u, double& v);

/// The same from the front alone; hits behind the origin count, at whatever distance.
QVGEOM_API bool intersectRayTriangleCull(double const* dir, float const* orig, float const* p0,
                                         float const* p1, float const* p2, double& t, double& u, double& v);

/// Whether the ray hits the triangle, from either side, at t > `qvLinear::epsilonTol`.
QVGEOM_API bool intersectRayTriangle(const qvLinear::Vector& dir, const qvLinear::PointFlt& orig,
                                     const qvLinear::PointFlt& p0, const qvLinear::PointFlt& p1,
                                     const qvLinear::PointFlt& p2);

/// Sets the distance below which back faces do not count, for the whole process; 1e-6 at first. Not while
/// rays are being traced.
QVGEOM_API void setBackfaceCullDistance(double distance);

/// A ray and the nearest hit that it has met. Origin and direction are references to values that must outlive
/// the ray and its copies.
class QVGEOM_API Ray {
 public:
  Ray(const qvLinear::PointFlt& origin, const qvLinear::Vector& dir);

  const qvLinear::PointFlt& origin() const { return *origin_; }
  const qvLinear::Vector& direction() const { return *direction_; }

  /// The record of the nearest hit: the largest float, 0 and 0 before the first.
  double triIntersectionRayParam() const { return t_; }
  double triIntersectionBaryU() const { return u_; }
  double triIntersectionBaryV() const { return v_; }

  /// Whether the ray is inside the box for some of the parameters between t0 and t1; touching the box at one
  /// of the two alone does not count, but passing along a side of it does. Single precision.
  bool intersects(const BoundingBox& box, float t0, float t1) const;

  /// Tests a triangle from both sides; hits at t <= `qvLinear::epsilonTolFlt` do not count. The record takes
  /// the hit if it is nearer.
  bool intersects(const MeshTriangle& triangle, MeshVertex const* vertices) const;

 private:
  qvLinear::PointFlt const* origin_;
  qvLinear::Vector const* direction_;
  float inverse_[3];  // of the direction; infinite for a zero component
  int near_[3];       // which of a box's six floats the ray enters and leaves by, axis by axis
  int far_[3];
  mutable double t_ = std::numeric_limits<float>::max();
  mutable double u_ = 0;
  mutable double v_ = 0;
};

}  // namespace qvGeom
