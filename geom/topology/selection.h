#pragma once

#include <deque>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/mesh_coord.h"

namespace qvGeom {

/// Edits a selection of triangles and one of vertices: derives one from the other, and lets them grow. Built
/// for one editing step; the mesh must not change while it lives. Selections shorter or longer than the mesh
/// are made anew when this is built: they are empty then.
///
/// What derives a selection clears it first; what adds to one leaves set what was set. Most operations print
/// their name, and how many are selected and the seconds, on the debug channel. One thread at a time.
class QVGEOM_API MeshSelect {
 public:
  /// Works on the selections of the mesh itself. @param adjTris of this mesh
  MeshSelect(CompactMesh& mesh, MeshAdjTris const& adjTris);
  /// Works on selections of the caller's.
  MeshSelect(CompactMesh const& mesh, MeshAdjTris const& adjTris, BitVector& triangles, BitVector& vertices);

  BitVector& getSelectedVertices() { return vertices_; }
  BitVector& getSelectedTriangles() { return triangles_; }

  /// Adds the vertices that lie inside a lasso on the screen.
  /// @param m     projects the vertices; x and y are divided by the fourth component, in single precision
  /// @param lasso polygon on the screen, x and y, closed by itself; with fewer than three points it holds
  /// nothing
  void selectVertices(const qvLinear::ProjMatrix& m, qv::vector<qvLinear::Point> const& lasso);

  /// Selects the triangles with at least that many selected corners, and no others.
  void selectTrianglesFromVertices(int minCorners);
  /// Selects the triangles with a selected corner, and no others.
  void selectAllTrianglesFromVertices();
  /// Selects the corners of selected triangles, and no other vertices.
  void selectVerticesFromTriangles();
  /// Adds the triangles that share a vertex with selected ones; and those that share one with these, and so
  /// on, unless only one ring is asked for.
  void selectTrianglesRecursive(bool oneRing);
  void invertTriangleSelection();

  /// Adds the triangles around the given points of the mesh: around the corner, or else both ends of the
  /// edge, that a point lies within `tolerance` of, else around all corners of its triangle. Points that are
  /// not valid, or not on this mesh, are passed over.
  void selectAffectedTriangles(std::deque<MeshCoord> const& coords, double tolerance);

 private:
  int numSelectedCorners(MeshTriangle const& triangle) const;
  void selectTrianglesWith(int minCorners);
  void selectTrisAdjacentToVert(int v, BitVector& triangles);

  MeshAdjTris const& adjTris_;
  BitVector& triangles_;
  BitVector& vertices_;
  MeshVertex const* meshVertices_;
  MeshTriangle const* meshTriangles_;
  int numVertices_;
  int numTriangles_;
};

}  // namespace qvGeom
