#include "geom/topology/adjacency.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <numeric>
#include <utility>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/visit_stamps.h"

namespace qvGeom {

void meshAdjTris(CompactMesh const& mesh, MeshAdjTris& adjTris) {
  qvOS::StopWatch watch;
  watch.start();
  const int n = mesh.getNumVertices();
  const int t = mesh.getNumTriangles();
  MeshTriangle const* triangles = mesh.getTriangles();
  // 3 t is counted by an int in the record.
  if (t > std::numeric_limits<int>::max() / 3) throw std::bad_alloc();

  ArrayOfSets sets(n, 3 * t);
  int* starts = sets.setStarts.begin();
  int* members = sets.members.begin();
  std::fill_n(starts, n, 0);
  for (int i = 0; i < t; ++i)
    for (const int v : triangles[i].v) ++starts[v];

  Array<int> nextPlace;
  nextPlace.resizeForOverwrite(n);
  int* place = nextPlace.begin();
  int total = 0;
  for (int v = 0; v < n; ++v) {
    place[v] = total;
    total += std::exchange(starts[v], total);
  }
  for (int i = 0; i < t; ++i)
    for (const int v : triangles[i].v) members[place[v]++] = i;

  MeshAdjTris result(sets);
  adjTris.swap(result);
  debugChannel().print("MeshAdjTris: %d vertices %d triangles %f\n", n, t, watch.stop());
}

void meshAdjVertices(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshAdjVertices& adjVertices) {
  qvOS::StopWatch watch;
  watch.start();
  const int n = mesh.getNumVertices();
  MeshTriangle const* triangles = mesh.getTriangles();

  // A corner contributes two neighbours at most, so one walk fills a buffer of that size and counts as it
  // goes; a second walk only to learn the sizes would cost as much as copying costs little.
  const std::size_t bound =
      6 * static_cast<std::size_t>(mesh.getNumTriangles()) + static_cast<std::size_t>(n);
  auto offsets = std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(n));
  auto found = std::make_unique_for_overwrite<int[]>(bound);
  qvUtil::VisitStamps visited(static_cast<std::size_t>(n));
  int maxValence = 0;
  std::size_t total = 0;
  for (int v = 0; v < n; ++v) {
    if (total > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
    offsets[static_cast<std::size_t>(v)] = static_cast<int>(total);
    int* neighbours = &found[total + 1];
    int count = 0;
    visited.next();
    visited.seen(static_cast<std::size_t>(v));
    int const* tris = adjTris.triIndices(v);
    for (int k = adjTris.numTris(v); k > 0; --k, ++tris)
      for (const int w : triangles[*tris].v)
        if (!visited.seen(static_cast<std::size_t>(w))) neighbours[count++] = w;
    found[total] = count;
    maxValence = std::max(maxValence, count);
    total += static_cast<std::size_t>(count) + 1;
  }
  auto data = std::make_unique_for_overwrite<int[]>(total);
  std::copy_n(found.get(), total, data.get());

  MeshAdjVertices result(n, maxValence, offsets.release(), data.release());
  adjVertices.swap(result);
  debugChannel().print("MeshAdjVertices: %d vertices, %d triangles: %f s\n", n, mesh.getNumTriangles(),
                       watch.stop());
}

namespace {

int firstCorner(const MeshTriangle& t, int v) { return t[0] == v ? 0 : t[1] == v ? 1 : 2; }

bool hasDirectedEdge(const MeshTriangle& t, int a, int b) {
  return (t[0] == a && t[1] == b) || (t[1] == a && t[2] == b) || (t[2] == a && t[0] == b);
}

}  // namespace

namespace {

// Below, looking at all remaining triangles is faster than finding the right ones by number.
constexpr int kLongFan = 64;

int vertexBefore(const MeshTriangle& t, int v) { return t[(firstCorner(t, v) + 2) % 3]; }

void sortShortFan(int v, MeshTriangle const* triangles, qv::vector<int>& out) {
  for (std::size_t i = 1; i < out.size(); ++i) {
    const int w = vertexBefore(triangles[out[i - 1]], v);
    const auto next = std::find_if(out.begin() + static_cast<std::ptrdiff_t>(i), out.end(),
                                   [&](int t) { return hasDirectedEdge(triangles[t], v, w); });
    if (next != out.end()) std::swap(out[i], *next);
  }
}

// The same order, without a look at every remaining triangle at every step.
void sortLongFan(int v, MeshTriangle const* triangles, qv::vector<int>& out) {
  const int n = static_cast<int>(out.size());
  const qv::vector<int> tris(out);
  qv::vector<std::pair<int, int>> byVertexAfter;  // vertices after v, each with a position in `tris`
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < 3; ++k)
      if (triangles[tris[i]][k] == v) byVertexAfter.emplace_back(triangles[tris[i]][(k + 1) % 3], i);
  std::sort(byVertexAfter.begin(), byVertexAfter.end());

  qv::vector<int> order(n);  // positions in `tris`
  std::iota(order.begin(), order.end(), 0);
  qv::vector<int> place(order);  // the inverse
  for (int i = 1; i < n; ++i) {
    const int w = vertexBefore(triangles[tris[order[i - 1]]], v);
    int next = n;
    for (auto it = std::lower_bound(byVertexAfter.begin(), byVertexAfter.end(), std::pair(w, 0));
         it != byVertexAfter.end() && it->first == w; ++it)
      if (place[it->second] >= i) next = std::min(next, place[it->second]);
    if (next == n) continue;
    std::swap(order[i], order[next]);
    place[order[i]] = i;
    place[order[next]] = next;
  }
  for (int i = 0; i < n; ++i) out[i] = tris[order[i]];
}

}  // namespace

void sortAdjTris(int v, int n, int const* tris, MeshTriangle const* triangles, qv::vector<int>& out) {
  out.assign(tris, tris + std::max(n, 0));
  if (n < kLongFan) {
    sortShortFan(v, triangles, out);
  } else {
    sortLongFan(v, triangles, out);
  }
}

bool getSharedEdgeAdjacentTriangle(int const& tri, int edge, MeshTriangle const* triangles,
                                   MeshAdjTris const& adjTris, int& adjTri, int& adjEdge) {
  adjEdge = -1;
  const int a = triangles[tri][edge];
  const int b = triangles[tri][(edge + 1) % 3];
  int const* tris = adjTris.triIndices(a);
  for (int i = 0; i < adjTris.numTris(a); ++i) {
    const int other = tris[i];
    if (other == tri) continue;
    for (int j = 0; j < 3; ++j) {
      if (triangles[other][j] != b) continue;
      adjEdge = j;
      adjTri = other;  // last: it may be the caller's `tri`
      return true;
    }
  }
  return false;
}

}  // namespace qvGeom
