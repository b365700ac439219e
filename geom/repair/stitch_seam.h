#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/signals.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

/// Zips two chains of boundary edges of a half-edge mesh together: gives both the same number of vertices at
/// the same places, and then, when asked to merge, makes each pair of edges one.
///
/// The chain with more edges is the preserved one, the first given when both have as many: its vertices are
/// the ones that stay. The other's ends move to where its ends are; where a vertex of one chain projects
/// between two of the other, the edge there is split, and its face with it so that triangles stay triangles;
/// where the chains turn away from each other by more than 85 degrees, the shorter of the two edges there is
/// contracted. Splits and merges follow the projection parameter, so `tolerance` is a fraction of an edge's
/// length.
///
/// A chain from a vertex to itself is the whole loop. Where a vertex begins several boundaries, one in each
/// of its fans, the one with the fewest edges is taken. Vertices that are to become one but have an edge
/// between them cannot: the edge is contracted, or else it gets a vertex in the middle. Where a merge leaves
/// two vertices with two edges between them, each with triangles of its own, all but one of these edges get a
/// vertex in the middle: to a mesh of indices they would be one edge of four triangles.
///
/// Any input ends. Null, deleted and inner vertices, and chains that do not lead from one end to the other,
/// change nothing; a merge of edges that the mesh refuses leaves those two open. One thread at a time.
class QVGEOM_API MeshStitchSeam {
 public:
  explicit MeshStitchSeam(TopoMesh& mesh);
  ~MeshStitchSeam();
  MeshStitchSeam(const MeshStitchSeam&) = delete;
  MeshStitchSeam& operator=(const MeshStitchSeam&) = delete;

  /// The chain that runs forward along its boundary from a0 to a1 with the one that runs backward from b0 to
  /// b1; a0 is joined with b0 and a1 with b1.
  void stitch(TopoMeshVertex a0, TopoMeshVertex a1, TopoMeshVertex b0, TopoMeshVertex b1, double tolerance,
              bool merge);
  /// The whole boundary loops through a and b. The loop with more vertices is preserved. It is cut at its
  /// vertex given and half its length onwards, the other at its vertices nearest to these.
  void stitchCircular(TopoMeshVertex a, TopoMeshVertex b, double tolerance, bool merge);

  /// Whether the first chain of the last call was the one preserved.
  bool preservedA() const;

  /// Sent with each vertex that is about to be removed.
  qvRTB::Signal<TopoMeshVertex>& vertexRemovalSignal();

 private:
  std::unique_ptr<class MeshStitchSeamImpl> impl_;
};

}  // namespace qvGeom
