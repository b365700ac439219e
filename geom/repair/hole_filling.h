#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

/// How far a hole's patch is worked out; each includes those before. Any other value counts as the last.
enum HoleQuality : int {
  HoleQualityTriangulate = 0,  ///< triangles between the vertices of the loop
  HoleQualityRefine = 1,       ///< new vertices, as dense as those around the hole; edges relaxed
  HoleQualityFair = 2,         ///< the new vertices moved to where the surface bends evenly
};

/// Closes boundary loops of a mesh with new triangles, hole after hole.
///
/// Ears of the mesh whose tip coincides with another vertex of the loop (within `qvLinear::epsilonTol`) go
/// first. The loop is then triangulated with the least bending (triangulatePolygon). When refined, triangles
/// are split about their centroids until their corners are about as far apart as the loop's vertices are from
/// their neighbours in the mesh, and inner edges of the patch are swapped while this lowers the sum of the
/// angles opposite. When faired, the new vertices move to where the bi-Laplacian with equal weights vanishes,
/// all others being fixed, as far as ConjugateGradient comes; should the result leave the range of a float,
/// they stay.
///
/// @param adjTris, adjVertices, boundaries of the mesh as it is; none holds any more after a hole was filled
/// @param holes    numbers of loops. Skipped, and not counted, are: numbers out of range; loops with fewer
///                 than three vertices, also after the removal of ears; those where an ear hangs on another;
///                 those whose triangles would run along a directed edge that exists, or twice along one (a
///                 loop listed again, pinched loops); those for whose triangulation there is no memory
/// @param progress given the caption "Filling hole %d of %d", by place in the list. Asked for cancellation
///                 throughout, for a long loop at worst once in a hundred steps of the solver
/// @return number of holes filled. 0 when cancelled; the mesh is then, as always when 0 is returned, what it
///         was, and no notice was sent
///
/// Changes the mesh by a single MeshModifyRep::merge: what that says of numbering, channels, selections and
/// the notice holds. Old vertices keep their positions; those of removed ears go. Any geometry has an
/// outcome; positions that are not finite are not refined. Triangle indices, and the records, are assumed to
/// be right. O(V + T) and, for a loop of n vertices, O(n^3) time, at worst, and O(n^2) memory; then about
/// O(p) for refining to p vertices, and O(p) for each step of the solver. Same result for any number of
/// threads. One thread at a time. After P. Liepa, Filling holes in meshes (2003).
QVGEOM_API int meshHoleFill(CompactMesh& mesh, const MeshAdjTris& adjTris, const MeshAdjVertices& adjVertices,
                            const MeshBoundaries& boundaries, const qv::list<int>& holes, HoleQuality quality,
                            qvUtil::Progress& progress);

}  // namespace qvGeom
