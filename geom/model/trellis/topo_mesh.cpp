#include "geom/model/trellis/topo_mesh.h"

#include <algorithm>

#include "geom/model/trellis/topo_mesh_records.h"

namespace qvGeom {

using topo::Edge;

template <typename Record>
TopoMesh::List<Record>::List() : pool(std::make_unique<topo::Pool<Record>>()) {}

template <typename Record>
TopoMesh::List<Record>::~List() = default;

TopoMesh::TopoMesh() = default;
TopoMesh::~TopoMesh() = default;

int TopoMeshVertex::valence() const { return record_->first ? topo::fanOf(record_->first).size : 0; }

bool TopoMeshVertex::onBoundary() const { return !record_->first || topo::fanOf(record_->first).open; }

qv::vector<TopoMeshEdge> TopoMeshVertex::outgoingEdges() const {
  qv::vector<TopoMeshEdge> edges;
  topo::anyOutgoing(record_, [&](Edge* e) {
    edges.emplace_back(e);
    return false;
  });
  std::sort(edges.begin(), edges.end());
  return edges;
}

qvLinear::Point TopoMeshFace::centroid() const {
  qvLinear::Vector sum;
  const Edge* corner = record_->first;
  for (int i = 0; i < record_->size; ++i, corner = corner->next)
    sum += corner->start->point - qvLinear::Point();
  return qvLinear::Point() + sum * (1.0 / record_->size);
}

TopoMeshEdge TopoMesh::findEdge(TopoMeshVertex a, TopoMeshVertex b) const {
  if (!a.isAlive() || !b.isAlive()) return {};
  return TopoMeshEdge(
      topo::oldestOutgoing(a.record_, [&](const Edge* e) { return topo::endOf(e) == b.record_; }));
}

TopoMeshEdgeVertexIterator::TopoMeshEdgeVertexIterator(TopoMeshVertex v) {
  if (!v.isAlive() || !v.firstEdge()) return;
  edge_ = v.firstEdge();
  TopoMeshEdge e = edge_;
  do {
    ++remaining_;
    e = e.prev().twin();
  } while (e && e != edge_);
  if (e) return;
  for (; edge_.twin(); ++remaining_) edge_ = edge_.twin().next();
}

void TopoMeshEdgeVertexIterator::next() {
  if (!valid()) return;
  --remaining_;
  edge_ = edge_.isAlive() ? edge_.prev().twin() : TopoMeshEdge();
  if (!edge_) remaining_ = 0;
}

void TopoMeshBoundaryIterator::reset(TopoMeshEdge e) {
  edge_ = e.isAlive() && !e.twin() ? e : TopoMeshEdge();
}

void TopoMeshBoundaryIterator::reset(TopoMeshVertex v) { reset(TopoMeshEdgeVertexIterator(v).get()); }

TopoMeshEdge TopoMeshBoundaryIterator::nextEdge() {
  reset(edge_);  // it may have been edited since
  if (!edge_) return edge_;
  // Turning back from the corner that edge_ enters: edge_ ends that fan, so its beginning must be met.
  edge_ = edge_.next();
  while (edge_.twin()) edge_ = edge_.twin().next();
  return edge_;
}

void TopoMeshBoundaryIterator::getPrevNextEdges(TopoMeshEdge& prev, TopoMeshEdge& next) const {
  prev = next = TopoMeshEdge();
  if (!edge_.isAlive() || edge_.twin()) return;
  next = edge_;
  prev = edge_.prev();
  while (prev.twin()) prev = prev.twin().prev();
}

}  // namespace qvGeom
