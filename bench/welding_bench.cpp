// Decides how vertices are sorted. A soup of a torus is welded in the order of its storage, with its
// triangles shuffled, where every look at a vertex is a jump, and already welded; rates are vertices a
// second, and may hardly fall with the size. The floor is one hash of every vertex's bytes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "geom/topology/welding.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

// Every triangle with corners of its own.
CompactMesh soupOf(const CompactMesh& mesh) {
  std::vector<MeshVertex> corners;
  std::vector<int> indices;
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    for (const int v : mesh.getTriangles()[t].v) {
      indices.push_back(static_cast<int>(corners.size()));
      corners.push_back(mesh.getVertices()[v]);
    }
  CompactMesh soup;
  soup.copyVertices(static_cast<int>(corners.size()), corners.data());
  soup.copyTriangles(mesh.getNumTriangles(), indices.data());
  return soup;
}

CompactMesh inOrder(std::int64_t triangles) { return soupOf(torusOf(triangles)); }

CompactMesh shuffled(std::int64_t triangles) {
  CompactMesh torus = torusOf(triangles);
  std::mt19937 random(1);
  std::shuffle(torus.getTriangles(), torus.getTriangles() + torus.getNumTriangles(), random);
  return soupOf(torus);
}

CompactMesh flat(std::int64_t triangles) {
  const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 2)));
  CompactMesh grid = shapes::grid(side, side);
  for (int v = 0; v < grid.getNumVertices(); ++v) grid.getVertices()[v].x = 0;
  return soupOf(grid);
}

void countVertices(benchmark::State& state, const CompactMesh& mesh) {
  state.SetItemsProcessed(state.iterations() * std::int64_t{mesh.getNumVertices()});
}

void weld(benchmark::State& state, CompactMesh (*make)(std::int64_t)) {
  const CompactMesh input = make(state.range(0));
  qvUtil::ThreadPool::get().setNumThreads(static_cast<int>(state.range(1)));
  int left = 0;
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = input;
    state.ResumeTiming();
    qvUtil::Progress progress;
    meshCompact(mesh, progress);
    left = mesh.getNumVertices();
    state.PauseTiming();
    mesh = CompactMesh();
    state.ResumeTiming();
  }
  // Closed or open, each vertex of these meshes has about six corners.
  if (make != torusOf && left > input.getNumVertices() / 5)
    state.SkipWithError("equal corners were left apart");
  if (make == torusOf && left != input.getNumVertices())
    state.SkipWithError("different vertices were merged");
  countVertices(state, input);
  qvUtil::ThreadPool::get().setNumThreads(1);
}
void sizesAndThreads(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"triangles", "threads"})
      ->ArgsProduct({{10'000, 100'000, 1'000'000}, {1, 2}})
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
}
BENCHMARK_CAPTURE(weld, inOrder, inOrder)->Apply(sizesAndThreads);
BENCHMARK_CAPTURE(weld, shuffled, shuffled)->Apply(sizesAndThreads);
BENCHMARK_CAPTURE(weld, flat, flat)->Apply(sizesAndThreads);
BENCHMARK_CAPTURE(weld, welded, torusOf)->Apply(sizesAndThreads);

void hashFloor(benchmark::State& state) {
  const CompactMesh mesh = inOrder(state.range(0));
  std::vector<std::uint64_t> hashes(static_cast<std::size_t>(mesh.getNumVertices()));
  for (auto _ : state) {
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
      std::uint64_t hash = 1469598103934665603u;
      std::uint32_t words[3];
      std::memcpy(words, mesh.getVertices() + v, sizeof words);
      for (const std::uint32_t word : words) hash = (hash ^ word) * 1099511628211u;
      hashes[static_cast<std::size_t>(v)] = hash;
    }
    benchmark::DoNotOptimize(hashes.data());
    benchmark::ClobberMemory();
  }
  countVertices(state, mesh);
}
BENCHMARK(hashFloor)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
