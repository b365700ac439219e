#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"

namespace qvGeom {

// Whether a point lies in a triangle. Either sense of the corners will do. O(1), safe to call from several
// threads at once.

/// Solves p - a = s (c - a) + t (b - a) in single precision: **s belongs to c**, t to b.
/// @param s, t written in any case, finite; both 0 when the triangle is degenerate (an exactly zero divisor)
///             or the solution is beyond the range of a float
/// @return whether s and t lie in [0, 1] and add up to at most 1; false for a degenerate triangle
/// After D. Badouel, An efficient ray-polygon intersection (Graphics Gems, 1990).
QVGEOM_API bool isPointInTriangleInclusive(const qvLinear::Point2Flt& p, const qvLinear::Point2Flt& a,
                                           const qvLinear::Point2Flt& b, const qvLinear::Point2Flt& c,
                                           float& s, float& t);

/// The same, with divisors below `qvLinear::epsilonTolFlt` in magnitude taken for zero, among them twice the
/// area. `s` and `t` are then 1/3 each, so that whatever they weight comes out at the centre.
QVGEOM_API bool isPointInTriangleDefinitive(const qvLinear::Point2Flt& p, const qvLinear::Point2Flt& a,
                                            const qvLinear::Point2Flt& b, const qvLinear::Point2Flt& c,
                                            float& s, float& t);

/// Whether `p`, a point of the triangle's plane, lies in the triangle or no farther outside than that the
/// triangle which it spans with an edge has 1e-5 of the area. Off the plane this is about the point's
/// projection, with areas that are too large. False without an area, and for NaN.
QVGEOM_API bool isPointInTriangleInclusive(const qvLinear::Point& p, const qvLinear::Point& a,
                                           const qvLinear::Point& b, const qvLinear::Point& c);

/// The same for a caller who has the normal.
/// @param normal half the cross product of b - a and c - a; its length is the area that others are held
/// against
QVGEOM_API bool isPointInTriangleInclusive(const qvLinear::Point& p, const qvLinear::Point& a,
                                           const qvLinear::Point& b, const qvLinear::Point& c,
                                           const qvLinear::Vector& normal);

}  // namespace qvGeom
