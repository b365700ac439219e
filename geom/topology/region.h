#pragma once

#include <memory>

#include "geom/model/keel/array_map.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/signals.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/array.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

using qvUtil::ArrayMap;

/// Copies a region of a mesh into a half-edge mesh, for algorithms that walk or edit connectivity.
///
/// The vertex set is to hold the corners of all triangles in the triangle set; a triangle with another corner
/// is left out of the region. Both sets may be shorter or longer than the mesh: what they say of elements
/// that it has counts. Triangle indices are assumed in range. Mesh and adjacency must outlive the object. One
/// thread at a time.
class QVGEOM_API MeshConvertRep {
 public:
  /// What both kinds of region know of themselves.
  struct ConvertImpl;

  /// The region that is selected in the mesh.
  MeshConvertRep(CompactMesh const& mesh, MeshAdjTris const& adjTris);
  /// @param triangles, vertices copied
  MeshConvertRep(CompactMesh const& mesh, BitVector const& triangles, BitVector const& vertices,
                 MeshAdjTris const& adjTris);
  MeshConvertRep(const MeshConvertRep&) = delete;
  MeshConvertRep& operator=(const MeshConvertRep&) = delete;
  virtual ~MeshConvertRep();

  /// Builds the region, with vertices and faces in the order of the mesh, and twins between neighbours.
  /// Prints its seconds. A second call returns the same region. It lives as long as this object. O(V + T).
  /// After it ran out of memory (std::bad_alloc) it may be called again.
  virtual TopoMesh& extract();

  /// The region's vertex for one of the mesh; null when that is not in the region or was removed.
  TopoMeshVertex getTopoMeshVertex(int v) const;

 protected:
  explicit MeshConvertRep(std::unique_ptr<ConvertImpl> impl);
  ConvertImpl* getConvert() const { return impl_.get(); }

  qvRTB::SignalBase signals_;  // connections of derived classes end with them

 private:
  std::unique_ptr<ConvertImpl> impl_;
};

/// A region that is edited and written back in one go:
///
///   MeshModifyRep region(mesh, adjTris);
///   TopoMesh& topo = region.extract();
///   ... edit topo; before topo.deleteVertex(v) say region.removeVertex(v) ...
///   region.merge();
///
/// Afterwards the records of the mesh describe what it was. An object that is not merged leaves the mesh
/// alone.
class QVGEOM_API MeshModifyRep : public MeshConvertRep {
 public:
  MeshModifyRep(CompactMesh& mesh, MeshAdjTris const& adjTris);
  MeshModifyRep(CompactMesh& mesh, BitVector const& triangles, BitVector const& vertices,
                MeshAdjTris const& adjTris);
  ~MeshModifyRep() override;

  TopoMesh& extract() override;

  /// To be called before a vertex that came from the mesh is deleted from the region. Others are passed over.
  void removeVertex(TopoMeshVertex v);

  /// Replaces the region's triangles in the mesh by its faces, of which the first three half-edges count.
  /// Outside the region nothing moves but numbers: what stays keeps its order; the vertices all of whose
  /// triangles lay in the region, and new ones, follow behind, and then the faces behind all triangles.
  /// Vertices on the border of the region are moved to where the region has them. Sends one notice, of a
  /// topology that was modified, and empties the selections; prints its seconds. Nothing happens for a region
  /// without triangles, before `extract`, and the second time. New vertices have a position only; their other
  /// channels are zero. O(V + T + region log region). Where there is no memory to grow the mesh
  /// (std::bad_alloc), it stays as it was, and that was its one merge.
  void merge();
  /// @param vertexMap new number of every old vertex, -1 for those that were removed; entries beyond are for
  ///                  what the region added. For a region without triangles the identity; empty before
  ///                  `extract` and the second time
  /// @param map       null, or receives the new number of every vertex of the region; empty likewise
  void merge(Array<int>& vertexMap, ArrayMap<TopoMeshVertex, int>* map);

 private:
  struct ModifyImpl;
  ModifyImpl* getModify() const;
  void merge(Array<int>* vertexMap, ArrayMap<TopoMeshVertex, int>* map);
};

}  // namespace qvGeom
