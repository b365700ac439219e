#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

// All assume triangle indices in range and records of this mesh as it is, run on the calling thread and may
// be called from several threads on one mesh.

namespace Boundary {

/// The vertex that follows v in a triangle (three indices), at the first corner equal to v; -1 if there is
/// none.
QVGEOM_API int findEdge(int v, int const* triangle);

/// Whether some triangle runs from a to b.
QVGEOM_API bool hasEdge(CompactMesh const& mesh, MeshAdjTris const& adjTris, int a, int b);

/// One step along the boundary: the first vertex `next` that follows v in a triangle of its list, such that
/// no triangle runs back from it and its numbers of neighbours and of triangles differ, as they do where a
/// fan is open. Where they agree by accident, at a pinched vertex with a doubled triangle, the walk stops.
/// @return false when there is none; `next` is then the last candidate tried, untouched without candidates
QVGEOM_API bool walkBoundary(int v, int& next, CompactMesh const& mesh, MeshAdjTris const& adjTris,
                             MeshAdjVertices const& adjVertices);

}  // namespace Boundary

/// Finds the boundary loops.
///
/// A loop runs along its boundary edges: for consecutive vertices a, b some triangle runs from a to b and
/// none back. Loops come in increasing order of the vertex that starts them, normally the lowest of the loop.
/// Every vertex lies in one loop at most: where two boundaries touch, the later walk stops. A vertex from
/// which no boundary edge leads ends its loop without being listed, so loops of one or two vertices occur.
///
/// O(V + T) for bounded valence. Replaces `boundaries` when done.
QVGEOM_API void meshComputeBoundary(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                    MeshAdjVertices const& adjVertices, MeshBoundaries& boundaries);

}  // namespace qvGeom
