#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/ranges.h"

namespace qvGeom {

// Rectangles laid out in the unit square, without turning them. They overlap by no more than
// `qvLinear::epsilonTol`. Safe to call from several threads at once.

/// Places rectangles in the given order: the first free piece of the square that takes one is cut along the
/// rectangle's edges, first across the direction in which more is left over.
/// @param ranges sizes, wherever they are; each becomes the place found for it, of the same size but for
///               rounding
/// @return false when one cannot be placed: those before it have been, the others keep their values. The
///         last one comes first of all: when it is larger than the square, nothing is placed. Neither is when
///         any size is negative or not finite. True for no ranges
/// O(n) pieces, looked through in blocks: O(n^1.5) for all but contrived sizes.
QVGEOM_API bool pack(qv::vector<qvLinear::Range2d>& ranges);

/// Fits rectangles into the unit square: in the order of their larger sides, the largest first and equal ones
/// as given, they are placed and, as long as that fails, shrunk and placed again. What they leave free is
/// used at last: if their common box can grow by more than a hundredth, all are scaled up.
/// @param ranges keep their order; untouched when a size is negative or not finite
/// @param steps  attempts in which sizes are about halved, at least 1. Many steps waste less and take longer:
///               each attempt costs O(n) at least
/// Prints the first six places and a summary on the debug channel; "coverage" there is the factor by which
/// sizes were shrunk.
QVGEOM_API void pack(qv::vector<qvLinear::Range2d>& ranges, int steps);

}  // namespace qvGeom
