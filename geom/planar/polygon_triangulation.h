#pragma once

#include <limits>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/bit_vector.h"

namespace qvGeom {

/// What a set of triangles costs: the sharpest bend between neighbours first, then the surface.
struct TriangulationWeight {
  double area = 0;    ///< sum of the areas, squared model units
  double minCos = 1;  ///< smallest cosine between the normals of adjacent triangles

  /// Of no triangles.
  static constexpr TriangulationWeight zero() { return {}; }
  /// Of a triangulation that must not be.
  static constexpr TriangulationWeight infinite() { return {std::numeric_limits<double>::max(), -1}; }

  /// Areas add up; the smaller cosine counts.
  friend constexpr TriangulationWeight operator+(const TriangulationWeight& a, const TriangulationWeight& b) {
    return {a.area + b.area, b.minCos < a.minCos ? b.minCos : a.minCos};
  }
  constexpr bool isBetterThan(const TriangulationWeight& other) const {
    return minCos > other.minCos || (minCos == other.minCos && area < other.area);
  }
};

/// Triangulates a closed polygon in space without new points, from its edges inwards: on each chord hangs the
/// triangle that, with the best triangulations of the two parts beyond its other sides, gives the least sharp
/// bend between adjacent triangles and, among those, the least area. As each part is settled before what lies
/// on this side of its chord, another triangulation may do better as a whole; in a convex planar polygon none
/// does.
///
/// Beyond each edge of the polygon there is no normal, which counts as a right angle, so that no weight has a
/// cosine above 0. Neither has a triangle without area (below `qvLinear::epsilonTol`), which itself counts as
/// folded back (cosine -1).
///
/// @param polygon   n corners in order, model units; the last is joined to the first, which is not repeated
/// @param triangles replaced by 3 (n - 2) positions in `polygon`: ascending in each triangle, so that all
///                  triangles go round as the polygon does; none for n < 3. Empty after cancelling
/// @param forbidden n x n bits by rows, or null: a triangle (a, b, c), a < b < c, with the bit n a + b,
///                  n b + c or n c + a is avoided as long as any triangulation does without such triangles.
///                  Bits past its end count as clear
/// @param progress  or null: asked for cancellation and given the fraction done after every 1000 apexes
///                  examined for chords that span three edges or more
/// @return false only when cancelled
///
/// Ties go to the smaller apex on the longer chord. Any input has an answer: repeated, collinear and
/// non-finite points, and polygons that cannot be triangulated without forbidden triangles, give some
/// triangulation of the polygon's positions.
/// O(n^3) time, at worst, and O(n^2) memory: 44 bytes for each pair of corners. Safe to call from several
/// threads at once.
/// After G. Barequet and M. Sharir, Filling gaps in the boundary of a polyhedron (1995), with the order of
/// weights of P. Liepa, Filling holes in meshes (2003).
QVGEOM_API bool triangulatePolygon(const qv::vector<qvLinear::Point>& polygon, qv::vector<int>& triangles,
                                   BitVector* forbidden, qvUtil::Progress* progress);

}  // namespace qvGeom
