#include "geom/cut/cut_surface.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

#include "geom/topology/adjacency.h"

// Edges are paired once, each with its reverse in the neighbour; growing the tree and walking around vertices
// are then steps from edge to edge. Which edges are cut is a flag of each, so the order in which the cut runs
// around the disc need not be known: the wedges of a vertex depend on the flags alone. All is decided on the
// old numbers, and the mesh written at the end.

namespace qvGeom {

namespace cutSurface {

namespace {

/// The edge from corner k of triangle t to the next has number 3 t + k, which is also the place of its first
/// vertex among the raw indices. Their number may pass the range of int.
using Edge = std::int64_t;
constexpr Edge kNone = -1;

Edge following(Edge e) { return e % 3 == 2 ? e - 2 : e + 1; }
Edge preceding(Edge e) { return e % 3 == 0 ? e + 2 : e - 1; }

class Alg {
 public:
  Alg(CompactMesh& mesh, qvUtil::Progress& progress)
      : mesh_(mesh),
        triangles_(mesh.getTriangles()),
        corners_(mesh.getTrianglesRaw()),
        numTriangles_(mesh.getNumTriangles()),
        numVertices_(mesh.getNumVertices()),
        progress_(progress) {}

  bool run();

 private:
  static constexpr int kRhythm = 1 << 14;  // elements between two looks at the progress: about a millisecond
  struct Change {
    Edge corner;  // place among the raw indices
    int vertex;   // counted from the first new one
  };

  bool pairEdges();
  void pairEdgesOf(int v);
  bool growTree();
  void plant();
  void visit(Edge triangle);
  void cut(Edge e);
  bool splitVertices();
  void splitVertex(int v);
  void walkFan(Edge start, int v, bool& isFirstWedge);
  Edge firstOfFan(Edge start) const;
  void commit();

  bool repeatsVertex(int t) const {
    const MeshTriangle& c = triangles_[t];
    return c[0] == c[1] || c[1] == c[2] || c[2] == c[0];
  }
  // The edge of t that begins at v, which is a corner of it.
  Edge leaving(int t, int v) const {
    return 3 * Edge{t} + (triangles_[t][0] == v ? 0 : triangles_[t][1] == v ? 1 : 2);
  }
  // Around the vertex that an edge begins at, to the next triangle counter-clockwise.
  Edge nextInFan(Edge e) const { return reverse_[preceding(e)]; }
  bool goesOn(int done, int all, double from, double to);

