#include "geom/topology/region.h"

#include <algorithm>
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
      : mesh(&m), triangles(t), vertices(v), adjTris(&a) {}
  virtual ~ConvertImpl() = default;

  CompactMesh const* mesh;
  BitVector triangles;
  BitVector vertices;
  MeshAdjTris const* adjTris;
  ArrayMap<int, TopoMeshVertex> vertexMap;
  ArrayMap<int, TopoMeshFace> faceMap;
  TopoMesh region;
  bool extracted = false;
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
  if (r.extracted) return r.region;
  r.extracted = true;
  qvOS::StopWatch watch;
  watch.start();
  for (int v = 0; v < r.mesh->getNumVertices(); ++v)
    if (r.vertices.test(v)) r.vertexMap.append(v, r.region.allocVertex(r.mesh->getVertices()[v].asPoint()));
  r.vertexMap.sort();
  for (int t = 0; t < r.mesh->getNumTriangles(); ++t) {
    if (!r.triangles.test(t)) continue;
    const MeshTriangle& tri = r.mesh->getTriangles()[t];
    const TopoMeshFace face =
        r.region.allocTriangle(r.vertexMap.find(tri[0]), r.vertexMap.find(tri[1]), r.vertexMap.find(tri[2]));
    if (face) {
      r.faceMap.append(t, face);
    } else {
      r.triangles.clearBit(t);  // it has no face to come back as, so it must stay
    }
  }
  r.faceMap.sort();
  meshTwin(r.region);
  debugChannel().print("MeshConvertRep::extract: %f s\n", watch.stop());
  return r.region;
}

TopoMeshVertex MeshConvertRep::getTopoMeshVertex(int v) const { return impl_->vertexMap.find(v); }

struct MeshModifyRep::ModifyImpl : MeshConvertRep::ConvertImpl {
  ModifyImpl(CompactMesh& m, BitVector const& t, BitVector const& v, MeshAdjTris const& a)
      : ConvertImpl(m, t, v, a), writable(&m) {}

  bool isInterior(int v) const {
    int const* tris = adjTris->triIndices(v);
    return std::all_of(tris, tris + adjTris->numTris(v), [&](int t) { return triangles.test(t); });
  }
  void detachInterior();
  int numberNewVertices();
  void writeRegion(int numVertices);
  void deleteOld(Array<int>& finalIndex);

  CompactMesh* writable;
  ArrayMap<TopoMeshVertex, int> inverse{-1};
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
  if (r.extracted) return r.region;
  qvOS::StopWatch watch;
  watch.start();
  MeshConvertRep::extract();
  for (const auto& [v, x] : r.vertexMap) r.inverse.append(x, v);
  r.inverse.sort();
  r.interior.resize(r.mesh->getNumVertices());
  for (int v = 0; v < r.mesh->getNumVertices(); ++v)
    if (r.vertices.test(v) && r.isInterior(v)) r.interior.setBit(v);
  debugChannel().print("MeshModifyRep::extract: %f s\n", watch.stop());
  return r.region;
}

void MeshModifyRep::removeVertex(TopoMeshVertex x) {
  ModifyImpl& r = *getModify();
  const int v = r.inverse.find(x);
  if (v < 0) return;
  r.interior.clearBit(v);
  r.inverse.erase(x);
  r.vertexMap.erase(v);
}

// Interior vertices come back as new ones; the old ones are left to the deletion.
void MeshModifyRep::ModifyImpl::detachInterior() {
  for (int v = 0; v < mesh->getNumVertices(); ++v) {
    if (!interior.test(v)) continue;
    const TopoMeshVertex x = vertexMap.find(v);
    if (!x) continue;
    vertexMap.erase(v);
    inverse.erase(x);
  }
}

// @return the number of vertices with those of the region that are not in the mesh yet
int MeshModifyRep::ModifyImpl::numberNewVertices() {
  int next = mesh->getNumVertices();
  const std::int64_t last = std::int64_t{next} + region.numVertices();
  if (last > std::numeric_limits<int>::max()) throw std::bad_alloc();
  for (TopoMeshVertex x = region.firstVertex(); x; x = x.nextInMesh())
    if (!inverse.contains(x)) inverse.append(x, next++);
  inverse.sort();
  return next;
}

void MeshModifyRep::ModifyImpl::writeRegion(int numVertices) {
  writable->resizeVertexArray(numVertices);
  // By number of the vertex: every corner of every face looks here.
  qv::vector<int> indices;
  for (const auto& [x, index] : inverse) {
    if (!x.isAlive()) continue;
    writable->getVertices()[index].set(x.point().data());
    indices.resize(x.number() + 1);
    indices.back() = index;
  }
  int t = writable->getNumTriangles();
  writable->resizeTriangleArray(t + region.numFaces());
  for (TopoMeshFace face = region.firstFace(); face; face = face.nextInMesh(), ++t) {
    TopoMeshEdge edge = face.firstEdge();
    for (int& corner : writable->getTriangles()[t].v) {
      corner = indices[edge.start().number()];
      edge = edge.next();
    }
  }
}

// @param finalIndex receives the number that each vertex has in the end, -1 for those that went
void MeshModifyRep::ModifyImpl::deleteOld(Array<int>& finalIndex) {
  const int n = writable->getNumVertices();
  writable->getSelectedVertices().resize(n);
  writable->getSelectedVertices() |= vertices;
  writable->getSelectedTriangles().resize(writable->getNumTriangles());
  writable->getSelectedTriangles() |= triangles;
  MeshDeleteSelected deleteSelected(*writable);
  deleteSelected();
  const qv::Reference<Remap> map = deleteSelected.getVertexMap();
  finalIndex.resize(n);
  for (int v = 0; v < n; ++v) finalIndex[v] = map ? (*map)(v) : -1;  // no map: the mesh is empty
}

void MeshModifyRep::merge() { merge(nullptr, nullptr); }
void MeshModifyRep::merge(Array<int>& vertexMap, ArrayMap<TopoMeshVertex, int>* map) {
  merge(&vertexMap, map);
}

void MeshModifyRep::merge(Array<int>* vertexMap, ArrayMap<TopoMeshVertex, int>* map) {
  ModifyImpl& r = *getModify();
  if (!r.extracted || std::exchange(r.merged, true)) return;
  qvOS::StopWatch watch;
  watch.start();
  Array<int> finalIndex;
  if (r.triangles.numSetBits == 0) {
    // Its vertices alone would be appended, and nobody told.
    finalIndex.resize(r.mesh->getNumVertices());
    for (int v = 0; v < finalIndex.size(); ++v) finalIndex[v] = v;
  } else {
    const ArrayMap<TopoMeshVertex, int> before = r.inverse;
    r.detachInterior();
    r.writeRegion(r.numberNewVertices());
    r.deleteOld(finalIndex);
    for (const auto& [x, old] : before)
      if (old >= 0 && finalIndex[old] == -1) {
        const int added = r.inverse.find(x);
        if (added >= 0) finalIndex[old] = finalIndex[added];
      }
  }
  if (map) {
    *map = r.inverse;
    for (auto& [x, index] : *map)
      if (index >= 0) index = finalIndex[index];
    map->sort();
  }
  if (vertexMap) vertexMap->swap(finalIndex);
  debugChannel().print("MeshModifyRep::merge(): %f s\n", watch.stop());
}

}  // namespace qvGeom
