#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/polyline.h"

namespace qvGeom {

// An angular sector of the plane: all that a ray from `apex` sweeps counter-clockwise from direction `d0` to
// `d1`, neither of which need have unit length. Equal directions give a single ray, opposite ones a half
// plane. Model units. Safe to call from several threads at once.

enum EPointSectorIntersection : int {
  kNoSector = 0,  ///< a direction shorter than `qvLinear::epsilonTol`, or not a number
  kOutsideSector = 1,
  kInsideSector = 2,
  kOnSectorBoundary = 3,
};

/// Where `p` lies. Near the apex `tolerance` decides, along the rays the cross product of the direction with
/// p - apex, which must be below `qvLinear::epsilonTol`. In a sector wider than a half turn, the lines
/// through its rays count as inside behind the apex. O(1).
QVGEOM_API void isPointInsideSector(const qvLinear::Point2& p, const qvLinear::Point2& apex,
                                    const qvLinear::Vector2& d0, const qvLinear::Vector2& d1,
                                    EPointSectorIntersection& result, double tolerance);

enum ESectorPolygonIntersection : int {
  kSectorPolygonUnknown = 0,  ///< never an answer
  kSectorInvalid = 1,         ///< as kNoSector
  kSectorPolygonInvalid = 2,  ///< fewer than three vertices, or a box without area
  kSectorPolygonDisjoint = 3,
  kSectorPolygonOverlap = 4,
  kSectorPolygonTouch = 5,  ///< one or two common points
};

/// What a sector and a polygon have in common: the polygon's vertices in the sector, the points where its
/// edges meet the rays (by increasing parameter along an edge), and the apex, where it lies in the polygon,
/// in front of the first point at which the boundary comes to the sector from outside.
/// @param polygon   in counter-clockwise sense, or the apex comes at the wrong place; taken as closed
/// @param out       with kSectorPolygonOverlap replaced by these points in the order of the boundary, without
///                  repetitions, closed, with the parameters 1, 2, 3, ...; otherwise untouched. It is the
///                  outline of the common part where that is in one piece. May be `polygon`
/// @param tolerance how near counts as contact, and as the same point
/// O(n^2) at worst, in the number of common points.
QVGEOM_API void isSectorPolygonIntersect(const qvLinear::Point2& apex, const qvLinear::Vector2& d0,
                                         const qvLinear::Vector2& d1, const Polyline2d& polygon,
                                         ESectorPolygonIntersection& result, Polyline2d& out,
                                         double tolerance);

}  // namespace qvGeom
