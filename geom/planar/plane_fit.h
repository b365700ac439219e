#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/lines.h"
#include "geom/model/trellis/point_mesh.h"

namespace qvGeom {

// Planes through points in space. Points whose squares, or their sum, leave the range of a double, and points
// that are not finite, have no plane. Safe to call from several threads at once. O(n).

/// A plane through the mean of the points: their own, where they lie in one, and some plane through their
/// line. For others, as long as it slopes by less than a half right angle along x and y, the one that leaves
/// the least squared distances along z; steeper ones weigh the distances otherwise. Directions in which the
/// sum of squared offsets is below `qvLinear::epsilonTol` count as flat.
/// @param plane replaced; without normal where there is none, at the mean of the points, or at the origin
///              without points or with such as have no plane
/// @return number of directions, 0 to 2, in which the points spread
QVGEOM_API int fit(int n, const qvLinear::Point* points, qvLinear::Plane& plane);
/// The same for the vertices of a mesh.
QVGEOM_API int fit(const PointMesh& mesh, qvLinear::Plane& plane);

/// Whether points lie in a plane: a plane is fitted to all, and the fourth and all later points must be
/// nearer to it than `tolerance`. Three points always do, unless there is no plane to fit.
/// @param plane set on success only
QVGEOM_API bool recognizePlane(const qv::vector<qvLinear::Point>& points, qvLinear::Plane& plane,
                               double tolerance);
QVGEOM_API bool recognizePlane(const PointMesh& mesh, qvLinear::Plane& plane, double tolerance);

/// The plane through the first and the last point that leaves the least squared distances to the others.
/// Where these lie on the line between the two ends, or all around it alike, it is some plane through that
/// line.
/// @param plane without normal, at the origin, for two points or fewer and for equal ends
QVGEOM_API void fitWithEndsOnPlane(int n, const qvLinear::Point* points, qvLinear::Plane& plane);

}  // namespace qvGeom
