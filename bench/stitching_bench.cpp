// Slabs of a torus, each with rims of its own that lie a little beside those of its neighbours: decides that
// looking for neighbours among the samples, and not the seams, is what takes the time, and what its grid
// costs. Within 1 s at 100,000 triangles on one thread. Rates are triangles a second.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "geom/model/keel/threading.h"
#include "geom/repair/stitching.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/boundaries.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

constexpr int kSlabs = 16;

// Every other slab has five squares around where its neighbours have four, and lies an eighth of a square
// aside.
CompactMesh slabs(std::int64_t triangles) {
  const int squares = static_cast<int>(triangles / (2 * kSlabs));
  const int along = static_cast<int>(std::lround(std::sqrt(squares / 6.0)));
  shapes::Points points;
  shapes::Tris tris;
  for (int slab = 0; slab < kSlabs; ++slab) {
    const int around = squares / along / 9 * (slab % 2 ? 10 : 8);
    const double aside = slab % 2 ? 0.125 * 2 * std::numbers::pi / around : 0;
    const int first = static_cast<int>(points.size());
    for (int j = 0; j <= along; ++j)
      for (int i = 0; i < around; ++i) {
        const double u = 2 * std::numbers::pi * (slab * along + j) / (kSlabs * along);
        const double v = 2 * std::numbers::pi * i / around, r = 3 + std::cos(v + aside);
        points.push_back({static_cast<float>(r * std::cos(u)), static_cast<float>(r * std::sin(u)),
                          static_cast<float>(std::sin(v) + aside)});
      }
    for (const auto& t :
         shapes::squares(around, along, [=](int i, int j) { return first + j * around + i % around; }))
      tris.push_back({t[0], t[2], t[1]});
  }
  return shapes::make(points, tris);
}

void stitchSlabs(benchmark::State& state) {
  const CompactMesh before = slabs(state.range(0));
  const qv::Reference<MeshAdjTris> adjTris(new MeshAdjTris);
  MeshAdjVertices adjVertices;
  const qv::Reference<MeshBoundaries> loops(new MeshBoundaries);
  meshAdjTris(before, *adjTris);
  meshAdjVertices(before, *adjTris, adjVertices);
  meshComputeBoundary(before, *adjTris, adjVertices, *loops);
  const double squareSide = 2 * std::numbers::pi * std::sqrt(2.0 * 3 / static_cast<double>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = before;
    state.ResumeTiming();
    const bool done = meshStitch(mesh, adjTris, loops, squareSide, 0.1);
    state.PauseTiming();
    MeshAdjTris tris;
    MeshBoundaries left;
    meshAdjTris(mesh, tris);
    meshAdjVertices(mesh, tris, adjVertices);
    meshComputeBoundary(mesh, tris, adjVertices, left);
    if (!done || loops->size() != 2 * kSlabs || left.size() != 0) state.SkipWithError("not closed");
    state.ResumeTiming();
  }
  countTriangles(state, before);
}
BENCHMARK(stitchSlabs)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
