#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/array.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

// A mesh is oriented when no two triangles run along an edge in the same direction. It can be oriented unless
// it has a one-sided part, such as a Moebius strip, or an edge with three triangles. Triangles that meet in a
// vertex only do not constrain each other. All this runs on the calling thread and assumes indices in range
// and the MeshAdjTris of the mesh as it is; winding is no part of that record, so it outlasts `orient`.

/// Finds and applies a consistent winding. Lives for one repair; the mesh and its record outlive it.
class QVGEOM_API MeshOrient {
 public:
  /// Finds out whether the mesh is oriented. O(V + T); changes nothing.
  MeshOrient(CompactMesh& mesh, MeshAdjTris const& adjTris);

  /// Whether the mesh is oriented: since construction, or since `orient`.
  bool isOriented() const { return isOriented_; }
  /// Whether the mesh is known to have a consistent winding: it is oriented, or `orient` succeeded.
  bool isOrientable() const { return isOrientable_; }
  /// One bit per triangle, and all clear before `orient` had anything to do. After a success all bits are
  /// set; after a failure, those that the search from the conflicting triangle went through.
  BitVector const& getAffectedTriangles() const { return visited_; }

  /// Turns triangles, by exchanging corners 1 and 2, until the mesh is oriented. In every edge-connected part
  /// the lowest triangle stays as it is. Nothing happens when the mesh is oriented.
  ///
  /// Where there is no consistent winding it stops at the first contradiction: `isOriented` and
  /// `isOrientable` stay false, and what was turned stays turned.
  ///
  /// Sends one TopologyModified notice if a triangle was turned, after success and failure alike, with uvs,
  /// sts and colours valid. O(V + T) on usual meshes; O(T^1.5) when many vertices have very many triangles.
  void orient();

 private:
  void compute();
  bool computeOriented() const;
  bool computeOrientation(bool& changed);
  bool search(bool& changed, int seed);

  CompactMesh& mesh_;
  MeshAdjTris const& adjTris_;
  BitVector visited_;
  Array<int> queue_;
  int conflict_ = -1;
  bool isOriented_ = false;
  bool isOrientable_ = false;
};

/// Whether the mesh is oriented. O(V + T).
QVGEOM_API bool meshOriented(CompactMesh const& mesh, MeshAdjTris const& adjTris);

/// Orients the mesh as MeshOrient::orient does. @return whether it is oriented now
QVGEOM_API bool meshMakeOriented(CompactMesh& mesh, MeshAdjTris const& adjTris);

}  // namespace qvGeom
