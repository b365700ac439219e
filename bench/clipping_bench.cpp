// Decides what is kept out of the way of plain cases: a wholly visible triangle needs no polygon (40 ns with
// a callback), a triangle beside the window no ray test (25 ms for a million on two threads), and a row of
// samples no test of each (100 million a second).

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>

#include "geom/model/keel/threading.h"
#include "geom/planar/line_clipping.h"
#include "geom/planar/scan_conversion.h"
#include "geom/planar/screen_picking.h"
#include "geom/planar/triangle_clipping.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

using qvLinear::HPoint;
using qvLinear::ProjMatrixFlt;

// The torus reaches three units from the centre; beyond a scale of a third, parts of it are out of view.
ProjMatrixFlt viewOf(float scale) {
  ProjMatrixFlt m;
  for (const int i : {0, 5, 10}) m.m[i] = scale;
  return m;
}

struct Sum {
  double value = 0;
  std::int64_t calls = 0;
};

// @param alg whose callback adds to the sum; of the mesh, between two shares of as many calls as it has
//            triangles are to be in view
template <typename Alg>
void clip(benchmark::State& state, Alg& alg, const Sum& sum, float scale, double least, double most) {
  const CompactMesh mesh = torusOf(state.range(0));
  std::int64_t calls = 0;
  for (auto _ : state) {
    const std::int64_t before = sum.calls;
    if (!alg.evaluateMesh(mesh, viewOf(scale))) state.SkipWithError("nothing in view");
    calls = sum.calls - before;
  }
  const double share = static_cast<double>(calls) / mesh.getNumTriangles();
  if (!(share >= least && share <= most) || !std::isfinite(sum.value))
    state.SkipWithError("wrong share in view");
  countTriangles(state, mesh);
}

void clipTriangles(benchmark::State& state, float scale, double least, double most) {
  Clip::TriangleAlgorithm alg;
  Sum sum;
  const auto add = [](void* user, const HPoint& a, const HPoint& b, const HPoint& c) {
    Sum& s = *static_cast<Sum*>(user);
    s.value += a[0] + b[1] + c[2];
    ++s.calls;
    return true;
  };
  alg.setTriangleFunc(add, &sum);
  clip(state, alg, sum, scale, least, most);
}
BENCHMARK_CAPTURE(clipTriangles, whole, 0.3f, 1, 1)->Apply(allSizes);
BENCHMARK_CAPTURE(clipTriangles, part, 0.6f, 0.1, 0.9)->Apply(allSizes);

void clipLines(benchmark::State& state, float scale, double least, double most) {
  Clip::LineAlgorithm alg;
  Sum sum;
  const auto add = [](void* user, const HPoint& a, const HPoint& b) {
    Sum& s = *static_cast<Sum*>(user);
    s.value += a[0] + b[1];
    ++s.calls;
    return true;
  };
  alg.setLineFunc(add, &sum);
  clip(state, alg, sum, scale, least, most);
}
BENCHMARK_CAPTURE(clipLines, whole, 0.3f, 1, 1)->Apply(allSizes);
BENCHMARK_CAPTURE(clipLines, part, 0.6f, 0.1, 0.9)->Apply(allSizes);

// Vertices all beyond different sides: none ends the search.
void clipVertices(benchmark::State& state) {
  const CompactMesh mesh = torusOf(state.range(0));
  ProjMatrixFlt m = viewOf(1);
  m.m[15] = 0.2f;
  Clip::Result result = Clip::Culled;
  for (auto _ : state) benchmark::DoNotOptimize(result = Clip::clipVertices(mesh, m));
  if (result != Clip::Clipped) state.SkipWithError("a torus has a hole");
  state.SetItemsProcessed(state.iterations() * mesh.getNumVertices());
}
BENCHMARK(clipVertices)->Apply(allSizes);

// A pick under a small window, and under the whole view, where every triangle is tested.
void pick(benchmark::State& state, float scale, int halfSize) {
  const CompactMesh mesh = torusOf(state.range(0));
  qvUtil::ThreadPool::get().setNumThreads(static_cast<int>(state.range(1)));
  const qvLinear::Line line({2.01, 0.013, 10}, {0, 0, -1});
  MeshCoord hit;
  const int x = static_cast<int>(2.01f * scale);
  for (auto _ : state) hit = meshRayIntersectScreen(mesh, viewOf(scale), x, 0, halfSize, line);
  const double height = hit.valid() ? hit.evaluate(mesh.getVertices(), mesh.getTriangles())[2] : 0;
  if (!(std::fabs(height - 1) < 0.01)) state.SkipWithError("not the top of the tube");
  countTriangles(state, mesh);
}
void pickSizes(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"triangles", "threads"})->ArgsProduct({{10000, 1000000}, {1, 2}})->UseRealTime();
  bench->Unit(benchmark::kMicrosecond);
}
BENCHMARK_CAPTURE(pick, window, 300.0f, 3)->Apply(pickSizes);
BENCHMARK_CAPTURE(pick, whole, 0.3f, 1)->Apply(pickSizes);

// Two triangles over the whole square, or many small ones.
void scan(benchmark::State& state) {
  const int side = static_cast<int>(state.range(0));
  const int parts = static_cast<int>(state.range(1));
  MeshScanConverter converter(side, side, 0.5f);
  Sum sum;
  const auto add = [](void* user, int, int, float second, float third) {
    Sum& s = *static_cast<Sum*>(user);
    s.value += static_cast<double>(second + third);
    ++s.calls;
  };
  converter.setPointSampleCB(add, &sum);
  const auto at = [parts](int i) { return static_cast<float>(i) / static_cast<float>(parts); };
  for (auto _ : state) {
    sum = {};
    for (int j = 0; j < parts; ++j)
      for (int i = 0; i < parts; ++i) {
        converter.scanTriangle(at(i), at(j), at(i + 1), at(j), at(i + 1), at(j + 1));
        converter.scanTriangle(at(i + 1), at(j + 1), at(i), at(j + 1), at(i), at(j));
      }
  }
  const double whole = static_cast<double>(side) * side;
  if (!(std::fabs(static_cast<double>(sum.calls) - whole) < 0.1 * whole))
    state.SkipWithError("gaps, or overlap");
  state.SetItemsProcessed(state.iterations() * sum.calls);
}
BENCHMARK(scan)
    ->ArgNames({"side", "parts"})
    ->ArgsProduct({{2000}, {1, 20, 400}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvGeom
