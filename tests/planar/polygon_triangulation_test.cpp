#include "geom/planar/polygon_triangulation.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "geom/model/keel/tolerances.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::Vector;
using Triangles = qv::vector<int>;

// Every apex weighed in full, without any table.
struct Part {
  TriangulationWeight weight = TriangulationWeight::zero();
  Vector normal;
  Triangles triangles;
};
Part bestPart(const qv::vector<Point>& p, const BitVector& forbidden, int i, int j) {
  Part best;
  const int n = static_cast<int>(p.size());
  for (int k = i + 1; k < j; ++k) {
    const Part left = bestPart(p, forbidden, i, k), right = bestPart(p, forbidden, k, j);
    Part part{{}, 0.5 * cross(p[k] - p[i], p[j] - p[i]), left.triangles};
    part.triangles.insert(part.triangles.end(), {i, k, j});
    part.triangles.insert(part.triangles.end(), right.triangles.begin(), right.triangles.end());
    const double area = length(part.normal);
    const bool flat = area < qvLinear::epsilonTol;
    for (double& c : part.normal.c) c = flat ? 0 : c / area;
    const double bend = std::min(dot(part.normal, left.normal), dot(part.normal, right.normal));
    part.weight = TriangulationWeight{area, flat ? -1 : bend} + left.weight + right.weight;
    if (forbidden.test(n * i + k) || forbidden.test(n * k + j) || forbidden.test(n * j + i))
      part = {TriangulationWeight::infinite(), {}, part.triangles};
    if (k == i + 1 || part.weight.isBetterThan(best.weight)) best = part;
  }
  return best;
}

Triangles triangulate(const qv::vector<Point>& polygon, BitVector* forbidden = nullptr) {
  Triangles t{1, 2, 3};
  EXPECT_TRUE(triangulatePolygon(polygon, t, forbidden, nullptr));
  const int n = static_cast<int>(polygon.size());
  EXPECT_EQ(t.size(), 3u * std::max(n - 2, 0));
  for (std::size_t i = 0; i < t.size(); i += 3)
    EXPECT_TRUE(0 <= t[i] && t[i] < t[i + 1] && t[i + 1] < t[i + 2] && t[i + 2] < n);
  return t;
}

TEST(TriangulatePolygon, OrderTiesAndForbiddenBits) {
  const qv::vector<Point> square{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  EXPECT_EQ(triangulate(square), (Triangles{0, 1, 3, 1, 2, 3}));
  for (const int bit : {7, 12, 1}) {  // (1, 3), (3, 0) and (0, 1)
    BitVector forbidden(16);
    forbidden.setBit(bit);
    EXPECT_EQ(triangulate(square, &forbidden),
              bit == 7 ? (Triangles{0, 1, 2, 0, 2, 3}) : (Triangles{0, 1, 3, 1, 2, 3}))
        << bit;
  }
  for (const std::size_t n : {0, 1, 2, 3}) triangulate(qv::vector<Point>(n));
}

TEST(TriangulatePolygon, ChoosesTheBestOfEachPart) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const int n = 3 + static_cast<int>(random() % 7);
    const bool flat = seed % 3 == 0;    // convex in a plane: all weights tie but for rounding
    const bool coarse = seed % 3 == 1;  // repeated and collinear points
    std::uniform_real_distribution<double> uniform(-1, 1);
    qv::vector<Point> polygon;
    for (int i = 0; i < n; ++i) {
      const double turn = 2 * M_PI * i / n;
      polygon.push_back(flat ? Point(std::cos(turn), std::sin(turn), 0)
                             : Point(uniform(random), uniform(random), uniform(random)));
      for (int c = 0; coarse && c < 3; ++c) polygon[i][c] = std::round(polygon[i][c] * 2);
    }
    BitVector bits(n * n);
    EXPECT_EQ(triangulate(polygon), bestPart(polygon, bits, 0, n - 1).triangles);
    for (int i = 0; i < n; ++i) bits.setBit(static_cast<int>(random() % (n * n)));
    EXPECT_EQ(triangulate(polygon, &bits), bestPart(polygon, bits, 0, n - 1).triangles);
  }
}

TEST(TriangulatePolygon, AnswersWhateverThePoints) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double huge = std::numeric_limits<double>::max();
  for (const Point& odd : {Point(0, 0, 0), Point(nan, 0, 0), Point(huge, -huge, 1), Point(1e-200, 0, 0)}) {
    qv::vector<Point> polygon(12, odd);
    triangulate(polygon);
    for (int i = 0; i < 12; i += 2) polygon[i] = Point(i, -huge, i * i);
    triangulate(polygon);
    BitVector all(144), tooShort(5);
    all.setAllBits();
    triangulate(polygon, &all);
    tooShort.setAllBits();
    triangulate(polygon, &tooShort);
  }
}

TEST(TriangulatePolygon, ReportsAndCancelsEveryThousandApexes) {
  std::vector<double> heard;
  qvUtil::Progress whole([&](double fraction, const char*) { heard.push_back(fraction); });
  qvUtil::Progress part([&](double fraction, const char*) {
    if (heard.push_back(fraction), heard.size() == 2) part.cancel();
  });
  constexpr int n = 40;
  int apexes = 0;
  for (int d = 3; d < n; ++d) apexes += (n - d) * (d - 1);
  qv::vector<Point> polygon;
  for (int i = 0; i < n; ++i) polygon.push_back({std::cos(i * 0.15), std::sin(i * 0.15), std::sin(i * 1.7)});
  Triangles triangles, cancelled{1};
  EXPECT_TRUE(triangulatePolygon(polygon, triangles, nullptr, &whole));
  ASSERT_EQ(static_cast<int>(heard.size()), apexes / 1000);
  EXPECT_DOUBLE_EQ(heard.back(), apexes / 1000 * 1000.0 / apexes);
  EXPECT_EQ(triangles, triangulate(polygon));
  heard.clear();
  EXPECT_FALSE(triangulatePolygon(polygon, cancelled, nullptr, &part));
  EXPECT_TRUE(heard.size() == 2 && cancelled.empty());
}

}  // namespace
}  // namespace qvGeom
