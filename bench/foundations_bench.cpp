// Decides how adjacency, boundaries, components and measures are built. The floor for both adjacency records
// is a bare counting sort over the corners: nothing that lists the triangles of every vertex can do with
// less.

#include <vector>

#include "geom/topology/adjacency.h"
#include "geom/topology/boundaries.h"
#include "geom/topology/components.h"
#include "geom/topology/measures.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

struct Records {
  explicit Records(const CompactMesh& mesh) {
    meshAdjTris(mesh, tris);
    meshAdjVertices(mesh, tris, vertices);
  }
  MeshAdjTris tris;
  MeshAdjVertices vertices;
};

void countingSortFloor(benchmark::State& state) {
  const CompactMesh mesh = torusOf(state.range(0));
  const int n = mesh.getNumVertices();
  for (auto _ : state) {
    std::vector<int> starts(static_cast<std::size_t>(n) + 1),
        members(3 * static_cast<std::size_t>(mesh.getNumTriangles()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
      for (const int v : mesh.getTriangles()[t].v) ++starts[static_cast<std::size_t>(v)];
    int total = 0;
    for (int& s : starts) s = total += s;
    for (int t = mesh.getNumTriangles(); t-- > 0;)
      for (const int v : mesh.getTriangles()[t].v)
        members[static_cast<std::size_t>(--starts[static_cast<std::size_t>(v)])] = t;
    benchmark::DoNotOptimize(members.data());
  }
  countTriangles(state, mesh);
}
BENCHMARK(countingSortFloor)->Apply(allSizes);

void adjTris(benchmark::State& state) {
  const CompactMesh mesh = torusOf(state.range(0));
  MeshAdjTris tris;
  for (auto _ : state) meshAdjTris(mesh, tris);
  if (tris.numTris(mesh.getNumVertices() - 1) != 6) state.SkipWithError("every vertex of the torus has six");
  countTriangles(state, mesh);
}
BENCHMARK(adjTris)->Apply(allSizes);

void adjVertices(benchmark::State& state) {
  const CompactMesh mesh = torusOf(state.range(0));
  const Records records(mesh);
  MeshAdjVertices vertices;
  for (auto _ : state) meshAdjVertices(mesh, records.tris, vertices);
  if (vertices.maxValence() != 6) state.SkipWithError("every vertex of the torus has six neighbours");
  countTriangles(state, mesh);
}
BENCHMARK(adjVertices)->Apply(allSizes);

void boundary(benchmark::State& state) {
  const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(state.range(0)) / 2)));
  const CompactMesh mesh = shapes::grid(side, side);
  const Records records(mesh);
  MeshBoundaries boundaries;
  for (auto _ : state) meshComputeBoundary(mesh, records.tris, records.vertices, boundaries);
  if (boundaries.size() != 1 || boundaries.getLength(0) != 4 * side) state.SkipWithError("one loop around");
  countTriangles(state, mesh);
}
BENCHMARK(boundary)->Apply(allSizes);

void components(benchmark::State& state) {
  const CompactMesh mesh = torusOf(state.range(0));
  const Records records(mesh);
  for (auto _ : state)
    if (meshComponents(mesh, records.tris, nullptr) != 1) state.SkipWithError("one piece");
  countTriangles(state, mesh);
}
BENCHMARK(components)->Apply(allSizes);

void boundingBox(benchmark::State& state) {
  const CompactMesh mesh = torusOf(state.range(0));
  BoundingBox box;
  for (auto _ : state) meshBoundingBox(mesh, box);
  if (box.max[0] != 3) state.SkipWithError("outer radius 3");
  countTriangles(state, mesh);
}
BENCHMARK(boundingBox)->Apply(allSizes);

void area(benchmark::State& state) {
  CompactMesh mesh = torusOf(state.range(0));
  float measured = 0;
  for (auto _ : state) benchmark::DoNotOptimize(measured = meshArea({{}, &mesh}, MeshChannel::vertices));
  if (std::fabs(measured - 78.9568f) > 0.3f) state.SkipWithError("8 pi^2");
  countTriangles(state, mesh);
}
BENCHMARK(area)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
