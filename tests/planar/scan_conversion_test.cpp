#include "geom/planar/scan_conversion.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "geom/planar/point_in_triangle.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Point2Flt;
using Corners = std::vector<Point2Flt>;
using Scan = std::vector<std::array<float, 4>>;  // the triangle's columns and rows, then the samples

void add(void* scan, int x, int y, float second, float third) {
  static_cast<Scan*>(scan)->push_back({static_cast<float>(x), static_cast<float>(y), second, third});
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
Scan expectedScan(int width, int height, double margin, const Corners& p) {
  using Real = long double;
  Corners sorted = p;
  std::stable_sort(sorted.begin(), sorted.end(), [](auto& a, auto& b) { return a[1] < b[1]; });
  const auto [left, right] = std::minmax({p[0][0], p[1][0], p[2][0]});
  if (left > 1 || right < 0 || sorted[0][1] > 1 || sorted[2][1] < 0) return {};
  const auto place = [](double at, int size) { return static_cast<int>(std::clamp(at, 0.0, size - 1.0)); };
  const int x0 = place(std::floor(left * (width - 1.0)), width),
            y0 = place(std::floor(sorted[0][1] * (height - 1.0)), height);
  const int x1 = place(std::ceil(right * (width - 1.0)), width),
            y1 = place(std::ceil(sorted[2][1] * (height - 1.0)), height);
  const auto at = [&](int i, double whole) {
    return whole == 0 ? 0.0f : static_cast<float>(i * (1 / whole) + margin / whole);
  };
  Scan result;
  add(&result, x1 - x0 + 1, y1 - y0 + 1, 0, 0);
  for (int y = y0; y <= y1; ++y)
    for (int x = x0, before = 0, negative = 0; x <= x1; ++x, negative = 0) {
      const Point2Flt q(at(x, width - 1 + 2 * margin), at(y, height - 1 + 2 * margin));
      for (int k = 0; k < 3; ++k) {
        const Point2Flt &a = sorted[k], &b = sorted[(k + 1) % 3];
        negative += (Real{b[0]} - a[0]) * (Real{q[1]} - a[1]) - (Real{b[1]} - a[1]) * (Real{q[0]} - a[0]) < 0;
      }
      if (before && negative % 3 != 0) break;
      before = negative % 3 == 0;
      float s, t;
      isPointInTriangleDefinitive(q, p[0], p[1], p[2], s, t);
      if (before) add(&result, x, y, t, s);
    }
  return result;
}

// Corners at random, on samples, all but in line, of a triangulated square, and far away.
TEST(ScanConversion, VisitsTheSamplesThatTheRuleNames) {
  const Corners square{{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0.3f, 0.6f}};
  for (unsigned seed = 0; seed < 6000; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> c(-0.5f, 1.5f);
    const int w = 1 + static_cast<int>(random() % 40), h = 1 + static_cast<int>(random() % 20);
    const float margin = std::array{0.0f, 0.0f, 1.0f, 2.5f, -0.5f, -30.0f}[seed % 6];
    Corners p{square[seed / 5 % 4], square[(seed / 5 + 1) % 4], square[4]};
    for (Point2Flt& q : p) {
      if (seed % 5 != 0) q = {c(random), c(random)};
      if (seed % 5 == 1) q = {std::round(8 * q[0]) / 8, std::round(4 * q[1]) / 4};
      if (seed % 5 == 2) q[1] = q[0] * 0.7f;
      if (seed % 64 == 3) q = {c(random) * 1e38f, c(random) * 1e38f};
    }
    ASSERT_EQ(scan(w, h, margin, p), expectedScan(w, h, margin, p));
  }
}

TEST(ScanConversion, LimitsOfGridsAndCorners) {
  const Corners half{{0, 0}, {1, 0}, {0, 1}}, mirrored{{1, 0}, {0, 0}, {0, 1}};
  for (const auto& [width, height, samples] : {std::array{3, 3, 6}, {1, 3, 3}, {0, 3, -1}, {3, INT_MIN, -1}})
    EXPECT_EQ(std::ssize(scan(width, height, 0, half)), samples + 1) << width;
  EXPECT_EQ(scan(3, 3, 0, mirrored).size(), 1u);
  EXPECT_EQ(scan(3, 3, kNan, half).size(), 10u);
  EXPECT_EQ(scan(3, 3, 0, {{0, 0}, {kNan, kInf}, {0, 1}}), Scan());
  MeshScanConverter huge(INT_MAX, INT_MAX, 0), small(3, 3, 0);
  EXPECT_EQ(huge.scanTriangle(0, 1, 0, 1, -kMax, 1), 1);
  EXPECT_EQ(huge.scanTriangle(0, 0, kMax, 0, 0, 0), INT_MAX);
  small.scanTriangle(-9, -9, 9, -9, 0, 9);
  for (const auto& [first, last, row, samples] :
       {std::array{INT_MIN, INT_MAX, 1, 3}, {1, 2, 2, 2}, {2, 1, 1, 0}, {0, 2, -1, 0}, {0, 2, 3, 0}})
    EXPECT_EQ(small.scanSpan(half[0], half[1], half[2], first, last, row), samples);
}

}  // namespace
}  // namespace qvGeom
