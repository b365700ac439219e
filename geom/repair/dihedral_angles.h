#pragma once

#include <utility>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

// All assume triangle indices in range and may be called from several threads on one mesh.

/// Folded edges, as pairs (v, w) of vertices: the triangle that contains the directed edge v, w meets the one
/// that contains w, v at a sharp angle.
struct QVGEOM_API MeshDihedralAnglesResult {
  qv::vector<std::pair<int, int>> foldedEdges;

  /// Replaces `triangles` by those that contain both vertices of some pair, each once, ascending.
  void getAdjacentTriangles(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                            qv::vector<int>& triangles) const;
};

/// Finds the edges at which two consistently wound triangles enclose no more than `angleDegrees`: at 0 they
/// lie upon each other, at 180 in one plane; above 180 all are found. Each edge is listed once, in the order
/// of its lower triangle. Runs on the shared thread pool; the result does not depend on the number of
/// threads. Prints its seconds. O(sum of squared valences).
/// @param adjTris of this mesh
QVGEOM_API void meshFindAnglesLessThan(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                       double angleDegrees, MeshDihedralAnglesResult& result);

/// The largest angle between the normals of two triangles that share an edge, however they are wound;
/// radians, 0 without any. On the calling thread. O(sum of squared valences).
QVGEOM_API double meshMaxDihedralAngle(CompactMesh const& mesh, MeshAdjTris const& adjTris);

}  // namespace qvGeom
