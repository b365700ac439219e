#include "geom/topology/region.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/reference.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/topology/deletion.h"
#include "geom/topology/twins.h"

namespace qvGeom {

struct MeshConvertRep::ConvertImpl {
  ConvertImpl(CompactMesh const& m, BitVector const& t, BitVector const& v, MeshAdjTris const& a)
      : mesh(&m), triangles(m.getNumTriangles()), vertices(m.getNumVertices()), adjTris(&a) {
    // Selections do not follow when the mesh is resized: what they hold beyond it is of no element.
    triangles |= t;
    vertices |= v;
  }
  virtual ~ConvertImpl() = default;

  CompactMesh const* mesh;
  BitVector triangles;
  BitVector vertices;
  MeshAdjTris const* adjTris;
  qv::vector<TopoMeshVertex> vertexMap;  // by number in the mesh; null for those that are not in the region
  std::unique_ptr<TopoMesh> region;      // null before it was extracted
};

MeshConvertRep::MeshConvertRep(std::unique_ptr<ConvertImpl> impl) : impl_(std::move(impl)) {}
MeshConvertRep::MeshConvertRep(CompactMesh const& mesh, MeshAdjTris const& adjTris)
    : MeshConvertRep(mesh, mesh.getSelectedTriangles(), mesh.getSelectedVertices(), adjTris) {}
MeshConvertRep::MeshConvertRep(CompactMesh const& mesh, BitVector const& triangles, BitVector const& vertices,
                               MeshAdjTris const& adjTris)
    : impl_(std::make_unique<ConvertImpl>(mesh, triangles, vertices, adjTris)) {}
MeshConvertRep::~MeshConvertRep() = default;

TopoMesh& MeshConvertRep::extract() {
  ConvertImpl& r = *impl_;
  if (r.region) return *r.region;
  qvOS::StopWatch watch;
  watch.start();
  auto region = std::make_unique<TopoMesh>();
  qv::vector<TopoMeshVertex> vertexMap(static_cast<std::size_t>(r.mesh->getNumVertices()));
  for (int v = 0; v < r.mesh->getNumVertices(); ++v)
    if (r.vertices.test(v)) vertexMap[v] = region->allocVertex(r.mesh->getVertices()[v].asPoint());
  for (int t = 0; t < r.mesh->getNumTriangles(); ++t) {
    if (!r.triangles.test(t)) continue;
    const MeshTriangle& tri = r.mesh->getTriangles()[t];
    // Without a face to come back as, it must stay.
    if (!region->allocTriangle(vertexMap[tri[0]], vertexMap[tri[1]], vertexMap[tri[2]]))
      r.triangles.clearBit(t);
  }
  meshTwin(*region);
  r.vertexMap.swap(vertexMap);
  r.region = std::move(region);
  debugChannel().print("MeshConvertRep::extract: %f s\n", watch.stop());
  return *r.region;
}

TopoMeshVertex MeshConvertRep::getTopoMeshVertex(int v) const {
  const auto& map = impl_->vertexMap;
  return v >= 0 && static_cast<std::size_t>(v) < map.size() ? map[v] : TopoMeshVertex();
}

struct MeshModifyRep::ModifyImpl : MeshConvertRep::ConvertImpl {
  ModifyImpl(CompactMesh& m, BitVector const& t, BitVector const& v, MeshAdjTris const& a)
      : ConvertImpl(m, t, v, a), writable(&m) {}

  bool isInterior(int v) const {
    int const* tris = adjTris->triIndices(v);
    return std::all_of(tris, tris + adjTris->numTris(v), [&](int t) { return triangles.test(t); });
  }
  // Where the region's vertex x is in the mesh; -1 when it is not there.
  int indexOf(TopoMeshVertex x) const {
    const std::uint64_t number = x.number();  // 0 for null
    return number < indices.size() ? indices[number] : -1;
  }
  int numberNewVertices();
  void makeRoom(int numVertices, Array<int>& finalIndex);
  void writeRegion(int t);
  void deleteOld(Array<int>& finalIndex);

