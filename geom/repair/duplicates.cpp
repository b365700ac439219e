#include "geom/repair/duplicates.h"

#include <algorithm>
#include <cstddef>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/topology/deletion.h"
#include "geom/topology/selection.h"

namespace qvGeom {
namespace {

bool repeatsIndex(const MeshTriangle& t) { return t[0] == t[1] || t[0] == t[2] || t[1] == t[2]; }

bool cornersCoincide(const MeshTriangle& t, MeshVertex const* vertices) {
  const auto same = [&](int a, int b) {
    const MeshVertex &p = vertices[t[a]], &q = vertices[t[b]];
    return p.x == q.x && p.y == q.y && p.z == q.z;
  };
  return same(0, 1) || same(0, 2) || same(1, 2);
}

// A triangle by its sorted vertices; the smallest is known from the bucket that it lies in.
struct Rest {
  int middle;
  int largest;
  int triangle;

  friend bool operator<(const Rest& a, const Rest& b) {
    return a.middle != b.middle ? a.middle < b.middle : a.largest < b.largest;
  }
};

// Triangles are put in buckets by their smallest vertex, where each meets the few others that it could equal.
// Within a bucket the order is that of their other vertices, and then of their numbers.
void listDuplicates(CompactMesh const& mesh, qv::vector<int>& duplicates) {
  const int n = mesh.getNumVertices();
  const int t = mesh.getNumTriangles();
  qv::vector<int> begin(static_cast<std::size_t>(n) + 1, 0);
  const auto smallest = [&](int i) {
    const MeshTriangle& tri = mesh.getTriangles()[i];
    return static_cast<std::size_t>(std::min({tri[0], tri[1], tri[2]}));
  };
  for (int i = 0; i < t; ++i) ++begin[smallest(i) + 1];
  for (std::size_t v = 0; v < static_cast<std::size_t>(n); ++v) begin[v + 1] += begin[v];
  qv::vector<Rest> rests(static_cast<std::size_t>(t));
  qv::vector<int> next(begin);
  for (int i = 0; i < t; ++i) {
    const MeshTriangle& tri = mesh.getTriangles()[i];
    const int largest = std::max({tri[0], tri[1], tri[2]});
    const int least = static_cast<int>(smallest(i));
    // The one that is left when the two others are taken away; the sum of three vertices may pass an int.
    const int middle = tri[0] ^ tri[1] ^ tri[2] ^ largest ^ least;
    rests[static_cast<std::size_t>(next[smallest(i)]++)] = {middle, largest, i};
  }
  for (int v = 0; v < n; ++v) {
    const auto first = rests.begin() + begin[static_cast<std::size_t>(v)];
    const auto last = rests.begin() + begin[static_cast<std::size_t>(v) + 1];
    if (last - first < 2) continue;
    std::stable_sort(first, last);
    for (auto it = first + 1; it < last; ++it)
      if (!(*(it - 1) < *it)) duplicates.push_back(it->triangle);
  }
}

}  // namespace

void MeshDuplicateTrisResult::getBadTriangles(CompactMesh const& mesh, qv::vector<int>& bad) const {
  BitVector marked(mesh.getNumTriangles());
  for (const auto* list : {&duplicates, &repeatedIndices, &coincidentCorners})
    marked.setBits(static_cast<int>(list->size()), list->data());
  bad.clear();
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    if (marked.test(t)) bad.push_back(t);
}

bool meshDuplicateTris(CompactMesh const& mesh, MeshDuplicateTrisResult& result) {
  qvOS::StopWatch watch;
  watch.start();
  result = MeshDuplicateTrisResult();
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const MeshTriangle& tri = mesh.getTriangles()[t];
    if (repeatsIndex(tri)) {
      result.repeatedIndices.push_back(t);
    } else if (cornersCoincide(tri, mesh.getVertices())) {
      result.coincidentCorners.push_back(t);
    }
  }
  listDuplicates(mesh, result.duplicates);
  debugChannel().print(
      "meshDuplicateTris:  verts(%d) tris(%d) dup(%d) degenerate(%d) %f s\n", mesh.getNumVertices(),
      mesh.getNumTriangles(), static_cast<int>(result.duplicates.size()),
      static_cast<int>(result.repeatedIndices.size() + result.coincidentCorners.size()), watch.stop());
  return static_cast<bool>(result);
}

void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adjTris,
                             MeshDuplicateTrisResult const& result) {
  if (!result) return;
  qvOS::StopWatch watch;
  watch.start();
  debugChannel().print("qvGeom::meshRemoveDuplicateTris\n");
  debugChannel().print("           vertices(%d) triangles(%d)\n", mesh.getNumVertices(),
                       mesh.getNumTriangles());
  BitVector& selected = mesh.getSelectedTriangles();
  selected.resize(mesh.getNumTriangles());
  mesh.getSelectedVertices().resize(mesh.getNumVertices());
  for (const auto* list : {&result.duplicates, &result.repeatedIndices, &result.coincidentCorners})
    selected.setBits(static_cast<int>(list->size()), list->data());
  MeshSelect(mesh, adjTris).selectVerticesFromTriangles();
  debugChannel().print("  selected %d duplicate/degenerate tris: %f s\n",
                       static_cast<int>(selected.numSetBits), watch.stop());
  MeshDeleteSelected deleteSelected(mesh);
  deleteSelected();
}

void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adjTris) {
  MeshDuplicateTrisResult result;
  if (meshDuplicateTris(mesh, result)) meshRemoveDuplicateTris(mesh, adjTris, result);
}

}  // namespace qvGeom
