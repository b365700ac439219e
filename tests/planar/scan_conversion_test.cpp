#include "geom/planar/scan_conversion.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <tuple>
#include <vector>

#include "geom/planar/point_in_triangle.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Point2Flt;
using Sample = std::tuple<int, int, float, float>;
using Corners = std::vector<Point2Flt>;

struct Grid {
  int width, height;
  float margin;
};
struct Scan {
  std::vector<Sample> samples;
  std::array<int, 2> range{};
  bool operator==(const Scan&) const = default;
};

Scan scan(const Grid& g, const Corners& p) {
  Scan result;
  MeshScanConverter converter(g.width, g.height, g.margin);
  converter.setTriangleCB([](void* u, int w, int h) { static_cast<Scan*>(u)->range = {w, h}; }, &result);
  const auto run = [&] {
    return converter.scanTriangle(p[0][0], p[0][1], p[1][0], p[1][1], p[2][0], p[2][1]);
  };
  const int counted = run();
  const auto see = [](void* u, int x, int y, float s, float t) {
    static_cast<Scan*>(u)->samples.push_back({x, y, s, t});
  };
  converter.setPointSampleCB(see, &result);
  EXPECT_EQ(run(), counted);
  EXPECT_EQ(counted, static_cast<int>(result.samples.size()));
  return result;
}

// The rule, sample by sample; extended precision keeps the signs of edge functions exact.
Scan expectedScan(const Grid& g, const Corners& p) {
  Scan result;
  Corners sorted = p;
  std::stable_sort(sorted.begin(), sorted.end(), [](auto& a, auto& b) { return a[1] < b[1]; });
  int first[2], last[2];
  for (int k = 0; k < 2; ++k) {
    const auto [low, high] = std::minmax({p[0][k], p[1][k], p[2][k]});
    const double end = (k ? g.height : g.width) - 1;
    if (low > 1 || high < 0) return result;
    first[k] = static_cast<int>(std::clamp(std::floor(low * end), 0.0, end));
    last[k] = static_cast<int>(std::clamp(std::ceil(high * end), 0.0, end));
  }
  result.range = {last[0] - first[0] + 1, last[1] - first[1] + 1};
  const auto at = [&](int i, int size) {
    const double whole = size - 1 + 2 * double{g.margin};
    return whole == 0 ? 0.0f : static_cast<float>(i * (1 / whole) + double{g.margin} / whole);
  };
  for (int row = first[1]; row <= last[1]; ++row) {
    bool before = false;
    for (int column = first[0]; column <= last[0]; ++column) {
      const Point2Flt q(at(column, g.width), at(row, g.height));
      int negative = 0;
      for (int k = 0; k < 3; ++k) {
        using Real = long double;
        const Point2Flt &a = sorted[k], &b = sorted[(k + 1) % 3];
        negative += (Real{b[0]} - a[0]) * (Real{q[1]} - a[1]) - (Real{b[1]} - a[1]) * (Real{q[0]} - a[0]) < 0;
      }
      const bool inside = negative % 3 == 0;
      if (before && !inside) break;
      before = inside;
      float s, t;
      isPointInTriangleDefinitive(q, p[0], p[1], p[2], s, t);
      if (inside) result.samples.emplace_back(column, row, t, s);
    }
  }
  return result;
}

TEST(ScanConversion, VisitsTheSamplesThatTheRuleNames) {
  for (unsigned seed = 0; seed < 6000; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    // Corners on samples or between them, beyond the square, or all but in line.
    std::uniform_real_distribution<float> c(-0.5f, 1.5f);
    const Grid g{1 + static_cast<int>(random() % 40), 1 + static_cast<int>(random() % 20),
                 std::array{0.0f, 0.0f, 1.0f, 2.5f, -0.5f, -30.0f}[seed % 6]};
    Corners p(3);
    for (Point2Flt& q : p) {
      q = {c(random), c(random)};
      if (seed % 4 == 1) q = {std::round(8 * q[0]) / 8, std::round(4 * q[1]) / 4};
      if (seed % 4 == 2) q[1] = q[0] * 0.7f;
      if (seed % 64 == 3) q = {c(random) * 1e38f, c(random) * 1e38f};
    }
    ASSERT_EQ(scan(g, p), expectedScan(g, p));
  }
}

TEST(ScanConversion, SquareAndSmallestGrids) {
  const Corners half{{0, 0}, {1, 0}, {0, 1}}, mirrored{{1, 0}, {0, 0}, {0, 1}},
      none{{0, 0}, {kNan, kInf}, {0, 1}};
  for (const auto& [g, p, samples] : {std::tuple{Grid{3, 3, 0}, half, 6u},
                                      {Grid{3, 3, 0}, mirrored, 0u},
                                      {Grid{1, 3, 0}, half, 3u},
                                      {Grid{0, 3, 0}, half, 0u},
                                      {Grid{3, INT_MIN, 0}, half, 0u},
                                      {Grid{3, 3, kNan}, half, 9u},
                                      {Grid{3, 3, 0}, none, 0u}})
    EXPECT_EQ(scan(g, p).samples.size(), samples);
  const Corners square{{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0.3f, 0.6f}};
  std::vector<int> covered(50 * 30);
  for (int k = 0; k < 4; ++k)
    for (const Sample& s : scan({50, 30, 0.5f}, {square[k], square[(k + 1) % 4], square[4]}).samples)
      ++covered[50 * std::get<1>(s) + std::get<0>(s)];
  EXPECT_EQ(covered, std::vector<int>(50 * 30, 1));
  MeshScanConverter huge(INT_MAX, INT_MAX, 0);
  EXPECT_EQ(huge.scanTriangle(0, 1, 0, 1, -kMax, 1), 1);
  EXPECT_EQ(huge.scanTriangle(0, 0, kMax, 0, 0, 0), INT_MAX);
  for (const auto& [first, last, row, samples] :
       {std::array{INT_MIN, INT_MAX, 0, INT_MAX}, {5, 7, 0, 3}, {7, 5, 0, 0}, {5, 7, 1, 0}, {5, 7, -1, 0}})
    EXPECT_EQ(huge.scanSpan(half[0], half[1], half[2], first, last, row), samples);
}

}  // namespace
}  // namespace qvGeom
