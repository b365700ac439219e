// Holes filled at each quality: 0 shows the triangulation, 1 adds refinement and relaxation, 2 the fairing; a
// step's share is the difference. Decides how edges are asked again and how the fairing system is solved:
// from 300 points to 1000 the patch grows eleven times. Rates are new vertices a second.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>

#include "geom/model/keel/threading.h"
#include "geom/repair/hole_filling.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/boundaries.h"

#include "bench/holes_scene.h"

namespace qvGeom {
namespace {

struct Records {
  explicit Records(const CompactMesh& mesh) {
    meshAdjTris(mesh, adjTris);
    meshAdjVertices(mesh, adjTris, adjVertices);
    meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);
  }
  int fill(CompactMesh& mesh, const qv::list<int>& holes, int quality) const {
    qvUtil::Progress progress;
    return meshHoleFill(mesh, adjTris, adjVertices, boundaries, holes, static_cast<HoleQuality>(quality),
                        progress);
  }
  MeshAdjTris adjTris;
  MeshAdjVertices adjVertices;
  MeshBoundaries boundaries;
};

constexpr double kOpening = 40;  // degrees

void fillHole(benchmark::State& state) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  const CompactMesh before = bandAroundHole(static_cast<int>(state.range(0)), kOpening);
  const Records records(before);
  std::int64_t added = 0;
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = before;
    state.ResumeTiming();
    if (records.fill(mesh, {0}, static_cast<int>(state.range(1))) != 1) state.SkipWithError("not filled");
    added = mesh.getNumVertices() - before.getNumVertices();
  }
  state.SetItemsProcessed(state.iterations() * added);
  state.counters["newVertices"] = static_cast<double>(added);
}
BENCHMARK(fillHole)
    ->ArgNames({"points", "quality"})
    ->ArgsProduct({{100, 300, 1000}, {0, 1, 2}})
    ->Unit(benchmark::kMillisecond);

// A sheet with a small hole in every tenth square of the given number of triangles, as scanners leave them.
// Decides that nothing done for one hole looks at all of the region. Rates are holes a second.
void fillSmallHoles(benchmark::State& state) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(state.range(0)) / 2)));
  const CompactMesh sheet = shapes::grid(side, side);
  shapes::Tris tris;
  for (int t = 0; t < sheet.getNumTriangles(); ++t) {
    const int x = t / 2 % side, y = t / 2 / side;
    int const* v = sheet.getTriangles()[t].v;
    const bool isHole = x % 5 == 2 && y % 5 == 2 && x < side - 3 && y < side - 3;
    if (!isHole) tris.push_back({v[0], v[1], v[2]});
  }
  CompactMesh before = sheet;
  before.copyTriangles(static_cast<int>(tris.size()), tris.front().data());
  const Records records(before);
  qv::list<int> holes;
  for (int i = 1; i < records.boundaries.size(); ++i) holes.push_back(i);
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = before;
    state.ResumeTiming();
    if (records.fill(mesh, holes, HoleQualityFair) != static_cast<int>(holes.size()))
      state.SkipWithError("not all were filled");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(holes.size()));
}
BENCHMARK(fillSmallHoles)
    ->ArgName("triangles")
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond);

// Beside another library, of the same loop.
FilledHole fillByUs(const CompactMesh& before) {
  CompactMesh mesh = before;
  FilledHole filled;
  if (Records(mesh).fill(mesh, {0}, HoleQualityFair) != 1) return filled;
  filled.newVertices = mesh.getNumVertices() - before.getNumVertices();
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    const qvLinear::Vector p = mesh.getVertices()[v].asPoint() - qvLinear::Point();
    filled.depth = std::max(filled.depth, 10 - length(p));
  }
  return filled;
}

template <FilledHole (*fill)(const CompactMesh&)>
void compareFillHole(benchmark::State& state) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  const CompactMesh mesh = bandAroundHole(static_cast<int>(state.range(0)), kOpening);
  FilledHole filled;
  for (auto _ : state) filled = fill(mesh);
  if (filled.newVertices == 0 || filled.depth > 1.5) state.SkipWithError("no patch that follows the sphere");
  state.counters["newVertices"] = filled.newVertices;
  state.counters["depth"] = filled.depth;
}
void loops(benchmark::internal::Benchmark* bench) {
  bench->ArgName("points")->Arg(300)->Arg(1000)->Unit(benchmark::kMillisecond);
}
BENCHMARK(compareFillHole<fillByUs>)->Name("compareFillHole/ours")->Apply(loops);
#ifdef QVGEOM_BENCH_HOLES_CGAL
BENCHMARK(compareFillHole<fillByCgal>)->Name("compareFillHole/cgal")->Apply(loops);
#endif

}  // namespace
}  // namespace qvGeom
