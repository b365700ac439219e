#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

/// Hands out the derived records of meshes, and builds each on the first request. Where records are stored,
/// and when they are dropped, is up to the derived class. Records stay with whoever holds them, also when the
/// store has dropped them: they then describe the mesh as it was. One thread at a time.
class QVGEOM_API MeshCache {
 public:
  virtual ~MeshCache();

  qv::Reference<MeshAdjTris> getAdjTris(CompactMesh const& mesh);
  qv::Reference<MeshAdjVertices> getAdjVertices(CompactMesh const& mesh);
  /// The octree over the vertices. One that is stored is returned whatever it was built with.
  /// @param perLeaf as for Octree; 16 when it is not positive
  qv::Reference<Octree> getOctree(CompactMesh const& mesh, int perLeaf);
  /// Partitions over the stored octree, or one of 16 vertices a leaf: ask for the octree first if it is to be
  /// another.
  qv::Reference<OctreeTris> getOctreeTris(CompactMesh const& mesh);
  qv::Reference<OctreeLines> getOctreeLines(CompactMesh const& mesh);
  qv::Reference<MeshBoundaries> getBoundaries(CompactMesh const& mesh);

 protected:
  /// The stored record, null when there is none.
  virtual qv::Reference<MeshAdjTris> getAdjTrisImpl(CompactMesh const& mesh) = 0;
  virtual qv::Reference<MeshAdjVertices> getAdjVerticesImpl(CompactMesh const& mesh) = 0;
  virtual qv::Reference<Octree> getOctreeImpl(CompactMesh const& mesh) = 0;
  virtual qv::Reference<OctreeTris> getOctreeTrisImpl(CompactMesh const& mesh) = 0;
  virtual qv::Reference<OctreeLines> getOctreeLinesImpl(CompactMesh const& mesh) = 0;
  virtual qv::Reference<MeshBoundaries> getBoundariesImpl(CompactMesh const& mesh) = 0;

  virtual void setAdjTrisImpl(CompactMesh const& mesh, qv::Reference<MeshAdjTris> record) = 0;
  virtual void setAdjVerticesImpl(CompactMesh const& mesh, qv::Reference<MeshAdjVertices> record) = 0;
  virtual void setOctreeImpl(CompactMesh const& mesh, qv::Reference<Octree> record) = 0;
  virtual void setOctreeTrisImpl(CompactMesh const& mesh, qv::Reference<OctreeTris> record) = 0;
  virtual void setOctreeLinesImpl(CompactMesh const& mesh, qv::Reference<OctreeLines> record) = 0;
  virtual void setBoundariesImpl(CompactMesh const& mesh, qv::Reference<MeshBoundaries> record) = 0;
};

/// Keeps the records of a mesh until the mesh sends any notice of change, or dies. Cache and meshes may die
/// in any order.
class QVGEOM_API SimpleMeshCache : public MeshCache {
 public:
  SimpleMeshCache();
  SimpleMeshCache(const SimpleMeshCache&) = delete;
  SimpleMeshCache& operator=(const SimpleMeshCache&) = delete;
  ~SimpleMeshCache() override;

  /// Drops everything.
  void clear();

 protected:
  qv::Reference<MeshAdjTris> getAdjTrisImpl(CompactMesh const& mesh) override;
  qv::Reference<MeshAdjVertices> getAdjVerticesImpl(CompactMesh const& mesh) override;
  qv::Reference<Octree> getOctreeImpl(CompactMesh const& mesh) override;
  qv::Reference<OctreeTris> getOctreeTrisImpl(CompactMesh const& mesh) override;
  qv::Reference<OctreeLines> getOctreeLinesImpl(CompactMesh const& mesh) override;
  qv::Reference<MeshBoundaries> getBoundariesImpl(CompactMesh const& mesh) override;

  void setAdjTrisImpl(CompactMesh const& mesh, qv::Reference<MeshAdjTris> record) override;
  void setAdjVerticesImpl(CompactMesh const& mesh, qv::Reference<MeshAdjVertices> record) override;
  void setOctreeImpl(CompactMesh const& mesh, qv::Reference<Octree> record) override;
  void setOctreeTrisImpl(CompactMesh const& mesh, qv::Reference<OctreeTris> record) override;
  void setOctreeLinesImpl(CompactMesh const& mesh, qv::Reference<OctreeLines> record) override;
  void setBoundariesImpl(CompactMesh const& mesh, qv::Reference<MeshBoundaries> record) override;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvGeom
