#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/polyline.h"

namespace qvGeom {

/// A rectangle in the plane, in any direction: consecutive corners share a side.
struct Rect2 {
  qvLinear::Point2 corner[4];
};

/// The rectangle of least area that has a side along an edge of the convex hull of all vertices of all
/// polylines, seen along z. Among rectangles of the same area that of the first hull edge, counted from the
/// hull's first vertex (see convexHull2d, also for vertices that play no part).
///
/// A rectangle whose sides differ by no more than 1e-6 from their mean becomes the square with sides of that
/// length along the axes, about the same centre: turning a square makes nothing smaller, and axes are easier
/// to lay out. It may leave vertices outside.
///
/// @param margin by which the rectangle then grows on every side, model units; negative ones shrink it. One
///               that is not finite, or beyond 1e150 in size, counts as 0
/// @param rect   counter-clockwise, the first side one of the longer two; untouched without vertices
/// @param ratio  of the largest to the smallest area over all hull edges. 0 without vertices; 1 for a single
///               point, which is its own rectangle; the largest float where there is no area: of two hull
///               vertices, which give the square about their middle with sides of their distance
/// O(n log n) at most. Safe to call from several threads at once.
/// After G. Toussaint, Solving geometric problems with the rotating calipers (1983).
QVGEOM_API void minAreaBound(const qv::vector<const Polyline*>& lines, double margin, Rect2& rect,
                             float& ratio);
QVGEOM_API void minAreaBound(const qv::vector<const Polyline2d*>& lines, double margin, Rect2& rect,
                             float& ratio);

}  // namespace qvGeom
