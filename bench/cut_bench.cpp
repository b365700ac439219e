// Decides that the cut steps from edge to edge over flat arrays: a million triangles must cost no more apiece
// than ten thousand, but for the cache, and a cone whose triangles share one vertex no more than a torus.

#include "geom/cut/cut_surface.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

// Closed: two fans of triangles back to back. The apices come last, so the tree does not begin there.
CompactMesh spindleOf(std::int64_t triangles) {
  const int n = static_cast<int>(triangles / 2);
  shapes::Tris tris;
  for (int i = 0; i < n; ++i) {
    tris.push_back({i, (i + 1) % n, n});
    tris.push_back({(i + 1) % n, i, n + 1});
  }
  return shapes::make(tris);
}

CompactMesh torus(std::int64_t triangles) { return torusOf(triangles); }

template <CompactMesh (*Make)(std::int64_t)>
void cutToDisk(benchmark::State& state) {
  const CompactMesh whole = Make(state.range(0));
  int vertices = 0;
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = whole;
    state.ResumeTiming();
    cutSurface::makeDisk(mesh);
    vertices = mesh.getNumVertices();
  }
  // A disc of F triangles with V vertices has 3 F - 2 E boundary edges, as many as boundary vertices: at
  // least three of them are left, and V = (F + boundary) / 2 + 1.
  if (2 * vertices < whole.getNumTriangles() + 5) state.SkipWithError("not a disc");
  countTriangles(state, whole);
}
BENCHMARK(cutToDisk<torus>)->Apply(allSizes);
BENCHMARK(cutToDisk<spindleOf>)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
