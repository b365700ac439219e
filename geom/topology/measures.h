#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/mesh_placement.h"

namespace qvGeom {

// Global measures. Areas and boxes run on the shared thread pool; all may be called from several threads on
// one mesh. None reports errors: indices are assumed in range, and what cannot be measured has the value 0.
// Areas and placed boxes that no float can hold count as the largest float.

/// Area of a placed mesh, in squared units of the chosen coordinates.
/// For the vertices, positions go through the linear part of the placement and areas are computed and summed
/// in double; for the texture coordinates the placement plays no part and areas are computed in float,
/// without sign. The last bits depend on the number of threads. 0 without a mesh, for another channel, or
/// when the mesh has no such texture coordinates. Triangles whose area is not a number, as of NaN or of
/// texture coordinates with products beyond floats, count for nothing. O(T).
QVGEOM_API float meshArea(MeshPlacement const& placement, MeshChannel channel);

/// Sum of the areas of an arrangement, and each placement's share of it.
/// @param fractions receives one entry per placement in list order; no entry for a channel that is not valid.
///                  Where the total is below `qvLinear::epsilonTolFlt` in size, 0 is returned and the areas
///                  themselves remain here. A total beyond floats counts as the largest float, here too: then
///                  the shares are at most 1 each, and add up to more
QVGEOM_API float meshArea(qv::list<MeshPlacement> const& placements, MeshChannel channel,
                          qv::vector<float>& fractions);

/// Box of all vertices, or of the selected ones (null: all). Coordinates that are not numbers change nothing;
/// without vertices the box is empty. O(V).
QVGEOM_API void meshBoundingBox(PointMesh const& mesh, BoundingBox& box);
QVGEOM_API void meshBoundingBox(PointMesh const& mesh, BitVector const* selection, BoundingBox& box);
/// The same, as two corners of three doubles each.
QVGEOM_API void meshBoundingBox(PointMesh const& mesh, double* min, double* max);

/// Box of the boxes of all placed meshes, each put in place as a box; placements without a mesh count for
/// nothing.
QVGEOM_API void arrangementBoundingBox(qv::list<MeshPlacement> const& placements, BoundingBox& box);

/// Length of the longest triangle edge; 0 without triangles. Squares are summed in float, so lengths beyond
/// 1e19 come out infinite. O(T).
QVGEOM_API double meshLongestEdge(CompactMesh const& mesh);
/// The same in the plane. @param uvs [V][2], not null when there are triangles
QVGEOM_API double meshLongestEdge2D(CompactMesh const& mesh, float const* uvs);

}  // namespace qvGeom
