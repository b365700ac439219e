#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/polyline.h"

namespace qvGeom {

// How a segment or another polygon lies to a planar polygon. Model units; coordinates whose squares leave the
// range of a double, and NaN, give any of the listed answers. Safe to call from several threads at once.

enum ELineSegmentPolygonIntersection : int {
  kSegmentUnclear = 0,   ///< none of the others: three contacts or more, or ends on the boundary
  kSegmentOutside = 1,   ///< no contact, both ends outside
  kSegmentInside = 2,    ///< no contact, both ends inside
  kSegmentCrosses = 3,   ///< two contacts, or one with an end inside
  kSegmentTouches = 4,   ///< one contact, from outside
  kSegmentOverlaps = 5,  ///< runs along an edge
};

/// Where a segment meets the edges of a polygon.
/// @param polygon   its edges are those between consecutive vertices; for inside and outside it counts as
///                  closed
/// @param points    replaced by the contacts in the order of the edges, without those within `tolerance`
///                  of an earlier one; empty for an overlap
/// @param params    replaced by the edge number plus the fraction along it of each point; for an overlap only
///                  that of its start on the first overlapped edge
/// @param tolerance how near counts as contact and as boundary
/// Three contacts or more are listed on the standard output as well. O(n).
QVGEOM_API void intersectLineSegmentWithPolygon(const qvLinear::Point2& a, const qvLinear::Point2& b,
                                                const Polyline2d& polygon,
                                                ELineSegmentPolygonIntersection& result,
                                                qv::vector<qvLinear::Point2>& points,
                                                qv::vector<double>& params, double tolerance);

enum EPolygonsIntersection : int {
  kPolygonsInvalid = 0,
  kPolygonsDisjoint = 1,
  kSecondInFirst = 2,
  kFirstInSecond = 3,
  kPolygonsEqual = 4,
  kPolygonsOverlap = 5,
};

/// What two polygons have in common. Made for convex polygons in the same sense: their outline is traced
/// along the boundaries, from one polygon to the other where they cross, in at most as many steps as both
/// have edges. Where an edge meets the other polygon in more than two points, the trace is incomplete.
/// Containment is judged by the vertices alone and does not depend on the trace.
/// @param a, b      closed, at least four vertices with the repeated first, box of positive area; else
///                  kPolygonsInvalid
/// @param out       the common outline, closed: `a` or `b` when contained in the other, empty when disjoint.
///                  Polygons that share a stretch of boundary only may give an outline without area.
///                  Untouched when invalid. May be `a` or `b`
/// @param tolerance how near to a boundary the trace counts as on it. Contacts and containment go by 1e-6
/// O((na + nb)^2).
QVGEOM_API void intersectPolygons(const Polyline2d& a, const Polyline2d& b, EPolygonsIntersection& result,
                                  Polyline2d& out, double tolerance);

}  // namespace qvGeom
