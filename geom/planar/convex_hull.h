#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/polyline.h"

namespace qvGeom {

// Convex hulls in the plane. Vertices come counter-clockwise, beginning with the lowest one, and among those
// with the rightmost. Points inside, points on the edges and repeated points are left out: of points at the
// same place the last one is taken, but for the first vertex the first.
//
// Points with a coordinate that is not finite, or beyond 1e150 in size, play no part: products of two
// coordinates stay in range. Where points lie in line but for rounding, one more or less may be a vertex.
//
// O(n log n) for points that all lie on their hull, nearly O(n) for scattered ones. Safe to call from several
// threads at once.

/// @param hull replaced by the indices of the hull's vertices; for fewer than three points by those of all
///             points. Where all points are at the same place there are two
/// @return whether the hull has more than one vertex; true for fewer than three points
QVGEOM_API bool convexHull2d(const qv::vector<qvLinear::Point2>& points, qv::vector<int>& hull);

/// The same with the vertices themselves. `hull` may be `points`.
QVGEOM_API bool convexHull2d(const qv::vector<qvLinear::Point2>& points, qv::vector<qvLinear::Point2>& hull);

/// The hull of the x and y of all vertices of all polylines, with z = 0. Null pointers are passed by, and so
/// are vertices without finite x and y.
QVGEOM_API bool convexHull2d(const qv::vector<const Polyline*>& lines, qv::vector<qvLinear::Point>& hull);
QVGEOM_API bool convexHull2d(const qv::vector<const Polyline2d*>& lines, qv::vector<qvLinear::Point>& hull);

}  // namespace qvGeom
