#include "geom/repair/manifold.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/repair/edge_triangles.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/deletion.h"
#include "geom/topology/selection.h"

namespace qvGeom {

namespace {

// The triangles around a vertex v, one vertex after another. An edge at v is known by its other end, so a
// table over the mesh's vertices finds it at once; fans are small as a rule, but the tip of a cone may have
// all the triangles there are.
class VertexFan {
 public:
  struct Edge {
    int end;    // the vertex that is not v; v itself for a triangle with v at two corners
    int uses;   // corners at v that have this edge
    int first;  // the first of them
  };

  VertexFan(const CompactMesh& mesh, MeshAdjTris const& adjTris)
      : triangles_(mesh.getTriangles()), adjTris_(adjTris), edgeOf_(mesh.getNumVertices(), kNone) {}

  /// Makes room for vertices that are about to be added.
  void setNumVertices(int n) { edgeOf_.resize(n, kNone); }

  void build(int v);

  bool hasBadEdge() const { return hasBadEdge_; }
  /// Number of groups that are connected through edges at v. Without meaning where an edge is bad.
  int groups() const { return groups_; }
  bool isSplit() const { return !hasBadEdge_ && groups_ > 1; }

  template <typename Visit>
  void forBadEdges(const Visit& visit) const {
    for (int i = 0; hasBadEdge_ && i < numEdges_; ++i)
      if (edges_[i].uses > 2) visit(edges_[i].end);
  }
  /// Calls `visit(triangle, group)` for all entries of v's list; groups count from 0 in order of their first.
  template <typename Visit>
  void forGroups(const Visit& visit);

 private:
  static constexpr int kNone = -1;

  void use(int k, int end);
  int root(int k) {
    while (root_[k] != k) k = root_[k] = root_[root_[k]];
    return k;
  }

  MeshTriangle const* triangles_;
  MeshAdjTris const& adjTris_;
  qv::vector<int> edgeOf_;  // [vertices] where among the edges the one to that vertex is
  qv::vector<Edge> edges_;  // this and the next two only grow, so that most fans allocate nothing
  qv::vector<int> root_;    // trees of connected entries, towards the lowest of each
  qv::vector<int> group_;
  int const* tris_ = nullptr;
  int n_ = 0;
  int numEdges_ = 0;
  int groups_ = 0;
  bool hasBadEdge_ = false;
};

void VertexFan::build(int v) {
  for (int i = 0; i < numEdges_; ++i) edgeOf_[edges_[i].end] = kNone;
  numEdges_ = 0;
  n_ = groups_ = adjTris_.numTris(v);
  tris_ = adjTris_.triIndices(v);
  hasBadEdge_ = false;
  if (static_cast<std::size_t>(n_) > root_.size()) {
    root_.resize(n_);
    group_.resize(n_);
    edges_.resize(2 * static_cast<std::size_t>(n_));
  }
  for (int k = 0; k < n_; ++k) {
    const MeshTriangle& t = triangles_[tris_[k]];
    const int corner = t[0] == v ? 0 : t[1] == v ? 1 : 2;
    root_[k] = k;
    use(k, t[corner == 2 ? 0 : corner + 1]);
    use(k, t[corner == 0 ? 2 : corner - 1]);
  }
}

void VertexFan::use(int k, int end) {
  int& edge = edgeOf_[end];
  if (edge == kNone) {
    edge = numEdges_++;
    edges_[edge] = {end, 1, k};
    return;
  }
  if (++edges_[edge].uses > 2) hasBadEdge_ = true;
  const int a = root(edges_[edge].first), b = root(k);
  if (a == b) return;
  root_[std::max(a, b)] = std::min(a, b);
  --groups_;
}

template <typename Visit>
void VertexFan::forGroups(const Visit& visit) {
  int next = 0;
  for (int k = 0; k < n_; ++k) {
    const int lowest = root(k);
    group_[k] = lowest == k ? next++ : group_[lowest];
    visit(tris_[k], group_[k]);
  }
}

}  // namespace

void meshManifold(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshManifoldResult& result) {
  qvOS::StopWatch watch;
  watch.start();
  const int n = mesh.getNumVertices();
  MeshManifoldResult found;
  found.badVertices.resize(n);
  VertexFan fan(mesh, adjTris);
  for (int v = 0; v < n; ++v) {
    if (adjTris.numTris(v) < 2) continue;
    fan.build(v);
    fan.forBadEdges([&](int end) { found.badEdges.emplace_back(std::min(v, end), std::max(v, end)); });
    if (fan.isSplit()) found.badVertices.setBit(v);
  }
  if (!found.badEdges.empty()) {
    found.badVertices.clearBits();
    // Each is found from both ends.
    std::sort(found.badEdges.begin(), found.badEdges.end());
    found.badEdges.erase(std::unique(found.badEdges.begin(), found.badEdges.end()), found.badEdges.end());
  }
  std::swap(result, found);
  debugChannel().print(
      "meshManifold:  vertices %d  triangles %d: %f s\n               badVertexAdj(%d) badEdgeAdj(%d)\n", n,
      mesh.getNumTriangles(), watch.stop(), static_cast<int>(result.badVertices.numSetBits),
      static_cast<int>(result.badEdges.size()));
}

namespace {

class SurplusMarker {
 public:
  SurplusMarker(CompactMesh& mesh, MeshAdjTris const& adjTris)
      : triangles_(mesh.getTriangles()), adjTris_(adjTris), marks_(mesh.getSelectedTriangles()) {}

