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

using Scan = std::vector<Sample>;  // begins with the triangle's columns and rows

void add(void* scan, int x, int y, float second, float third) {
  static_cast<Scan*>(scan)->emplace_back(x, y, second, third);
}
Scan scan(int width, int height, float margin, const Corners& p) {
  Scan result;
  MeshScanConverter converter(width, height, margin);
  converter.setTriangleCB([](void* user, int w, int h) { add(user, w, h, 0, 0); }, &result);
  converter.setPointSampleCB(add, &result);
  const int n = converter.scanTriangle(p[0][0], p[0][1], p[1][0], p[1][1], p[2][0], p[2][1]);
  EXPECT_EQ(n + !result.empty(), static_cast<int>(result.size()));
  return result;
}

// The rule, sample by sample; extended precision keeps the signs of edge functions exact.
Scan expectedScan(int width, int height, float margin, const Corners& p) {
  Corners sorted = p;
  std::stable_sort(sorted.begin(), sorted.end(), [](auto& a, auto& b) { return a[1] < b[1]; });
  int first[2], last[2];
  for (int k = 0; k < 2; ++k) {
    const auto [low, high] = std::minmax({p[0][k], p[1][k], p[2][k]});
    const double end = (k ? height : width) - 1;
    if (low > 1 || high < 0) return {};
    first[k] = static_cast<int>(std::clamp(std::floor(low * end), 0.0, end));
    last[k] = static_cast<int>(std::clamp(std::ceil(high * end), 0.0, end));
  }
  Scan result{{last[0] - first[0] + 1, last[1] - first[1] + 1, 0.0f, 0.0f}};
  const auto at = [&](int i, int size) {
    const double whole = size - 1 + 2 * double{margin};
    return whole == 0 ? 0.0f : static_cast<float>(i * (1 / whole) + double{margin} / whole);
  };
  for (int row = first[1]; row <= last[1]; ++row) {
    bool before = false;
    for (int column = first[0]; column <= last[0]; ++column) {
      const Point2Flt q(at(column, width), at(row, height));
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
      if (inside) result.emplace_back(column, row, t, s);
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
    const int w = 1 + static_cast<int>(random() % 40), h = 1 + static_cast<int>(random() % 20);
    const float margin = std::array{0.0f, 0.0f, 1.0f, 2.5f, -0.5f, -30.0f}[seed % 6];
    Corners p(3);
    for (Point2Flt& q : p) {
      q = {c(random), c(random)};
      if (seed % 4 == 1) q = {std::round(8 * q[0]) / 8, std::round(4 * q[1]) / 4};
      if (seed % 4 == 2) q[1] = q[0] * 0.7f;
      if (seed % 64 == 3) q = {c(random) * 1e38f, c(random) * 1e38f};
    }
    ASSERT_EQ(scan(w, h, margin, p), expectedScan(w, h, margin, p));
  }
}

TEST(ScanConversion, SquareAndSmallestGrids) {
  const Corners half{{0, 0}, {1, 0}, {0, 1}}, mirrored{{1, 0}, {0, 0}, {0, 1}},
      none{{0, 0}, {kNan, kInf}, {0, 1}};
  for (const auto& [width, height, samples] : {std::array{3, 3, 6}, {1, 3, 3}, {0, 3, -1}, {3, INT_MIN, -1}})
    EXPECT_EQ(std::ssize(scan(width, height, 0, half)), samples + 1) << width;
  EXPECT_EQ(scan(3, 3, 0, mirrored).size(), 1u);
  EXPECT_EQ(scan(3, 3, kNan, half).size(), 10u);
  EXPECT_EQ(scan(3, 3, 0, none), Scan());
  const Corners square{{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0.3f, 0.6f}};
  std::vector<int> covered(50 * 30);
  for (int k = 0; k < 4; ++k) {
    const Scan part = scan(50, 30, 0.5f, {square[k], square[(k + 1) % 4], square[4]});
    for (std::size_t i = 1; i < part.size(); ++i) ++covered[50 * std::get<1>(part[i]) + std::get<0>(part[i])];
  }
  EXPECT_EQ(covered, std::vector<int>(50 * 30, 1));
  MeshScanConverter huge(INT_MAX, INT_MAX, 0);
  EXPECT_EQ(huge.scanTriangle(0, 1, 0, 1, -kMax, 1), 1);
  EXPECT_EQ(huge.scanTriangle(0, 0, kMax, 0, 0, 0), INT_MAX);
  MeshScanConverter small(3, 3, 0);
  small.scanTriangle(-9, -9, 9, -9, 0, 9);
  for (const auto& [first, last, row, samples] :
       {std::array{INT_MIN, INT_MAX, 1, 3}, {1, 2, 2, 2}, {2, 1, 1, 0}, {0, 2, -1, 0}, {0, 2, 3, 0}})
    EXPECT_EQ(small.scanSpan(half[0], half[1], half[2], first, last, row), samples);
}

}  // namespace
}  // namespace qvGeom
