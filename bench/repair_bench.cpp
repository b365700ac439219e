// Decides that checks and repairs of manifoldness and winding are linear passes over flat arrays: a million
// triangles must cost no more apiece than ten thousand, but for the cache, and a fan around one vertex no
// more than a sheet.

#include <random>

#include "geom/repair/manifold.h"
#include "geom/repair/orientation.h"
#include "geom/repair/winding.h"
#include "geom/topology/adjacency.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

// Every triangle around vertex 0: a walk of the vertex's triangles for each of its edges would be quadratic.
CompactMesh fanOf(std::int64_t triangles) {
  shapes::Tris tris;
  for (int i = 0; i < static_cast<int>(triangles); ++i) tris.push_back({0, i + 1, i + 2});
  return shapes::make(tris);
}

CompactMesh sheetOf(std::int64_t triangles) { return torusOf(triangles); }

void turnHalf(CompactMesh& mesh) {
  std::mt19937 random(7);
  for (int t = 1; t < mesh.getNumTriangles(); ++t)
    if (random() % 2 != 0) std::swap(mesh.getTriangles()[t][0], mesh.getTriangles()[t][1]);
}

template <CompactMesh (*Make)(std::int64_t)>
void findNonManifold(benchmark::State& state) {
  const CompactMesh mesh = Make(state.range(0));
  MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  MeshManifoldResult result;
  for (auto _ : state) meshManifold(mesh, adjTris, result);
  if (!result.isClean()) state.SkipWithError("manifold");
  countTriangles(state, mesh);
}
BENCHMARK(findNonManifold<sheetOf>)->Apply(allSizes);
BENCHMARK(findNonManifold<fanOf>)->Apply(allSizes);

// Two sheets that share every second vertex of every second row, and so no edge.
void splitVertices(benchmark::State& state) {
  const int side = 2 * static_cast<int>(std::lround(std::sqrt(static_cast<double>(state.range(0))) / 4));
  const CompactMesh sheet = shapes::torus(side, side);
  const int n = sheet.getNumVertices(), t = sheet.getNumTriangles();
  CompactMesh pinched = sheet;
  pinched.resizeVertexArray(2 * n);
  pinched.resizeTriangleArray(2 * t);
  for (int i = 0; i < 3 * t; ++i) {
    const int v = sheet.getTrianglesRaw()[i];
    const bool shared = v % side % 2 == 0 && v / side % 2 == 0;
    pinched.getTrianglesRaw()[3 * t + i] = shared ? v : n + v;
  }
  MeshAdjTris adjTris;
  meshAdjTris(pinched, adjTris);
  MeshManifoldResult result;
  meshManifold(pinched, adjTris, result);
  int vertices = 0;
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = pinched;
    state.ResumeTiming();
    meshMakeManifold(mesh, adjTris, result);
    vertices = mesh.getNumVertices();
  }
  if (vertices != 2 * n + n / 4) state.SkipWithError("one vertex for each that is shared");
  countTriangles(state, pinched);
}
BENCHMARK(splitVertices)->Apply(allSizes);

template <CompactMesh (*Make)(std::int64_t)>
void checkOrientation(benchmark::State& state) {
  const CompactMesh mesh = Make(state.range(0));
  MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  for (auto _ : state)
    if (!meshOriented(mesh, adjTris)) state.SkipWithError("oriented");
  countTriangles(state, mesh);
}
BENCHMARK(checkOrientation<sheetOf>)->Apply(allSizes);
BENCHMARK(checkOrientation<fanOf>)->Apply(allSizes);

template <CompactMesh (*Make)(std::int64_t)>
void orientHalfTurned(benchmark::State& state) {
  CompactMesh turned = Make(state.range(0));
  turnHalf(turned);
  MeshAdjTris adjTris;
  meshAdjTris(turned, adjTris);
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = turned;
    state.ResumeTiming();
    if (!meshMakeOriented(mesh, adjTris)) state.SkipWithError("oriented");
  }
  countTriangles(state, turned);
}
BENCHMARK(orientHalfTurned<sheetOf>)->Apply(allSizes);
BENCHMARK(orientHalfTurned<fanOf>)->Apply(allSizes);

void reverseWinding(benchmark::State& state) {
  CompactMesh mesh = torusOf(state.range(0));
  const MeshTriangle first = mesh.getTriangles()[0];
  std::int64_t rounds = 0;
  for (auto _ : state) {
    meshReverseWinding(mesh, true);
    ++rounds;
  }
  if (mesh.getTriangles()[0][0] != first[rounds % 2 == 0 ? 0 : 1]) state.SkipWithError("turned once a round");
  countTriangles(state, mesh);
}
BENCHMARK(reverseWinding)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