  /// Marks all triangles of an edge but two, a <= b.
  void mark(int a, int b) {
    entries_.clear();
    forEdgeTriangles(triangles_, adjTris_, a, b, [&](int t, int) {
      entries_.push_back({trianglesAtThird(triangles_[t], a, b), static_cast<int>(entries_.size()), t});
      return true;
    });
    std::sort(entries_.begin(), entries_.end());
    for (std::size_t i = 0; i + 2 < entries_.size(); ++i) marks_.setBit(entries_[i].triangle);
  }

 private:
  struct Entry {
    int count;
    int place;  // where counts are equal, list order decides: the outcome must not hang on the sort
    int triangle;

    friend bool operator<(const Entry& x, const Entry& y) {
      return x.count != y.count ? x.count < y.count : x.place < y.place;
    }
  };

  int trianglesAtThird(const MeshTriangle& t, int a, int b) const {
    for (const int v : t.v)
      if (v != a && v != b) return adjTris_.numTris(v);
    return 0;  // a repeated vertex: the first to go
  }

  MeshTriangle const* triangles_;
  MeshAdjTris const& adjTris_;
  BitVector& marks_;
  qv::vector<Entry> entries_;
};

void deleteSurplus(CompactMesh& mesh, MeshAdjTris const& adjTris, MeshManifoldResult const& result) {
  mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
  mesh.getSelectedVertices().resize(mesh.getNumVertices());
  VertexFan fan(mesh, adjTris);
  SurplusMarker marker(mesh, adjTris);
  int done = -1;
  for (const auto& edge : result.badEdges) {
    const int v = edge.first;
    if (v == done) continue;  // the list is sorted, and all bad edges at a vertex are dealt with at once
    done = v;
    fan.build(v);
    fan.forBadEdges([&](int end) { marker.mark(std::min(v, end), std::max(v, end)); });
  }
  MeshSelect(mesh, adjTris).selectVerticesFromTriangles();
  MeshDeleteSelected deleteSelected(mesh);
  deleteSelected();
}

void splitVertices(CompactMesh& mesh, MeshAdjTris const& adjTris, const BitVector& badVertices) {
  const int n = mesh.getNumVertices();
  VertexFan fan(mesh, adjTris);
  qv::vector<int> split;
  std::ptrdiff_t total = n;
  for (int v = 0; v < n; ++v) {
    if (!badVertices.test(v)) continue;
    fan.build(v);
    if (!fan.isSplit()) continue;
    split.push_back(v);
    total += fan.groups() - 1;
  }
  if (total > std::numeric_limits<int>::max()) throw std::bad_alloc();
  fan.setNumVertices(static_cast<int>(total));
  mesh.resizeVertexArray(static_cast<int>(total));

  MeshTriangle* triangles = mesh.getTriangles();
  MeshVertex* vertices = mesh.getVertices();
  int next = n;
  // Fans are built again, from triangles that may have been renamed by now: two that share an edge are in one
  // group at either end of it and get the same new names, so a later vertex has the groups it had.
  for (const int v : split) {
    fan.build(v);
    std::fill_n(vertices + next, fan.groups() - 1, vertices[v]);
    fan.forGroups([&](int t, int group) {
      if (group > 0) std::replace(triangles[t].v, triangles[t].v + 3, v, next + group - 1);
    });
    next += fan.groups() - 1;
  }
  MeshModification modification(&mesh, MeshModification::TopologyModified, nullptr);
  mesh.modified(modification);
}

}  // namespace

void meshMakeManifold(CompactMesh& mesh, MeshAdjTris const& adjTris, MeshManifoldResult const& result) {
  if (!result.badEdges.empty()) {
    deleteSurplus(mesh, adjTris, result);
  } else if (result.badVertices.numSetBits > 0) {
    splitVertices(mesh, adjTris, result.badVertices);
  }
}

void meshMakeManifold(CompactMesh& mesh) {
  int vertices = -1, triangles = -1;
  // Every pass deletes triangles or adds vertices, or it would never end: an edge that is bad because of a
  // repeated vertex has no triangle to spare.
  while (mesh.getNumVertices() != vertices || mesh.getNumTriangles() != triangles) {
    vertices = mesh.getNumVertices();
    triangles = mesh.getNumTriangles();
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshManifoldResult result;
    meshManifold(mesh, adjTris, result);
    if (result.isClean()) return;
    meshMakeManifold(mesh, adjTris, result);
  }
}

}  // namespace qvGeom