  CompactMesh* writable;
  qv::vector<int> indices;  // by number of the region's vertex
  BitVector interior;
  bool merged = false;
};

MeshModifyRep::MeshModifyRep(CompactMesh& mesh, MeshAdjTris const& adjTris)
    : MeshModifyRep(mesh, mesh.getSelectedTriangles(), mesh.getSelectedVertices(), adjTris) {}
MeshModifyRep::MeshModifyRep(CompactMesh& mesh, BitVector const& triangles, BitVector const& vertices,
                             MeshAdjTris const& adjTris)
    : MeshConvertRep(std::make_unique<ModifyImpl>(mesh, triangles, vertices, adjTris)) {}
MeshModifyRep::~MeshModifyRep() = default;

MeshModifyRep::ModifyImpl* MeshModifyRep::getModify() const { return static_cast<ModifyImpl*>(getConvert()); }

TopoMesh& MeshModifyRep::extract() {
  ModifyImpl& r = *getModify();
  if (r.region) return *r.region;
  qvOS::StopWatch watch;
  watch.start();
  // Before the region, which stands for all that belongs to it.
  r.indices.assign(static_cast<std::size_t>(r.vertices.numSetBits) + 1, -1);
  r.interior.resize(r.mesh->getNumVertices());
  MeshConvertRep::extract();
  for (int v = 0; v < r.mesh->getNumVertices(); ++v) {
    if (!r.vertexMap[v]) continue;
    r.indices[r.vertexMap[v].number()] = v;
    if (r.isInterior(v)) r.interior.setBit(v);
  }
  debugChannel().print("MeshModifyRep::extract: %f s\n", watch.stop());
  return *r.region;
}

void MeshModifyRep::removeVertex(TopoMeshVertex x) {
  ModifyImpl& r = *getModify();
  const int v = r.indexOf(x);
  if (v < 0) return;
  r.interior.clearBit(v);
  r.indices[x.number()] = -1;
  r.vertexMap[v] = TopoMeshVertex();
}

// Interior vertices come back as new ones; the old ones are left to the deletion.
// @return the number of vertices with those of the region that are not in the mesh yet
int MeshModifyRep::ModifyImpl::numberNewVertices() {
  int next = mesh->getNumVertices();
  if (next > std::numeric_limits<int>::max() - region->numVertices()) throw std::bad_alloc();
  for (TopoMeshVertex x = region->firstVertex(); x; x = x.nextInMesh()) {
    if (x.number() >= indices.size()) indices.resize(x.number() + 1, -1);
    int& index = indices[x.number()];
    if (index < 0 || interior.test(index)) index = next++;
  }
  return next;
}

// Sizes all that is written. When there is no memory for it the mesh stays as it was.
// @param finalIndex gets an entry for each vertex
void MeshModifyRep::ModifyImpl::makeRoom(int numVertices, Array<int>& finalIndex) {
  const int oldVertices = mesh->getNumVertices(), oldTriangles = mesh->getNumTriangles();
  if (oldTriangles > std::numeric_limits<int>::max() - region->numFaces()) throw std::bad_alloc();
  const int numTriangles = oldTriangles + region->numFaces();
  finalIndex.resize(numVertices);
  BitVector oldInRegion(numVertices), replaced(numTriangles);
  oldInRegion |= vertices;
  replaced |= triangles;
  try {
    writable->resizeVertexArray(numVertices);
    writable->resizeTriangleArray(numTriangles);
  } catch (...) {
    writable->resizeVertexArray(oldVertices);
    throw;
  }
  writable->getSelectedVertices().swap(oldInRegion);
  writable->getSelectedTriangles().swap(replaced);
}

// @param t the first triangle to write
void MeshModifyRep::ModifyImpl::writeRegion(int t) {
  for (TopoMeshVertex x = region->firstVertex(); x; x = x.nextInMesh())
    writable->getVertices()[indices[x.number()]].set(x.point().data());
  for (TopoMeshFace face = region->firstFace(); face; face = face.nextInMesh(), ++t) {
    TopoMeshEdge edge = face.firstEdge();
    for (int& corner : writable->getTriangles()[t].v) {
      corner = indices[edge.start().number()];
      edge = edge.next();
    }
  }
}

// @param finalIndex receives the number that each vertex has in the end, -1 for those that went
void MeshModifyRep::ModifyImpl::deleteOld(Array<int>& finalIndex) {
  MeshDeleteSelected deleteSelected(*writable);
  deleteSelected();
  const qv::Reference<Remap> map = deleteSelected.getVertexMap();
  for (int v = 0; v < finalIndex.size(); ++v)
    finalIndex[v] = map ? (*map)(v) : -1;  // no map: the mesh is empty
}

void MeshModifyRep::merge() { merge(nullptr, nullptr); }
void MeshModifyRep::merge(Array<int>& vertexMap, ArrayMap<TopoMeshVertex, int>* map) {
  merge(&vertexMap, map);
}

void MeshModifyRep::merge(Array<int>* vertexMap, ArrayMap<TopoMeshVertex, int>* map) {
  ModifyImpl& r = *getModify();
  if (vertexMap) vertexMap->clear();
  if (map) *map = ArrayMap<TopoMeshVertex, int>(-1);
  if (!r.region || std::exchange(r.merged, true)) return;
  qvOS::StopWatch watch;
  watch.start();
  Array<int> finalIndex;
  if (r.triangles.numSetBits == 0) {
    // Its vertices alone would be appended, and nobody told.
    finalIndex.resize(r.mesh->getNumVertices());
    for (int v = 0; v < finalIndex.size(); ++v) finalIndex[v] = v;
  } else {
    const int firstFace = r.mesh->getNumTriangles();
    r.makeRoom(r.numberNewVertices(), finalIndex);
    r.writeRegion(firstFace);
    r.deleteOld(finalIndex);
    for (std::size_t v = 0; v < r.vertexMap.size(); ++v) {
      int& index = finalIndex[static_cast<int>(v)];
      if (index < 0 && r.vertexMap[v]) index = finalIndex[r.indexOf(r.vertexMap[v])];
    }
  }
  if (map) {
    for (TopoMeshVertex x = r.region->firstVertex(); x; x = x.nextInMesh())
      if (r.indexOf(x) >= 0) map->append(x, finalIndex[r.indexOf(x)]);
    map->sort();
  }
  if (vertexMap) vertexMap->swap(finalIndex);
  debugChannel().print("MeshModifyRep::merge(): %f s\n", watch.stop());
}

}  // namespace qvGeom
