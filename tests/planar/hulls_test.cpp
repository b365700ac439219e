#include <cmath>
#include <gtest/gtest.h>
#include <random>

#include "geom/planar/convex_hull.h"
#include "geom/planar/minimum_rectangle.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Point2;
using qvLinear::Vector2;
using Points = qv::vector<Point2>;

double cross2(const Vector2& a, const Vector2& b) { return a[0] * b[1] - a[1] * b[0]; }

// Gift wrapping: next comes what has nothing on its right; in line the farther one, at one place the last.
Ints wrap(const Points& p) {
  const int n = static_cast<int>(p.size());
  const auto counts = [&](int i) { return std::isfinite(p[i][0] + p[i][1]); };
  int first = -1;
  for (int i = 0; i < n; ++i)
    if (counts(i) &&
        (first < 0 || p[i][1] < p[first][1] || (p[i][1] == p[first][1] && p[i][0] > p[first][0])))
      first = i;
  Ints found{first};
  while (true) {
    const Point2 here = p[found.back()];
    int next = -1;
    for (int i = 0; i < n; ++i) {
      if (!counts(i) || i == found.back() || (p[i] == here && next >= 0)) continue;
      const double turn = next < 0 || p[next] == here ? -1 : cross2(p[next] - here, p[i] - here);
      if (turn < 0 || (turn == 0 && distance2(here, p[i]) >= distance2(here, p[next]))) next = i;
    }
    if (p[next] == here) next = n - 1;  // all are at one place
    if (found.size() > 1 && p[next] == p[first]) return found;
    found.push_back(next);
    if (p[next] == here) return found;
  }
}

Points scattered(unsigned seed, double scale) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  Points points(seed % 7 == 6 ? 3000 : 3 + random() % 40);
  for (Point2& p : points) {
    p = {uniform(random), uniform(random)};
    const double whole = std::round(p[0] * 2);
    if (seed % 6 == 1) p = {whole, std::round(p[1] * 2)};  // a lattice, with many points at the same place
    if (seed % 6 == 2) p = {whole, 3 * whole};             // one line, along no axis
    if (seed % 6 == 3) p = {whole, 1};
    if (seed % 6 == 4) p = {5, -7};
    if (seed % 6 == 5 && random() % 4 == 0) p[random() % 2] = random() % 2 ? kNan : -kInf;
    for (int k = 0; k < 2; ++k) p[k] *= scale;
  }
  return points;
}
Polyline lineOf(const Points& points) {
  Polyline line;
  for (const Point2& p : points) line.append({p[0], p[1], kInf}, 0);
  return line;
}

TEST(ConvexHull, IsThatOfGiftWrapping) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    const Points points = scattered(seed, std::ldexp(1, static_cast<int>(seed / 6 % 3) * 300 - 300));
    Ints hull;
    EXPECT_TRUE(convexHull2d(points, hull));
    ASSERT_EQ(hull, wrap(points));
    Points there = points;
    EXPECT_TRUE(convexHull2d(there, there));
    const Polyline line = lineOf(points), none;
    qv::vector<qvLinear::Point> inSpace;
    EXPECT_TRUE(convexHull2d(qv::vector<const Polyline*>{&none, &line, nullptr}, inSpace));
    ASSERT_TRUE(there.size() == hull.size() && inSpace.size() == hull.size());
    for (std::size_t i = 0; i < hull.size(); ++i) {
      EXPECT_EQ(there[i], points[hull[i]]);
      EXPECT_EQ(inSpace[i], qvLinear::Point(there[i][0], there[i][1], 0));
    }
  }
  Ints hull{7};
  EXPECT_TRUE(convexHull2d(Points{}, hull));
  EXPECT_EQ(hull, Ints());
  EXPECT_TRUE(convexHull2d(Points{{kNan, 0}, {1, 1}}, hull));
  EXPECT_EQ(hull, (Ints{0, 1})) << "fewer than three are all taken";
  EXPECT_FALSE(convexHull2d(Points{{kNan, 0}, {1, 1}, {0, 1e200}}, hull));
  EXPECT_EQ(hull, Ints{1});
}

