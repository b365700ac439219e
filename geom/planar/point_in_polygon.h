#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/polyline.h"

namespace qvGeom {

// Where a point lies with respect to a planar polygon. All coordinates and tolerances are in model units, and
// their squares must be within the range of a double; others, and NaN, give any of the listed answers. No
// call fails. Safe to call from several threads at once.

enum pointPolygonRelation : int {
  kPointInside = 0,
  kPointOnBoundary = 1,
  kPointOutside = 2,
  kPointNotClassified = 3,  ///< never an answer
};

/// Whether `p` lies on the segment `a` `b`: nearer than `tolerance` to its line, with a foot point at most
/// `tolerance` past its ends. For `a` = `b`: whether `p` is at most `tolerance` from there. With a tolerance
/// of 0 no point lies on a segment of any length.
QVGEOM_API bool isPointOnEdge(const qvLinear::Point2& a, const qvLinear::Point2& b, const qvLinear::Point2& p,
                              double tolerance);

/// Even-odd test along +x. A point is on the boundary when it lies on an edge, or when an edge crosses its
/// height at a distance below `tolerance` along x: near flat edges the boundary is that much wider. With a
/// tolerance of 0 nothing is on the boundary, but for points equal to a repeated vertex.
/// @param polygon vertices in either sense, the first repeated at the end; without edges all is outside
/// @param relation kPointInside, kPointOnBoundary or kPointOutside
/// O(n); edges whose boxes do not reach the point cost a few comparisons.
QVGEOM_API void isPointInPolygon(const qvLinear::Point2& p, const qv::vector<qvLinear::Point2>& polygon,
                                 pointPolygonRelation& relation, double tolerance);

/// The same for a polyline. One that is not closed is taken as closed by an edge from its last vertex to its
/// first. Points outside its bounding box by more than `tolerance` are outside.
QVGEOM_API void intersectPointWithPolygon(const qvLinear::Point2& p, const Polyline2d& polygon,
                                          pointPolygonRelation& relation, double tolerance);

/// Even-odd test in single precision, without a tolerance. A point on a horizontal edge is inside, and one on
/// another edge counts as left of it. Each edge has its start and not its end, whichever is higher, so that a
/// point at exactly the height of a vertex where the boundary turns back may get the wrong answer.
/// @param p       x, y
/// @param polygon n + 1 vertices, the first repeated at the end
/// @param n       number of edges; false below 3
/// O(n).
QVGEOM_API bool pointPolygonIntersect2D(const float* p, const float (*polygon)[2], int n);

}  // namespace qvGeom
