#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

// The first records built from a mesh. All of them assume triangle indices in range, run on the calling
// thread and may be called from several threads on one mesh.

/// Lists for every vertex its triangles: in increasing index, once per corner.
/// O(V + T), by counting. Replaces `adjTris` when done. Prints its counts and seconds on the debug channel.
QVGEOM_API void meshAdjTris(CompactMesh const& mesh, MeshAdjTris& adjTris);

/// Lists for every vertex its neighbours: the other vertices of its triangles, each once, in order of
/// discovery (triangles in list order, corners 0, 1, 2). O(V + T). Replaces `adjVertices` when done. Prints
/// its counts and seconds on the debug channel.
/// @param adjTris the record of this mesh as it is
QVGEOM_API void meshAdjVertices(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                MeshAdjVertices& adjVertices);

/// Orders triangles around a vertex into fans of consistent winding. The first triangle stays first; each
/// next one is the first remaining triangle with the directed edge from v to the vertex before v in its
/// predecessor, or, where none has it, the next remaining triangle in input order, which starts a new fan.
/// O(n log n), but O(n^2) where many triangles run along one directed edge.
/// @param tris      n triangles that use v
/// @param triangles the mesh's triangles
/// @param out       receives the n triangles in their new order
QVGEOM_API void sortAdjTris(int v, int n, int const* tris, MeshTriangle const* triangles,
                            qv::vector<int>& out);

/// Finds the triangle across edge `edge` of `tri`, from corner a = edge to corner b = edge + 1 mod 3: the
/// first other triangle in a's list that has b as a corner, whatever its winding.
/// @param adjEdge receives the number of the first corner equal to b in the triangle found, or -1
/// @param adjTri  receives the triangle; unchanged when there is none. May be the same variable as `tri`.
/// @return whether there is one
QVGEOM_API bool getSharedEdgeAdjacentTriangle(int const& tri, int edge, MeshTriangle const* triangles,
                                              MeshAdjTris const& adjTris, int& adjTri, int& adjEdge);

}  // namespace qvGeom
