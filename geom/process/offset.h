#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/array.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/octree.h"

namespace qvGeom {

class MeshOffsetImpl;

/// Gives a surface a thickness: builds a shell out of a mesh, a copy of it that was moved back by a distance
/// D, with reversed winding, and walls that join the two along the boundary loops.
///
/// A vertex moves against its offset direction: the sum of the unit normals of its triangles, each weighted
/// by the angles across its edges there, or the normal of the first triangle where these angles vanish, as on
/// a plane. Flat triangles beside a crease thus do not pull at it. A vertex without triangles has the
/// direction (0, 0, 1). Moved vertices that came closer to a vertex of the mesh than D are removed, their
/// neighbours joined; once there were any, those beside a triangle that was turned over are, too. A vertex
/// whose triangles cannot be reduced to three by swapping edges stays. For the distance to the mesh only its
/// vertices count: where D is large against the triangles, parts may still cross each other.
///
/// Mesh and records are those of one mesh as it is, and must outlive the object unchanged. One thread at a
/// time. O(V log V + T log T), by a few microseconds a vertex.
class QVGEOM_API MeshOffset {
 public:
  /// @param octree     over the vertices of the mesh
  /// @param boundaries the loops that get walls
  /// @param distance   D, model units; below zero the copy lies before the surface, whose shell is then
  ///                   turned inside out
  MeshOffset(const CompactMesh& mesh, const Octree& octree, const MeshBoundaries& boundaries,
             const MeshAdjTris& adjTris, double distance);
  ~MeshOffset();
  MeshOffset(const MeshOffset&) = delete;
  MeshOffset& operator=(const MeshOffset&) = delete;

  /// Each call builds a new mesh, which the caller owns: positions, triangles and computed normals, nothing
  /// else of the input. Null when D is not finite, when a record is not that of the mesh, and when a vertex
  /// would leave the range of a float. A mesh without triangles comes back with its vertices alone, unmoved.
  ///
  /// @param shell the closed shell; otherwise the moved copy alone
  CompactMesh* calculate(bool shell);
  /// The closed shell, with what became of the vertices; both arrays stay as they are when null is returned.
  /// @param vertexMap      receives the number in the shell of every vertex of the input
  /// @param offsetVertices receives that of its moved copy, or -1 where this was removed
  CompactMesh* calculate(Array<int>& vertexMap, Array<int>& offsetVertices);

 private:
  std::unique_ptr<MeshOffsetImpl> impl_;
};

}  // namespace qvGeom
