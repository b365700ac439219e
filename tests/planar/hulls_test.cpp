#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
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

// Gift wrapping.
Ints wrap(const Points& p) {
  Ints found;
  for (int i = 0; i < static_cast<int>(p.size()); ++i) {
    if (!std::isfinite(p[i][0]) || !std::isfinite(p[i][1])) continue;
    const bool better =
        found.empty() || p[i][1] < p[found[0]][1] || (p[i][1] == p[found[0]][1] && p[i][0] > p[found[0]][0]);
    if (better) found = {i};
  }
  for (int last = -1; found.size() <= p.size(); last = -1) {
    const Point2 here = p[found.back()];
    for (int i = 0; i < static_cast<int>(p.size()); ++i) {
      if (!std::isfinite(p[i][0] + p[i][1]) || (p[i] == here && found.size() > 1)) continue;
      if (i == found[0]) continue;
      const double turn = last < 0 ? -1 : cross2(p[last] - here, p[i] - here);
      if (turn < 0 || (turn == 0 && distance2(here, p[i]) >= distance2(here, p[last]))) last = i;
    }
    const Point2 start = p[found[0]];
    const double home = last < 0 ? 0 : cross2(p[last] - here, start - here);
    if (last < 0 ||
        (found.size() > 1 && (home < 0 || (home == 0 && distance2(here, start) >= distance2(here, p[last])))))
      break;
    found.push_back(last);
  }
  return found;
}

Points scattered(unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  const double scale = std::ldexp(1, static_cast<int>(seed / 6 % 3) * 300 - 300);
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
    const Points points = scattered(seed);
    Ints hull;
    EXPECT_TRUE(convexHull2d(points, hull));
    ASSERT_EQ(hull, wrap(points));
    Points there = points, expected;
    for (const int i : hull) expected.push_back(points[i]);
    EXPECT_TRUE(convexHull2d(there, there));
    EXPECT_EQ(there, expected);
    const Polyline line = lineOf(points), none;
    qv::vector<qvLinear::Point> inSpace;
    EXPECT_TRUE(convexHull2d(qv::vector<const Polyline*>{&none, &line, nullptr}, inSpace));
    ASSERT_EQ(inSpace.size(), hull.size());
    for (std::size_t i = 0; i < hull.size(); ++i)
      EXPECT_EQ(inSpace[i], qvLinear::Point(expected[i][0], expected[i][1], 0));
  }
}

TEST(ConvexHull, OfFewPoints) {
  Ints hull{7};
  for (const auto& [points, found, expected] :
       {std::tuple{Points{}, true, Ints{}},
        {{{kNan, 0}, {1, 1}}, true, {0, 1}},
        {{{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0.5, 0.5}}, true, {1, 2, 3, 0}},
        {{{0, 0}, {1, 1}, {2, 2}}, true, {0, 2}},
        {{{kNan, 0}, {1, 1}, {0, 1e200}}, false, {1}},
        {Points(3, {kNan, kNan}), false, {}}}) {
    EXPECT_EQ(convexHull2d(points, hull), found);
    EXPECT_EQ(hull, expected);
  }
}

Rect2 boundOf(const Points& points, double margin, float& ratio) {
  const Polyline line = lineOf(points);
  Rect2 rect{{{7, 7}, {7, 7}, {7, 7}, {7, 7}}};
  minAreaBound(qv::vector<const Polyline*>{&line}, margin, rect, ratio);
  return rect;
}
double areaOf(const Rect2& r) { return cross2(r.corner[1] - r.corner[0], r.corner[3] - r.corner[0]); }

TEST(MinimumRectangle, IsTheSmallestOverAllHullEdges) {
  for (unsigned seed = 0; seed < 300; seed += seed % 6 == 1 ? 5 : 1) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Points points = scattered(seed / 6 * 6 + seed % 2);
    const double scale = std::ldexp(1, static_cast<int>(seed / 6 % 3) * 300 - 300);
    for (Point2& p : points) p = {p[0] / scale * 2, p[1] / scale};
    // Each with a twin one step of rounding away, which a caliper must get past.
    const auto beside = [&](double x) { return std::nextafter(x, random() % 2 ? kInf : -kInf); };
    for (std::size_t i = points.size(); i-- > 0;)
      points.push_back({beside(points[i][0]), beside(points[i][1])});
    Points hull;
    convexHull2d(points, hull);
    double smallest = kInf, largest = 0;
    for (std::size_t e = 0; e < hull.size(); ++e) {
      Vector2 d = hull[(e + 1) % hull.size()] - hull[e];
      if (length(d) < 1e-9) continue;  // between twins, in any direction
      d.normalize();
      qvLinear::Range1d along, across;
      for (const Point2& p : hull) {
        along.unite(dot(d, p - hull[e]));
        across.unite(cross2(d, p - hull[e]));
      }
      smallest = std::min(smallest, along.size() * across.size());
      largest = std::max(largest, along.size() * across.size());
    }
    float ratio = 0;
    const Rect2 rect = boundOf(points, 0, ratio);
    EXPECT_LE(areaOf(rect), smallest * (1 + 1e-12) + 1e-12);
    EXPECT_GE(ratio, largest / smallest * (1 - 1e-6));
    const Rect2 grown = boundOf(points, 0.25, ratio);
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
  constexpr float kNoArea = std::numeric_limits<float>::max();
  struct Case {
    const char* name;
    Points points;
    double margin;
    Points corners;
    float ratio;
  };
  for (const Case& k : {
           Case{"none", {}, 1, Points(4, {7, 7}), 0},
           Case{"not finite", {{kNan, 1}}, 1, Points(4, {7, 7}), 0},
           Case{"one", {{2, 3}}, 0, Points(4, {2, 3}), 1},
           Case{"one, grown", {{2, 3}}, 1, {{1, 2}, {3, 2}, {3, 4}, {1, 4}}, 1},
           Case{"two", {{0, 0}, {0, 2}}, 0, {{-1, 0}, {1, 0}, {1, 2}, {-1, 2}}, kNoArea},
           Case{"in line", {{0, 0}, {0, 1}, {0, 2}}, 1, {{-2, -1}, {2, -1}, {2, 3}, {-2, 3}}, kNoArea},
           Case{"turned rectangle",
                {{2 * c, 2 * s}, {0, 0}, {2 * c - s, 2 * s + c}, {-s, c}},
                0,
                {{0, 0}, {2 * c, 2 * s}, {2 * c - s, 2 * s + c}, {-s, c}},
                1},
           Case{"turned square",
                {{0, -h}, {h, 0}, {0, h}, {-h, 0}},
                0,
                {{-0.5, -0.5}, {0.5, -0.5}, {0.5, 0.5}, {-0.5, 0.5}},
                1},
           Case{"triangle, no margin", {{0, 0}, {4, 0}, {0, 3}}, kNan, {{0, 0}, {4, 0}, {4, 3}, {0, 3}}, 1},
       }) {
    SCOPED_TRACE(k.name);
    float ratio = 7;
    const Rect2 rect = boundOf(k.points, k.margin, ratio);
    Points corners(rect.corner, rect.corner + 4);
    if (distance(corners[0], k.corners[0]) > 1)
      std::rotate(corners.begin(), corners.begin() + 2, corners.end());
    for (int i = 0; i < 4; ++i) EXPECT_LT(distance(corners[i], k.corners[i]), 1e-12) << i;
    EXPECT_FLOAT_EQ(ratio, k.ratio);
  }
}

}  // namespace
}  // namespace qvGeom
