#pragma once

#include <array>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

/// Removes an inner vertex of a triangle mesh by swapping its edges away until three are left, which go with
/// it, and relaxing those that were swapped. Works in steps, so that the caller can announce the removal, and
/// judge it:
///
///   VertexRemoval removal(mesh);
///   if (removal.lowerValence(v, trianglesAround)) {
///     ... announce ...
///     removal.removeAndRelax();
///     if (!good(removal.newTriangles())) removal.restore();
///   }
///
/// Only the triangles around the vertex change, also in restoring. Keeps its storage from vertex to vertex.
class VertexRemoval {
 public:
  using Triangle = std::array<qvLinear::Point, 3>;

  explicit VertexRemoval(TopoMesh& mesh) : mesh_(mesh) {}

  /// Swaps edges of v, in one round, where that folds nothing over, until v has three.
  /// @param numNeighbours distinct vertices that share a triangle with v; as many triangles must use v
  /// @return false, with the same triangles as before, when v is left with more, or is no inner vertex of a
  /// single fan
  bool lowerValence(TopoMeshVertex v, int numNeighbours);
  /// Deletes the vertex and relaxes the edges swapped. After `lowerValence` only.
  void removeAndRelax();
  /// The triangle that fills the hole and those beside edges swapped in relaxing.
  const qv::vector<Triangle>& newTriangles();
  /// Undoes it all after `removeAndRelax`: the same triangles, but about a new vertex.
  void restore();

 private:
  static constexpr int kRelaxingSweeps = 10;

  void relax();
  void swapBack(const qv::vector<TopoMeshEdge>& edges);

  TopoMesh& mesh_;
  TopoMeshVertex vertex_;
  qvLinear::Point position_;
  TopoMeshFace filled_;
  TopoMeshEdge firstOfFilled_;
  TopoMeshVertex startOfFirst_;
  qv::vector<TopoMeshEdge> lowered_;  // edges swapped, in order
  qv::vector<TopoMeshEdge> relaxed_;  // the same, in relaxing; an edge may occur more than once
  qv::vector<TopoMeshFace> faces_;
  qv::vector<Triangle> triangles_;
};

}  // namespace qvGeom
