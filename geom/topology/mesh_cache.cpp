#include "geom/topology/mesh_cache.h"

#include <utility>

#include "geom/model/keel/block_allocator.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/signals.h"
#include "geom/spatial/octree_partition.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/boundaries.h"
#include "geom/topology/measures.h"

namespace qvGeom {

using qv::Reference;

MeshCache::~MeshCache() = default;

Reference<MeshAdjTris> MeshCache::getAdjTris(CompactMesh const& mesh) {
  if (Reference<MeshAdjTris> stored = getAdjTrisImpl(mesh)) return stored;
  Reference<MeshAdjTris> record(new MeshAdjTris);
  meshAdjTris(mesh, *record);
  setAdjTrisImpl(mesh, record);
  return record;
}

Reference<MeshAdjVertices> MeshCache::getAdjVertices(CompactMesh const& mesh) {
  if (Reference<MeshAdjVertices> stored = getAdjVerticesImpl(mesh)) return stored;
  const Reference<MeshAdjTris> adjTris = getAdjTris(mesh);
  Reference<MeshAdjVertices> record(new MeshAdjVertices);
  meshAdjVertices(mesh, *adjTris, *record);
  setAdjVerticesImpl(mesh, record);
  return record;
}

Reference<Octree> MeshCache::getOctree(CompactMesh const& mesh, int perLeaf) {
  if (Reference<Octree> stored = getOctreeImpl(mesh)) return stored;
  BoundingBox box;
  meshBoundingBox(mesh, box);
  Reference<Octree> record(
      new Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, perLeaf > 0 ? perLeaf : 16));
  setOctreeImpl(mesh, record);
  return record;
}

Reference<OctreeTris> MeshCache::getOctreeTris(CompactMesh const& mesh) {
  if (Reference<OctreeTris> stored = getOctreeTrisImpl(mesh)) return stored;
  const Reference<Octree> octree = getOctree(mesh, -1);
  Reference<OctreeTris> record(new OctreeTris);
  computeOctreeTris(mesh, *octree, *record);
  setOctreeTrisImpl(mesh, record);
  return record;
}

Reference<OctreeLines> MeshCache::getOctreeLines(CompactMesh const& mesh) {
  if (Reference<OctreeLines> stored = getOctreeLinesImpl(mesh)) return stored;
  const Reference<Octree> octree = getOctree(mesh, -1);
  Reference<OctreeLines> record(new OctreeLines);
  meshOctreeLines(mesh, *octree, *record);
  setOctreeLinesImpl(mesh, record);
  return record;
}

Reference<MeshBoundaries> MeshCache::getBoundaries(CompactMesh const& mesh) {
  if (Reference<MeshBoundaries> stored = getBoundariesImpl(mesh)) return stored;
  const Reference<MeshAdjTris> adjTris = getAdjTris(mesh);
  const Reference<MeshAdjVertices> adjVertices = getAdjVertices(mesh);
  Reference<MeshBoundaries> record(new MeshBoundaries);
  meshComputeBoundary(mesh, *adjTris, *adjVertices, *record);
  setBoundariesImpl(mesh, record);
  return record;
}

class SimpleMeshCache::Impl {
 public:
  struct Entry {
    Reference<MeshAdjTris> adjTris;
    Reference<MeshAdjVertices> adjVertices;
    Reference<Octree> octree;
    Reference<OctreeTris> octreeTris;
    Reference<OctreeLines> octreeLines;
    Reference<MeshBoundaries> boundaries;

    // To the mesh; they go when the entry does, or every round of editing would leave two more behind.
    qvRTB::Connection destruction;
    qvRTB::Connection change;
  };

  ~Impl() { clear(); }

  // The entry of a mesh; looking for one makes one, so that what is built from now on is dropped in time.
  Entry& entry(CompactMesh const& mesh) {
    Entity const* key = &mesh;
    const auto found = entries_.find(key);
    if (found != entries_.end()) return found->second;
    Entry& entry = entries_[key];
    try {
      connect(mesh, entry);
    } catch (...) {
      erase(key);  // unconnected, it would outlive what it describes
      throw;
    }
    return entry;
  }

  void clear() {
    entries_.clear();
    client_.disconnectAll();
  }

 private:
  using Map = qv::pooled_map<Entity const*, Entry>;

  void connect(CompactMesh const& mesh, Entry& entry) {
    entry.destruction = mesh.destructionSignal().connect(client_, [this](Entity* dying) { erase(dying); });
    entry.change = mesh.changeSignal().connect(
        client_, [this](EntityModification& modification) { erase(modification.getEntity()); });
  }

  void erase(Entity const* mesh) {
    const auto found = entries_.find(mesh);
    if (found == entries_.end()) return;
    found->second.destruction.disconnect();
    found->second.change.disconnect();
    entries_.erase(found);
  }

  qvRTB::SignalBase client_;
  qv::BlockAllocator nodes_{qv::treeNodeSize<Map::value_type>, 10};
  Map entries_{qv::PoolAllocator<Map::value_type>(nodes_)};
};

SimpleMeshCache::SimpleMeshCache() : impl_(std::make_unique<Impl>()) {}
SimpleMeshCache::~SimpleMeshCache() = default;
void SimpleMeshCache::clear() { impl_->clear(); }

Reference<MeshAdjTris> SimpleMeshCache::getAdjTrisImpl(CompactMesh const& mesh) {
  return impl_->entry(mesh).adjTris;
}
Reference<MeshAdjVertices> SimpleMeshCache::getAdjVerticesImpl(CompactMesh const& mesh) {
  return impl_->entry(mesh).adjVertices;
}
Reference<Octree> SimpleMeshCache::getOctreeImpl(CompactMesh const& mesh) {
  return impl_->entry(mesh).octree;
}
Reference<OctreeTris> SimpleMeshCache::getOctreeTrisImpl(CompactMesh const& mesh) {
  return impl_->entry(mesh).octreeTris;
}
Reference<OctreeLines> SimpleMeshCache::getOctreeLinesImpl(CompactMesh const& mesh) {
  return impl_->entry(mesh).octreeLines;
}
Reference<MeshBoundaries> SimpleMeshCache::getBoundariesImpl(CompactMesh const& mesh) {
  return impl_->entry(mesh).boundaries;
}

void SimpleMeshCache::setAdjTrisImpl(CompactMesh const& mesh, Reference<MeshAdjTris> record) {
  impl_->entry(mesh).adjTris = std::move(record);
}
void SimpleMeshCache::setAdjVerticesImpl(CompactMesh const& mesh, Reference<MeshAdjVertices> record) {
  impl_->entry(mesh).adjVertices = std::move(record);
}
void SimpleMeshCache::setOctreeImpl(CompactMesh const& mesh, Reference<Octree> record) {
  impl_->entry(mesh).octree = std::move(record);
}
void SimpleMeshCache::setOctreeTrisImpl(CompactMesh const& mesh, Reference<OctreeTris> record) {
  impl_->entry(mesh).octreeTris = std::move(record);
}
void SimpleMeshCache::setOctreeLinesImpl(CompactMesh const& mesh, Reference<OctreeLines> record) {
  impl_->entry(mesh).octreeLines = std::move(record);
}
void SimpleMeshCache::setBoundariesImpl(CompactMesh const& mesh, Reference<MeshBoundaries> record) {
  impl_->entry(mesh).boundaries = std::move(record);
}

}  // namespace qvGeom