Rect2 boundOf(const Points& points, double margin, float& ratio) {
  const Polyline line = lineOf(points);
  Rect2 rect{{{7, 7}, {7, 7}, {7, 7}, {7, 7}}};
  minAreaBound(qv::vector<const Polyline*>{&line}, margin, rect, ratio);
  return rect;
}

TEST(MinimumRectangle, IsTheSmallestOverAllHullEdges) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Points points = scattered(seed / 6 * 6 + seed % 2, 1);
    // Each with a twin one step of rounding away, which a caliper must get past.
    const auto beside = [&](double x) { return std::nextafter(x, random() % 2 ? kInf : -kInf); };
    for (std::size_t i = points.size(); i-- > 0;) {
      points[i][0] *= 2;
      points.push_back({beside(points[i][0]), beside(points[i][1])});
    }
    Points hull;
    convexHull2d(points, hull);
    double smallest = kInf, largest = 0;
    for (std::size_t e = 0; e < hull.size(); ++e) {
      Vector2 d = hull[(e + 1) % hull.size()] - hull[e];
      if (length(d) < 1e-9 || !d.normalize()) continue;  // between twins, in any direction
      qvLinear::Range1d along, across;
      for (const Point2& p : hull) {
        along.unite(dot(d, p - hull[e]));
        across.unite(cross2(d, p - hull[e]));
      }
      smallest = std::min(smallest, along.size() * across.size());
      largest = std::max(largest, along.size() * across.size());
    }
    float ratio = 0;
    const Rect2 rect = boundOf(points, 0, ratio), grown = boundOf(points, 0.25, ratio);
    EXPECT_LE(cross2(rect.corner[1] - rect.corner[0], rect.corner[3] - rect.corner[0]), smallest + 1e-9);
    EXPECT_GE(ratio, largest / smallest * (1 - 1e-6));
    for (int i = 0; i < 4; ++i) {
      Vector2 side = rect.corner[(i + 1) % 4] - rect.corner[i];
      side.normalize();
      qvLinear::Range1d inside;
      for (const Point2& p : points) inside.unite(cross2(side, p - rect.corner[i]));
      EXPECT_NEAR(inside.min, 0, 1e-9) << "nothing is outside, and something touches";
      EXPECT_NEAR(cross2(side, grown.corner[i] - rect.corner[i]), -0.25, 1e-9);
      EXPECT_NEAR(cross2(side, grown.corner[(i + 1) % 4] - rect.corner[i]), -0.25, 1e-9);
    }
  }
}

TEST(MinimumRectangle, OfSimpleShapes) {
  const double c = std::cos(M_PI / 6), s = std::sin(M_PI / 6), h = std::sqrt(0.5);
  struct Case {
    Points points;
    double margin;
    Points corners;
    float ratio;
  };
  for (const Case& k : {Case{{}, 1, Points(4, {7, 7}), 0},
                        {{{kNan, 1}}, 1, Points(4, {7, 7}), 0},
                        {{{2, 3}}, kNan, Points(4, {2, 3}), 1},
                        {{{2, 3}}, 1, {{1, 2}, {3, 2}, {3, 4}, {1, 4}}, 1},
                        {{{0, 0}, {0, 1}, {0, 2}}, 1, {{-2, -1}, {2, -1}, {2, 3}, {-2, 3}}, kMax},
                        {{{2 * c, 2 * s}, {0, 0}, {2 * c - s, 2 * s + c}, {-s, c}},
                         0,
                         {{0, 0}, {2 * c, 2 * s}, {2 * c - s, 2 * s + c}, {-s, c}},
                         1},
                        {{{0, -h}, {h, 0}, {0, h}, {-h, 0}},  // a square, turned
                         0,
                         {{-0.5, -0.5}, {0.5, -0.5}, {0.5, 0.5}, {-0.5, 0.5}},
                         1}}) {
    float ratio = 7;
    Rect2 rect = boundOf(k.points, k.margin, ratio);
    if (distance(rect.corner[0], k.corners[0]) > 1)
      std::rotate(rect.corner, rect.corner + 2, rect.corner + 4);
    for (int i = 0; i < 4; ++i) EXPECT_LT(distance(rect.corner[i], k.corners[i]), 1e-12) << i;
    EXPECT_FLOAT_EQ(ratio, k.ratio);
  }
}

}  // namespace
}  // namespace qvGeom
