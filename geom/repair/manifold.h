#pragma once

#include <utility>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

// A mesh is manifold when no edge has more than two triangles and the triangles around every vertex hang
// together through edges at that vertex. Winding plays no part. All functions run on the calling thread and
// assume indices in range; those that take a MeshAdjTris want the record of the mesh as it is.

/// Where a mesh is not manifold.
struct MeshManifoldResult {
  /// One bit per vertex: its triangles form more than one group, where a group is connected through edges at
  /// the vertex.
  BitVector badVertices;
  /// Edges with more than two triangles, the smaller vertex first, ascending, each once.
  qv::vector<std::pair<int, int>> badEdges;

  bool isClean() const { return badVertices.numSetBits == 0 && badEdges.empty(); }
};

/// Finds what is not manifold. Bad vertices are reported only when there is no bad edge: around a vertex with
/// a bad edge, groups have no meaning.
///
/// Each corner counts the two edges that meet in it, as often as it comes up in the vertex's list. So a
/// triangle (a, b, b) counts twice for the edge {a, b}, which is bad with one more triangle, and (v, v, v)
/// makes {v, v} bad. Repeated triangles count like any others.
///
/// O(V + T). Replaces `result`. Prints its counts and seconds on the debug channel.
QVGEOM_API void meshManifold(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshManifoldResult& result);

/// Repairs what `result` names, in one pass; a clean result changes nothing.
///
/// With bad edges, only those: around the first vertex of each bad edge, every edge with more than two
/// triangles keeps the two whose third vertices have the most triangles, the later ones where they are equal,
/// and the others are deleted, with the vertices that nothing uses any more. A triangle without a third
/// vertex goes first. The mesh's selections serve as marks, and what was selected before is not any more.
/// Sends the notice of the deletion, if anything was deleted.
///
/// Otherwise each bad vertex is split: the group of its first triangle keeps it, and every further group, in
/// the order of their first triangles, gets a new vertex at the same position. New vertices follow the old
/// ones, in the order of the vertices they come from. Their normals, texture coordinates and other channels
/// are zero. Sends one TopologyModified notice that declares nothing valid.
///
/// O(V + T) plus sorting the triangles of bad edges.
/// @param result what `meshManifold` found in this mesh; vertices and edges that are fine are left alone
QVGEOM_API void meshMakeManifold(CompactMesh& mesh, MeshAdjTris const& adjTris,
                                 MeshManifoldResult const& result);

/// Repairs until nothing is bad, edges first. A bad edge whose count comes from a repeated vertex, with two
/// triangles or less, cannot be repaired by deleting surplus triangles: it stays, and so do bad vertices
/// then. Remove degenerate triangles before to be sure of a manifold mesh. Sends one notice per pass.
QVGEOM_API void meshMakeManifold(CompactMesh& mesh);

}  // namespace qvGeom
