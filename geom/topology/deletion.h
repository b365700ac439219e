#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/remap.h"

namespace qvGeom {

/// Deletes the selected triangles of a mesh, and those selected vertices that no other triangle uses. What is
/// kept keeps its order. One notice is sent, of a topology that was modified, with both maps; both selections
/// are empty afterwards. Prints counts and seconds. O(V + T). Running out of memory (std::bad_alloc) leaves
/// the mesh as it was. Triangle indices are assumed in range. One thread at a time.
///
/// Selections may be shorter or longer than the mesh: what they say of elements that it has counts.
///
/// Only positions, triangles and texture coordinates follow their elements. Vertex normals and the other
/// channels are cut to length, and are to be computed anew; strips, fans and lines keep the old vertex
/// numbers.
class QVGEOM_API MeshDeleteSelected {
 public:
  explicit MeshDeleteSelected(CompactMesh& mesh);
  ~MeshDeleteSelected();

  /// Deletes by the selections of the mesh. Without a selected triangle nothing happens. When all triangles
  /// are selected the mesh is empty afterwards, whichever vertices are, and the notice carries no maps.
  void operator()();
  /// Selects these triangles and their corners, and nothing else, and deletes by that. Numbers of no triangle
  /// are passed over. @param adjTris of this mesh
  void operator()(MeshAdjTris const& adjTris, qv::vector<int> const& triangles);

  /// Old to new vertex numbers of the last deletion, -1 for those that went; null before the first one and
  /// after one that emptied the mesh.
  qv::Reference<Remap> getVertexMap() const { return vertexMap_; }

 private:
  void deleteAll();

  CompactMesh& mesh_;
  qv::Reference<Remap> vertexMap_;
};

}  // namespace qvGeom
