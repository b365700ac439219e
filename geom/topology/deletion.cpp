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

// The part of a selection that lies in a mesh of n elements: selections do not follow when arrays are
// resized.
BitVector clipped(BitVector const& selection, int n) {
  BitVector bits(n);
  bits |= selection;
  return bits;
}

// Takes the vertices that a kept triangle uses from those to delete.
void spareUsed(CompactMesh const& mesh, BitVector const& deletedTriangles, BitVector& deletedVertices) {
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    if (deletedTriangles.test(t)) continue;
    for (const int v : mesh.getTriangles()[t].v) deletedVertices.clearBit(v);
  }
}

}  // namespace

MeshDeleteSelected::MeshDeleteSelected(CompactMesh& mesh) : mesh_(mesh) {}
MeshDeleteSelected::~MeshDeleteSelected() = default;

void MeshDeleteSelected::operator()() {
  const int n = mesh_.getNumVertices();
  const int t = mesh_.getNumTriangles();
  if (mesh_.getSelectedTriangles().numSetBits == 0) return;
  const BitVector deletedTriangles = clipped(mesh_.getSelectedTriangles(), t);
  if (deletedTriangles.numSetBits == 0) return;
  if (deletedTriangles.numSetBits == t) return deleteAll();

  qvOS::StopWatch watch;
  watch.start();
  BitVector deletedVertices = clipped(mesh_.getSelectedVertices(), n);
  debugChannel().print("meshDeleteSelected:  vertices %d(%d)  triangles %d(%d)\n",
                       static_cast<int>(deletedVertices.numSetBits), n,
                       static_cast<int>(deletedTriangles.numSetBits), t);
  spareUsed(mesh_, deletedTriangles, deletedVertices);

  // All the memory first: from here on nothing can fail.
  const qv::Reference<Remap> vertexMap(new Remap(n, 0));
  Remap triangleMap(t, 0);
  vertexMap_ = vertexMap;
  vertexMap_->setDeleteMap(deletedVertices);
  compact(mesh_.getVertices(), *vertexMap_);
  if (deletedVertices.numSetBits > 0 && mesh_.getUVs()) compact(mesh_.getUVs(), *vertexMap_);
  mesh_.resizeVertexArray(vertexMap_->getRangeSize());
  debugChannel().print("  delete vertices: %f s\n", watch.clear());

  watch.start();
  triangleMap.setDeleteMap(deletedTriangles);
  compact(mesh_.getTriangles(), triangleMap);
  mesh_.resizeTriangleArray(triangleMap.getRangeSize());
  for (int i = 0; i < mesh_.getNumTriangles(); ++i) (*vertexMap_)(mesh_.getTriangles()[i].v, 3);
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
