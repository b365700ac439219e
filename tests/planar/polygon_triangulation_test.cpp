#include "geom/planar/polygon_triangulation.h"

#include <algorithm>
#include <array>
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

// Every pair of triangles with a common edge, and a right angle at each edge of the polygon: another way to
// the weight than along chords.
TriangulationWeight weigh(const qv::vector<Point>& polygon, const Triangles& triangles) {
  TriangulationWeight weight = TriangulationWeight::zero();
  std::vector<Vector> normals;
  for (std::size_t t = 0; t < triangles.size(); t += 3) {
    const Point& a = polygon[triangles[t]];
    Vector normal = 0.5 * cross(polygon[triangles[t + 1]] - a, polygon[triangles[t + 2]] - a);
    const double area = length(normal);
    weight.area += area;
    const bool flat = area < qvLinear::epsilonTol;
    weight.minCos = std::min(weight.minCos, flat ? -1.0 : 0.0);
    normals.push_back(flat ? Vector() : normal * (1 / area));
  }
  for (std::size_t t = 0; t < normals.size(); ++t)
    for (std::size_t u = 0; u < t; ++u) {
      int shared = 0;
      for (int i = 0; i < 3; ++i)
        shared += std::count(&triangles[3 * u], &triangles[3 * u] + 3, triangles[3 * t + i]);
      if (shared == 2) weight.minCos = std::min(weight.minCos, dot(normals[t], normals[u]));
    }
  return weight;
}

bool isForbidden(const BitVector* bits, int n, const Triangles& triangles) {
  for (std::size_t t = 0; bits && t < triangles.size(); t += 3)
    for (int i = 0; i < 3; ++i)
      if (bits->test(std::int64_t{n} * triangles[t + i] + triangles[t + (i + 1) % 3])) return true;
  return false;
}

// All triangulations of the part i .. j.
std::vector<Triangles> allOf(int i, int j) {
  if (j == i + 1) return {{}};
  std::vector<Triangles> all;
  for (int k = i + 1; k < j; ++k)
    for (const Triangles& left : allOf(i, k))
      for (Triangles right : allOf(k, j)) {
        right.insert(right.end(), left.begin(), left.end());
        right.insert(right.end(), {i, k, j});
        all.push_back(right);
      }
  return all;
}

// n - 2 triangles with ascending corners, whose edges are those of the polygon once and inner ones twice.
void expectTriangulation(int n, const Triangles& triangles) {
  ASSERT_EQ(triangles.size(), 3u * std::max(n - 2, 0));
  std::vector<int> uses(n * n);
  for (std::size_t t = 0; t < triangles.size(); t += 3) {
    const int a = triangles[t], b = triangles[t + 1], c = triangles[t + 2];
    ASSERT_TRUE(0 <= a && a < b && b < c && c < n);
    for (const int edge : {n * a + b, n * b + c, n * a + c}) ++uses[edge];
  }
  for (int i = 0; n > 2 && i < n; ++i)
    for (int j = i + 1; j < n; ++j) {
      const bool outer = j == i + 1 || (i == 0 && j == n - 1);
      EXPECT_TRUE(outer ? uses[n * i + j] == 1 : uses[n * i + j] % 2 == 0) << i << " " << j;
    }
}

Triangles triangulate(const qv::vector<Point>& polygon, BitVector* forbidden = nullptr) {
  Triangles triangles{1, 2, 3};
  EXPECT_TRUE(triangulatePolygon(polygon, triangles, forbidden, nullptr));
  expectTriangulation(static_cast<int>(polygon.size()), triangles);
  return triangles;
}

TEST(TriangulatePolygon, OrderTiesAndForbiddenBits) {
  const qv::vector<Point> square{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  EXPECT_EQ(triangulate(square), (Triangles{0, 1, 3, 1, 2, 3}));
  for (const int bit : {7, 12, 1}) {  // (1, 3), (3, 0) and (0, 1)
    BitVector forbidden(16);
    forbidden.setBit(bit);
    const bool onlyDiagonal = bit == 7;
    EXPECT_EQ(triangulate(square, &forbidden),
              onlyDiagonal ? (Triangles{0, 1, 2, 0, 2, 3}) : (Triangles{0, 1, 3, 1, 2, 3}))
        << bit;
  }
  qv::vector<Point> none(2);
  for (const int n : {0, 1, 2}) {
    none.resize(n);
    triangulate(none);
  }
}

TEST(TriangulatePolygon, IsTheBestOfAll) {
  for (unsigned seed = 0; seed < 300; ++seed) {
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
    for (int i = 0; i < n; ++i) bits.setBit(static_cast<int>(random() % (n * n)));
    for (BitVector* forbidden : {static_cast<BitVector*>(nullptr), &bits}) {
      const Triangles found = triangulate(polygon, forbidden);
      const TriangulationWeight weight = weigh(polygon, found);
      bool anyAllowed = false;
      for (const Triangles& other : allOf(0, n - 1)) {
        if (isForbidden(forbidden, n, other)) continue;
        anyAllowed = true;
        const TriangulationWeight rival = weigh(polygon, other);
        ASSERT_LE(rival.minCos, weight.minCos + 1e-12);
        if (rival.minCos > weight.minCos - 1e-15 && weight.minCos > -1 + 1e-9)
          ASSERT_GE(rival.area, weight.area - 1e-9);
      }
      if (anyAllowed) EXPECT_FALSE(isForbidden(forbidden, n, found));
    }
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
  struct Counted : qvUtil::Progress {
    int sets = 0;
    int cancelAt = -1;
    double last = 0;
    void set(double fraction) override {
      EXPECT_GT(fraction, last);
      last = fraction;
      if (++sets == cancelAt) cancel();
    }
  };
  constexpr int n = 40;
  int apexes = 0;
  for (int d = 3; d < n; ++d) apexes += (n - d) * (d - 1);
  qv::vector<Point> polygon;
  for (int i = 0; i < n; ++i) polygon.push_back({std::cos(i * 0.15), std::sin(i * 0.15), std::sin(i * 1.7)});
  Triangles triangles, cancelled{1};
  Counted whole, part;
  EXPECT_TRUE(triangulatePolygon(polygon, triangles, nullptr, &whole));
  EXPECT_EQ(whole.sets, apexes / 1000);
  EXPECT_DOUBLE_EQ(whole.last, apexes / 1000 * 1000.0 / apexes);
  EXPECT_EQ(triangles, triangulate(polygon));
  part.cancelAt = 2;
  EXPECT_FALSE(triangulatePolygon(polygon, cancelled, nullptr, &part));
  EXPECT_EQ(part.sets, 2);
  EXPECT_TRUE(cancelled.empty());
}

}  // namespace
}  // namespace qvGeom
