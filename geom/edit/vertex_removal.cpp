#include "geom/edit/vertex_removal.h"

#include <algorithm>

#include "geom/edit/edge_swap.h"

// Swapping back never fails. Spokes lead to distinct vertices, so none exists twice; an edge made by a swap
// did not exist before; and all swaps stay within the polygon around the vertex, whose sides stay.

namespace qvGeom {

bool VertexRemoval::lowerValence(TopoMeshVertex v, int numNeighbours) {
  // Where an edge has several triangles, the fan is not all there is.
  int valence = v.valence();
  if (valence != numNeighbours || v.onBoundary()) return false;
  vertex_ = v;
  lowered_.clear();
  for (TopoMeshEdgeVertexIterator it(v); valence > 3 && it.valid();) {
    const TopoMeshEdge e = it.get();
    it.next();
    bool veto = false;
    MeshEdgeSwapper::preventFoldover(e, veto);
    if (veto || !mesh_.swapEdge(e)) continue;
    lowered_.push_back(e);
    --valence;
  }
  if (valence == 3 && mesh_.canDeleteVertex(v)) return true;
  swapBack(lowered_);
  return false;
}

void VertexRemoval::removeAndRelax() {
  position_ = vertex_.point();
  filled_ = mesh_.deleteVertex(vertex_);
  firstOfFilled_ = filled_.firstEdge();
  startOfFirst_ = firstOfFilled_.start();
  relax();
}

void VertexRemoval::relax() {
  relaxed_.clear();
  for (int sweep = 0; sweep < kRelaxingSweeps; ++sweep) {
    const std::size_t before = relaxed_.size();
    for (const TopoMeshEdge e : lowered_) {
      bool veto = false;
      MeshEdgeSwapper::minimizeOppositeAngleSum(e, veto);
      if (!veto && mesh_.swapEdge(e)) relaxed_.push_back(e);
    }
    // Nothing has changed, so that the next sweep would find the same.
    if (relaxed_.size() == before) break;
  }
}

const qv::vector<VertexRemoval::Triangle>& VertexRemoval::newTriangles() {
  faces_.assign(1, filled_);
  for (const TopoMeshEdge e : relaxed_) {
    faces_.push_back(e.face());
    faces_.push_back(e.twin().face());
  }
  std::sort(faces_.begin(), faces_.end());
  faces_.erase(std::unique(faces_.begin(), faces_.end()), faces_.end());
  triangles_.clear();
  for (const TopoMeshFace face : faces_) {
    const TopoMeshEdge e = face.firstEdge();
    triangles_.push_back({e.start().point(), e.end().point(), e.prev().start().point()});
  }
  return triangles_;
}

void VertexRemoval::restore() {
  swapBack(relaxed_);
  // An edge that was swapped and swapped back runs the other way.
  const bool isTurned = firstOfFilled_.start() != startOfFirst_;
  const TopoMeshEdge first = isTurned ? firstOfFilled_.twin() : firstOfFilled_;
  mesh_.subdivideFace(first.face(), position_);
  swapBack(lowered_);
}

void VertexRemoval::swapBack(const qv::vector<TopoMeshEdge>& edges) {
  for (auto e = edges.rbegin(); e != edges.rend(); ++e) mesh_.swapEdge(*e);
}

}  // namespace qvGeom
