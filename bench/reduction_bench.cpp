// Decides how regions are extracted, twinned and merged, and how often a removal asks about edges: a share of
// the vertices is kept, one in two or one in ten, and a million triangles must cost no more apiece than ten
// thousand, but for the cache. Rates are triangles of the input a second.

#include <algorithm>

#include "geom/model/trellis/octree.h"
#include "geom/process/reduction.h"
#include "geom/spatial/closest_point.h"
#include "geom/spatial/octree_partition.h"
#include "geom/topology/measures.h"

#include "bench/reduction_scene.h"

namespace qvGeom {
namespace {

void sizesAndShares(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"triangles", "percent"})
      ->ArgsProduct({{10000, 100000, 1000000}, {50, 10}})
      ->Unit(benchmark::kMillisecond);
}

void reduceToFraction(benchmark::State& state) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  const CompactMesh whole = roughTorusOf(state.range(0));
  const double fraction = static_cast<double>(state.range(1)) / 100;
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = whole;
    state.ResumeTiming();
    qvUtil::Progress progress;
    qv::vector<qvLinear::Point> removed;
    meshReduceToFraction(mesh, fraction, progress, removed);
    if (mesh.getNumVertices() != static_cast<int>(whole.getNumVertices() * fraction))
      state.SkipWithError("not reduced as far as asked");
  }
  countTriangles(state, whole);
}
BENCHMARK(reduceToFraction)->Apply(sizesAndShares);

// Within an edge length, which lets most vertices go.
void reduceWithTolerance(benchmark::State& state) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  const CompactMesh whole = roughTorusOf(state.range(0));
  const double tolerance = 10 / std::sqrt(static_cast<double>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = whole;
    state.ResumeTiming();
    qvUtil::Progress progress;
    qv::vector<qvLinear::Point> removed;
    const double error = meshReduceWithTolerance(mesh, tolerance, progress, removed);
    if (!(error > 0 && error < 1.0001 * tolerance)) state.SkipWithError("not within the tolerance");
    state.counters["kept"] = static_cast<double>(mesh.getNumVertices()) / whole.getNumVertices();
  }
  countTriangles(state, whole);
}
BENCHMARK(reduceWithTolerance)->Apply(allSizes)->Unit(benchmark::kMillisecond);

// Beside another library: the time, and how far vertices of the input lie from the result.
CompactMesh reduceByUs(const CompactMesh& whole, double fraction) {
  CompactMesh mesh = whole;
  qvUtil::Progress progress;
  qv::vector<qvLinear::Point> removed;
  meshReduceToFraction(mesh, fraction, progress, removed);
  return mesh;
}

double meanDistance(const CompactMesh& whole, const CompactMesh& reduced) {
  BoundingBox box;
  meshBoundingBox(reduced, box);
  const Octree octree(reduced.getNumVertices(), reduced.getVerticesRaw(), box, true, 16);
  OctreeTris octreeTris;
  computeOctreeTris(reduced, octree, octreeTris);
  MeshClosestPoint closest(reduced, octree, octreeTris);
  constexpr int kEvery = 7;
  double sum = 0;
  int count = 0;
  for (int v = 0; v < whole.getNumVertices(); v += kEvery, ++count)
    sum += closest.compute(whole.getVertices()[v].asPoint(), nullptr);
  return sum / std::max(count, 1);
}

template <CompactMesh (*reduce)(const CompactMesh&, double)>
void compareReduce(benchmark::State& state) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  const CompactMesh whole = roughTorusOf(state.range(0));
  const double fraction = static_cast<double>(state.range(1)) / 100;
  CompactMesh reduced;
  for (auto _ : state) reduced = reduce(whole, fraction);
  state.counters["kept"] = static_cast<double>(reduced.getNumVertices()) / whole.getNumVertices();
  state.counters["meanDistance"] = meanDistance(whole, reduced);
}
BENCHMARK(compareReduce<reduceByUs>)->Name("compareReduce/ours")->Apply(sizesAndShares);
#ifdef QVGEOM_BENCH_REDUCTION_CGAL
BENCHMARK(compareReduce<reduceByCgal>)->Name("compareReduce/cgal")->Apply(sizesAndShares);
#endif

}  // namespace
}  // namespace qvGeom
