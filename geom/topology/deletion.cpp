#include "geom/topology/deletion.h"

#include <algorithm>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/topology/selection.h"

namespace qvGeom {
namespace {

template <typename Element>
void compact(Element* elements, Remap const& map) {
  for (int i = 0; i < map.getDomainSize(); ++i) {
    const int j = map(i);
    if (j >= 0) elements[j] = elements[i];
  }
}

// The selected vertices that no kept triangle uses. The selections may be shorter than the mesh.
BitVector verticesToDelete(CompactMesh const& mesh) {
  BitVector deleted(mesh.getNumVertices());
  deleted |= mesh.getSelectedVertices();
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    if (mesh.getSelectedTriangles().test(t)) continue;
    for (const int v : mesh.getTriangles()[t].v) deleted.clearBit(v);
  }
  return deleted;
}

}  // namespace

MeshDeleteSelected::MeshDeleteSelected(CompactMesh& mesh) : mesh_(mesh) {}
MeshDeleteSelected::~MeshDeleteSelected() = default;

void MeshDeleteSelected::operator()() {
  const int n = mesh_.getNumVertices();
  const int t = mesh_.getNumTriangles();
  const BitVector& selected = mesh_.getSelectedTriangles();
  if (selected.numSetBits == 0) return;
  if (selected.numSetBits == t) return deleteAll();

  qvOS::StopWatch watch;
  watch.start();
  const BitVector deletedVertices = verticesToDelete(mesh_);
  BitVector deletedTriangles(t);
  deletedTriangles |= selected;
  debugChannel().print("meshDeleteSelected:  vertices %d(%d)  triangles %d(%d)\n",
                       static_cast<int>(mesh_.getSelectedVertices().numSetBits), n,
                       static_cast<int>(selected.numSetBits), t);

  vertexMap_ = new Remap(n, n - static_cast<int>(deletedVertices.numSetBits));
  vertexMap_->setDeleteMap(deletedVertices);
  compact(mesh_.getVertices(), *vertexMap_);
  if (deletedVertices.numSetBits > 0 && mesh_.getUVs()) compact(mesh_.getUVs(), *vertexMap_);
  mesh_.resizeVertexArray(vertexMap_->getRangeSize());
  debugChannel().print("  delete vertices: %f s\n", watch.clear());

  watch.start();
  Remap triangleMap(t, 0);
  triangleMap.setDeleteMap(deletedTriangles);
  compact(mesh_.getTriangles(), triangleMap);
  mesh_.resizeTriangleArray(triangleMap.getRangeSize());
  (*vertexMap_)(mesh_.getTrianglesRaw(), 3 * triangleMap.getRangeSize());
  debugChannel().print("  delete triangles: %f s\n", watch.stop());

  mesh_.clearSelection();
  MeshRemap remap(vertexMap_.get(), &triangleMap);
  MeshModification modification(&mesh_, MeshModification::TopologyModified, &remap);
  if (mesh_.getUVs()) modification.uvsValid();
  mesh_.modified(modification);
}

void MeshDeleteSelected::deleteAll() {
  debugChannel().print("meshDeleteSelected:  deleting all vertices(%d) and triangles(%d)\n",
                       mesh_.getNumVertices(), mesh_.getNumTriangles());
  vertexMap_ = qv::Reference<Remap>();
  mesh_.resizeTriangleArray(0);
  mesh_.resizeVertexArray(0);
  mesh_.clearSelection();
  MeshModification modification(&mesh_, MeshModification::TopologyModified, nullptr);
  mesh_.modified(modification);
}

void MeshDeleteSelected::operator()(MeshAdjTris const& adjTris, qv::vector<int> const& triangles) {
  mesh_.getSelectedVertices().resize(mesh_.getNumVertices());
  mesh_.getSelectedTriangles().resize(mesh_.getNumTriangles());
  mesh_.getSelectedTriangles().setBits(static_cast<int>(triangles.size()), triangles.data());
  MeshSelect(mesh_, adjTris).selectVerticesFromTriangles();
  (*this)();
}

}  // namespace qvGeom
