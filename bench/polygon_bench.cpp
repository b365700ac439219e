// Decides how apexes of a triangulation are ruled out. A rugged loop in space, where the bends tell apexes
// apart; a loop that is flat but for noise, as holes are; and a flat convex one, where all weights tie and
// every apex wants its area. Rates are apexes a second.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <random>

#include "geom/planar/point_in_polygon.h"
#include "geom/planar/polygon_triangulation.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::Point2;

void triangulate(benchmark::State& state, double noise) {
  const int n = static_cast<int>(state.range(0));
  std::mt19937 random(1);
  std::normal_distribution<double> shift(0, 1);
  qv::vector<Point> polygon;
  for (int i = 0; i < n; ++i) {
    const double turn = 2 * M_PI * i / n;
    polygon.push_back({std::cos(turn) + noise * shift(random), std::sin(turn) + noise * shift(random),
                       noise * shift(random)});
  }
  qv::vector<int> triangles;
  for (auto _ : state) triangulatePolygon(polygon, triangles, nullptr, nullptr);
  if (triangles.size() != 3u * (n - 2)) state.SkipWithError("triangles are missing");
  state.SetItemsProcessed(state.iterations() * std::int64_t{n} * (n - 1) * (n - 2) / 6);
}
void sizes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("points")->Arg(100)->Arg(300)->Arg(1000)->Unit(benchmark::kMillisecond);
}
BENCHMARK_CAPTURE(triangulate, rugged, 0.3)->Apply(sizes);
BENCHMARK_CAPTURE(triangulate, nearlyFlat, 0.003)->Apply(sizes);
BENCHMARK_CAPTURE(triangulate, convex, 0)->Apply(sizes);

// Rates are points a second, half of them inside.
void pointInPolygon(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  qv::vector<Point2> polygon;
  for (int i = 0; i <= n; ++i) {
    const double turn = 2 * M_PI * (i % n) / n;
    const double radius = 1 + 0.5 * (i % 2);
    polygon.push_back({radius * std::cos(turn), radius * std::sin(turn)});
  }
  std::mt19937 random(1);
  std::uniform_real_distribution<double> uniform(-1.25, 1.25);
  qv::vector<Point2> points(1000);
  for (Point2& p : points) p = {uniform(random), uniform(random)};
  int inside = 0;
  for (auto _ : state) {
    inside = 0;
    for (const Point2& p : points) {
      pointPolygonRelation relation = kPointNotClassified;
      isPointInPolygon(p, polygon, relation, 1e-9);
      inside += relation == kPointInside;
    }
  }
  if (inside < 400 || inside > 800) state.SkipWithError("not about half of the points are inside");
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(pointInPolygon)->ArgName("edges")->Arg(10)->Arg(1000);

}  // namespace
}  // namespace qvGeom
