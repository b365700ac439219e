#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/lines.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/frustum.h"

namespace qvGeom {

/// Ball around a point, model units.
struct Sphere {
  qvLinear::Point center;
  double radius = 0;
};

// Tests of axis-aligned boxes. Touching counts as meeting, everywhere. Pure functions. A comparison with a
// NaN separates no box from a triangle, a segment or a plane; box and ball do not meet where either has one,
// nor do box and view volume where it reaches the planes; and nothing contains, or is contained, that has
// one.

/// Box against view volume: false when all corners of the volume lie beyond one side of the box, or all
/// corners of the box outside one plane of the volume. Two convex bodies that are apart in no such direction
/// pass, so that a box beside an edge of the volume may be taken for one that meets it.
QVGEOM_API bool intersects(const BoundingBox& box, const Frustum& frustum);

/// Box against ball; the centre is rounded to single precision.
QVGEOM_API bool intersects(const BoundingBox& box, const Sphere& sphere);

/// Box against triangle, by the separating axes in single precision: exact but for rounding. A triangle
/// without a plane is not separated by it.
/// @param p0, p1, p2 three floats each
/// After T. Akenine-Moeller, Fast 3D triangle-box overlap testing (2001).
QVGEOM_API bool intersects(const BoundingBox& box, float const* p0, float const* p1, float const* p2);

/// Box against segment, likewise.
QVGEOM_API bool intersects(const BoundingBox& box, float const* p0, float const* p1);

/// Which side of the plane the box lies on: +1 or -1 when it is wholly on the positive or the negative side
/// and does not touch, else 0.
QVGEOM_API int intersects(const BoundingBox& box, const qvLinear::Plane& plane);

/// Closed: points on the boundary are contained.
QVGEOM_API bool contains(const Frustum& frustum, const qvLinear::Point& p);
QVGEOM_API bool contains(const BoundingBox& box, const qvLinear::PointFlt& p);

/// The interval [min, max] of dir . q over all points q of the box.
QVGEOM_API void project(const BoundingBox& box, const qvLinear::VectorFlt& dir, float& min, float& max);

}  // namespace qvGeom