  CompactMesh& mesh_;
  MeshTriangle const* triangles_;
  int const* corners_;
  int numTriangles_;
  int numVertices_;
  qvUtil::Progress& progress_;
  MeshAdjTris adjTris_;
  std::vector<Edge> reverse_;  // [3 T] the same edge in the neighbour, or kNone at the mesh's boundary
  std::vector<std::uint64_t> around_;  // edges at one vertex: the other end, then the number of the edge
  std::vector<char> isVisited_;        // [T]
  std::vector<Edge> queue_;            // edges that lead out of visited triangles
  std::vector<char> isCut_;            // [3 T]
  std::vector<char> isOnCut_;          // [V]
  std::vector<char> isWalked_;         // [3 T] by the corner that the edge begins at
  std::vector<int> sources_;           // of each new vertex
  std::vector<Change> changes_;
};

bool Alg::run() {
  if (numTriangles_ == 0) return true;
  meshAdjTris(mesh_, adjTris_);
  if (!pairEdges() || !growTree() || !splitVertices()) return false;
  commit();
  return true;
}

bool Alg::pairEdges() {
  reverse_.assign(3 * static_cast<std::size_t>(numTriangles_), kNone);
  for (int v = 0; v < numVertices_; ++v) {
    if (!goesOn(v, numVertices_, 0, 0.6)) return false;
    pairEdgesOf(v);
  }
  return true;
}

// Pairs the edges between v and vertices behind it: for each of those the first edge that leaves v with the
// first that arrives, and so on. Where more triangles meet, the pairs are still mutual, so that walks around
// a vertex come back to where they began; what finds no partner is boundary, and so is every edge of a
// triangle that repeats a vertex.
void Alg::pairEdgesOf(int v) {
  constexpr int kEdgeBits = 33;
  constexpr std::uint64_t kEdgeMask = (std::uint64_t{1} << kEdgeBits) - 1;
  const auto add = [&](int other, Edge e) {
    if (other > v)
      around_.push_back(static_cast<std::uint64_t>(other) << kEdgeBits | static_cast<std::uint64_t>(e));
  };
  around_.clear();
  int const* tris = adjTris_.triIndices(v);
  for (int i = 0; i < adjTris_.numTris(v); ++i) {
    if (repeatsVertex(tris[i])) continue;
    const Edge e = leaving(tris[i], v);
    add(corners_[following(e)], e);
    add(corners_[preceding(e)], preceding(e));
  }
  std::sort(around_.begin(), around_.end());
  const auto end = around_.end();
  for (auto group = around_.begin(); group != end;) {
    const std::uint64_t other = *group >> kEdgeBits;
    const auto groupEnd = std::find_if(group, end, [&](std::uint64_t k) { return k >> kEdgeBits != other; });
    const auto nextOf = [&](auto from, bool leaves) {
      return std::find_if(from, groupEnd,
                          [&](std::uint64_t key) { return (corners_[key & kEdgeMask] == v) == leaves; });
    };
    auto out = nextOf(group, true), in = nextOf(group, false);
    while (out != groupEnd && in != groupEnd) {
      const Edge leaves = static_cast<Edge>(*out & kEdgeMask), arrives = static_cast<Edge>(*in & kEdgeMask);
      reverse_[leaves] = arrives;
      reverse_[arrives] = leaves;
      out = nextOf(out + 1, true);
      in = nextOf(in + 1, false);
    }
    group = groupEnd;
  }
}

bool Alg::growTree() {
  isVisited_.assign(static_cast<std::size_t>(numTriangles_), 0);
  isCut_.assign(reverse_.size(), 0);
  isOnCut_.assign(static_cast<std::size_t>(numVertices_), 0);
  plant();
  int visited = 0;
  for (std::size_t front = 0; front < queue_.size(); ++front) {
    const Edge e = queue_[front], over = reverse_[e];
    if (isVisited_[over / 3]) {
      cut(e);
      cut(over);
      continue;
    }
    if (!goesOn(visited++, numTriangles_, 0.6, 0.8)) return false;
    isVisited_[over / 3] = 1;
    visit(over / 3);
  }
  return true;
}

// All triangles around the first vertex are in the tree before any of them looks for neighbours: no edge
// between two of them is cut.
void Alg::plant() {
  const int root = adjTris_.numTris(0) > 0 ? 0 : corners_[0];
  int const* tris = adjTris_.triIndices(root);
  const int n = adjTris_.numTris(root);
  for (int i = 0; i < n; ++i) isVisited_[tris[i]] = 1;
  for (int i = 0; i < n; ++i) visit(tris[i]);
}

// Neighbours are marked when their turn comes, not when queued: one that is queued twice is where two
// branches meet, and the later edge to it is cut.
void Alg::visit(Edge triangle) {
  for (Edge e = 3 * triangle; e < 3 * triangle + 3; ++e) {
    if (reverse_[e] == kNone) {
      cut(e);
    } else if (!isVisited_[reverse_[e] / 3]) {
      queue_.push_back(e);
    }
  }
}

// Its other end need not be marked: an edge that leaves from there is cut too, the reverse of this one or the
// next along the mesh's boundary.
void Alg::cut(Edge e) {
  isCut_[e] = 1;
  isOnCut_[corners_[e]] = 1;
}

bool Alg::splitVertices() {
  isWalked_.assign(reverse_.size(), 0);
  for (int v = 0; v < numVertices_; ++v) {
    if (!goesOn(v, numVertices_, 0.8, 1)) return false;
    if (isOnCut_[v]) splitVertex(v);
  }
  return !progress_.cancelled();
}

// Triangles that hang together by other vertices only are fans of their own, and wedges of their own. Those
// that repeat a vertex stay where they are.
void Alg::splitVertex(int v) {
  int const* tris = adjTris_.triIndices(v);
  bool isFirstWedge = true;
  for (int i = 0; i < adjTris_.numTris(v); ++i) {
    if (repeatsVertex(tris[i])) continue;
    const Edge e = leaving(tris[i], v);
    if (!isWalked_[e]) walkFan(firstOfFan(e), v, isFirstWedge);
  }
}

// Where the first wedge begins: at the end of an open fan, even if a cut comes sooner, or else the wedge that
// ends there and the one that begins there would be one; in a closed fan at the first cut.
Edge Alg::firstOfFan(Edge start) const {
  Edge e = start;
  while (reverse_[e] != kNone) {
    e = following(reverse_[e]);
    if (e == start) break;
  }
  if (reverse_[e] == kNone) return e;
  while (!isCut_[e]) {
    e = nextInFan(e);
    if (e == start) break;
  }
  return e;
}

void Alg::walkFan(Edge start, int v, bool& isFirstWedge) {
  bool keepsVertex = isFirstWedge;
  Edge e = start;
  do {
    if (isCut_[e] || e == start) {
      keepsVertex = isFirstWedge;
      isFirstWedge = false;
      if (!keepsVertex) sources_.push_back(v);
    }
    isWalked_[e] = 1;
    if (!keepsVertex) changes_.push_back({e, static_cast<int>(sources_.size()) - 1});
    e = nextInFan(e);
  } while (e != kNone && e != start);
}

void Alg::commit() {
  if (!sources_.empty()) {
    const auto room = static_cast<std::size_t>(std::numeric_limits<int>::max() - numVertices_);
    if (sources_.size() > room) throw std::bad_alloc();
    mesh_.resizeVertexArray(numVertices_ + static_cast<int>(sources_.size()));
    MeshVertex* vertices = mesh_.getVertices();
    for (std::size_t i = 0; i < sources_.size(); ++i) vertices[numVertices_ + i] = vertices[sources_[i]];
    for (const Change& c : changes_) mesh_.getTrianglesRaw()[c.corner] = numVertices_ + c.vertex;
  }
  MeshModification modification(&mesh_, MeshModification::TopologyModified, nullptr);
  mesh_.modified(modification);
}

bool Alg::goesOn(int done, int all, double from, double to) {
  if (done % kRhythm != 0) return true;
  if (progress_.cancelled()) return false;
  progress_.set(from + (to - from) * done / all);
  return true;
}

}  // namespace

void makeDisk(CompactMesh& mesh) {
  qvUtil::Progress progress;
  makeDisk(mesh, progress);
}

bool makeDisk(CompactMesh& mesh, qvUtil::Progress& progress) {
  if (progress.cancelled() || !Alg(mesh, progress).run()) return false;
  progress.set(1);
  return true;
}

}  // namespace cutSurface

}  // namespace qvGeom
