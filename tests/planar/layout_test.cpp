#include <cmath>
#include <memory>
#include <numeric>
#include <random>

#include "geom/model/keel/tolerances.h"
#include "geom/planar/convex_hull.h"
#include "geom/planar/minimum_rectangle.h"
#include "geom/planar/packing.h"
#include "geom/planar/plane_fit.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using namespace qvLinear;
using Points = qv::vector<Point2>;
using Ranges = qv::vector<Range2d>;

double cross2(const Vector2& a, const Vector2& b) { return a[0] * b[1] - a[1] * b[0]; }

// Gift wrapping: next comes what has nothing on its right; in line the farther one, at one place the last.
Ints wrap(const Points& p) {
  Ints all, found;
  for (int i = 0; i < static_cast<int>(p.size()); ++i)
    if (std::isfinite(p[i][0] + p[i][1])) all.push_back(i);
  int next = *std::min_element(all.begin(), all.end(), [&](int i, int j) {
    return p[i][1] < p[j][1] || (p[i][1] == p[j][1] && p[i][0] > p[j][0]);
  });
  for (const Point2 start = p[next]; found.empty() || p[next] != start;) {
    found.push_back(next);
    const Point2 here = p[next];
    for (const int i : all) {
      const double turn = p[next] == here ? -1 : cross2(p[next] - here, p[i] - here);
      if (turn < 0 || (turn == 0 && distance2(here, p[i]) >= distance2(here, p[next]))) next = i;
    }
    if (p[next] == here) return {found[0], all.back()};  // all are at one place
  }
  return found;
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
    p = {p[0] * scale, p[1] * scale};
  }
  return points;
}
Polyline lineOf(const Points& points) {
  Polyline line;
  for (const Point2& p : points) line.append({p[0], p[1], kInf}, 0);
  return line;
}

TEST(ConvexHull, IsThatOfGiftWrapping) {
  Ints hull{7};
  qv::vector<Point> inSpace;
  for (unsigned seed = 0; seed < 300; ++seed) {
    const Points points = scattered(seed, std::ldexp(1, static_cast<int>(seed / 6 % 3) * 300 - 300));
    EXPECT_TRUE(convexHull2d(points, hull));
    ASSERT_EQ(hull, wrap(points)) << seed;
    const Polyline line = lineOf(points), none;
    EXPECT_TRUE(convexHull2d(qv::vector<const Polyline*>{&none, &line, nullptr}, inSpace));
    ASSERT_EQ(inSpace.size(), hull.size());
    for (std::size_t i = 0; i < hull.size(); ++i)
      EXPECT_EQ(inSpace[i], Point(points[hull[i]][0], points[hull[i]][1], 0));
  }
  EXPECT_TRUE(convexHull2d(Points{{kNan, 0}, {1, 1}}, hull) && hull == (Ints{0, 1})) << "few are all taken";
  EXPECT_FALSE(convexHull2d(Points{{kNan, 0}, {1, 1}, {0, 1e200}}, hull) || hull != Ints{1});
}

Rect2 boundOf(const Points& points, double margin, float& ratio) {
  const Polyline line = lineOf(points);
  Rect2 rect{{{7, 7}, {7, 7}, {7, 7}, {7, 7}}};
  minAreaBound(qv::vector<const Polyline*>{&line}, margin, rect, ratio);
  return rect;
}

TEST(MinimumRectangle, IsTheSmallestOverAllHullEdges) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    Points points = scattered(seed / 6 * 6 + seed % 2, 1), hull;
    // Each with a twin one step of rounding away, which a caliper must get past.
    const auto beside = [&](double x) { return std::nextafter(x, random() % 2 ? kInf : -kInf); };
    for (std::size_t i = points.size(); i-- > 0;) {
      points[i][0] *= 2;
      points.push_back({beside(points[i][0]), beside(points[i][1])});
    }
    convexHull2d(points, hull);
    double smallest = kInf, largest = 0;
    for (std::size_t e = 0; e < hull.size(); ++e) {
      Vector2 d = hull[(e + 1) % hull.size()] - hull[e];
      if (length(d) < 1e-9 || !d.normalize()) continue;  // between twins, in any direction
      Range2d box;
      for (const Point2& p : hull) box.unite(Point2(dot(d, p - hull[e]), cross2(d, p - hull[e])));
      smallest = std::min(smallest, box.area());
      largest = std::max(largest, box.area());
    }
    float ratio = 0;
    const Rect2 rect = boundOf(points, 0, ratio), grown = boundOf(points, 0.25, ratio);
    EXPECT_LE(cross2(rect.corner[1] - rect.corner[0], rect.corner[3] - rect.corner[0]), smallest + 1e-9);
    EXPECT_GE(ratio, largest / smallest * (1 - 1e-6));
    for (int i = 0; i < 4; ++i) {
      Vector2 side = rect.corner[(i + 1) % 4] - rect.corner[i];
      side.normalize();
      double outermost = kInf;
      for (const Point2& p : points) outermost = std::min(outermost, cross2(side, p - rect.corner[i]));
      EXPECT_NEAR(outermost, 0, 1e-9);
      EXPECT_NEAR(cross2(side, grown.corner[i] - rect.corner[i]), -0.25, 1e-9);
    }
  }
  float ratio = 7;
  EXPECT_EQ(boundOf({{kNan, 1}}, 1, ratio).corner[0], Point2(7, 7));
  EXPECT_EQ(ratio, 0) << "no vertices: untouched";
  EXPECT_EQ(boundOf({{0, 0}, {0, 1}, {0, 2}}, 1, ratio).corner[0], Point2(-2, -1));
  EXPECT_EQ(ratio, kMax) << "all in line: a square";
  const double h = std::sqrt(0.5);
  EXPECT_LT(distance(boundOf({{0, -h}, {h, 0}, {0, h}, {-h, 0}}, 0, ratio).corner[1], {0.5, -0.5}), 1e-12);
}

Range2d sized(double w, double h) { return Range2d({5, -3}, {5 + w, -3 + h}); }

// The tree of cuts, walked by recursion.
struct Node {
  Range2d rect = Range2d::unitSquare;
  std::unique_ptr<Node> child[2];
  bool used = false;

  Node* insert(const Vector2& size) {
    if (child[0]) {
      Node* found = child[0]->insert(size);
      return found ? found : child[1]->insert(size);
    }
    const Vector2 free = (rect.max - rect.min) - size;
    if (used || std::min(free[0], free[1]) < -epsilonTol) return nullptr;
    used = length(free) <= epsilonTol;
    if (used) return this;
    const int k = free[0] > free[1] ? 0 : 1;
    for (auto& c : child) (c = std::make_unique<Node>())->rect = rect;
    child[0]->rect.max[k] = child[1]->rect.min[k] = rect.min[k] + size[k];
    return child[0]->insert(size);
  }
};

TEST(Packing, PlacesAsTheTreeDoes) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    Ranges ranges(1 + random() % 300);
    std::uniform_real_distribution<double> side(0, 0.1 + 1.6 / std::sqrt(static_cast<double>(ranges.size())));
    // Half of them in sixteenths, so that many fit exactly, and some of no size.
    const auto next = [&] { return seed % 2 ? static_cast<double>(random() % 5) / 16 : side(random); };
    for (Range2d& r : ranges) r = sized(next(), next());
    Ranges expected = ranges;
    Node root;
    const bool fits = std::all_of(expected.begin(), expected.end(), [&](Range2d& r) {
      const Node* found = root.insert(r.max - r.min);
      if (found) r = found->rect;
      return found != nullptr;
    });
    EXPECT_EQ(pack(ranges), fits);
    for (std::size_t i = 0; i < ranges.size(); ++i)
      ASSERT_TRUE(ranges[i].min == expected[i].min && ranges[i].max == expected[i].max) << seed;
  }
}

TEST(Packing, ShrinksAllAlikeUntilTheyFit) {
  for (const Range2d& bad : {sized(1.5, 0.1), sized(0.1, kInf), sized(kNan, 0.1), sized(-0.1, 0.1)}) {
    Ranges result{sized(0.5, 0.5), bad};
    EXPECT_FALSE(pack(result));
    if (bad.width() != 1.5) pack(result, 3);
    EXPECT_EQ(result[0].min, sized(0, 0).min) << "nothing is placed";
  }
  Ranges none, slack{sized(1 + 1e-11, 1)};  // beyond the square by less than the tolerance
  pack(none, 0);
  EXPECT_TRUE(pack(none) && !pack(slack));
  pack(slack, 1 << 30);
  EXPECT_LE(slack[0].max[0], 1);
  const auto logOf = [](Ranges all) {
    DebugLog log;
    pack(all, 1);
    return std::accumulate(log.messages.begin(), log.messages.end(), std::string());
  };
  EXPECT_THAT(
      logOf({Range2d({0, 0}, {2, 1})}),
      testing::StartsWith("Packed (0.0000,0.0000)-(2.0000,1.0000) to (0.0000,0.0000)-(0.9980,0.4990)\n"
                          "Packed 1 items with 0.50 coverage in 2 iterations in "));
  EXPECT_THAT(logOf(Ranges(9, sized(0.1, 0.3))),
              testing::HasSubstr("\nScaling packing by 1.11\nPacked 9 it"));
}

TEST(PlaneFit, OfEveryKindOfSet) {
  Plane plane;
  struct Case {
    qv::vector<Point> points;
    int rank;
    Normal normal;
  };
  for (const auto& [points, rank, normal] :
       {Case{{}, 0, {}},
        {{{1, 2, 3}, {1, 2, 3}}, 0, {}},
        {{{0, 0, 1}, {1, 0, 3}, {0, 1, 4}, {2, 2, 11}}, 2, {-2, -3, 1}},
        {{{0, 0, 0}, {1, 1, 0}, {0, 0, 1}, {1, 1, 1}}, 2, {-1, 1, 0}},
        {{{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}, 1, {-2, 1, 1}},
        {{{0, 0, 0}, {0, 1, 1}, {0, 2, 2}}, 1, {1, -1, 1}},
        {{{0, 0, 0}, {0, 0, 5}}, 1, {1, 1, 0}},
        {{{1e200, 0, 0}, {0, 1e200, 0}, {0, 0, 1e200}}, 0, {}},
        {{{-1, 0, 0}, {1, 0, 0}, {0, -1, 0.4}, {0, 1, 0}}, 2, {0, 0.2, 1}}}) {
    EXPECT_EQ(fit(static_cast<int>(points.size()), points.data(), plane), rank);
    EXPECT_TRUE(equivalent(plane.normal, normal, 1e-9)) << plane.normal[0];
  }
  using Cloud = qv::vector<Point>;
  plane = Plane(Point(), Normal(0, 1, 0));
  // One unit off its plane; only the fourth is looked at.
  const Cloud bent{{-1, 0, 1}, {0, -1, -1}, {0, 1, -1}, {1, 0, 1}};
  EXPECT_FALSE(recognizePlane(bent, plane, 1) || plane.normal != Normal(0, 1, 0)) << "unchanged";
  EXPECT_TRUE(recognizePlane(bent, plane, 1.0000001));
  EXPECT_TRUE(recognizePlane(Cloud{{0, 0, 0}, {1, 0, 5}, {0, 1, 7}}, plane, 0)) << "three always do";
  EXPECT_TRUE(recognizePlane(shapes::make({{0, 0, 2}, {1, 0, 2}, {1, 1, 2}, {0, 1, 2}}, {}), plane, 1e-6));
  EXPECT_EQ(plane.eval({9, 9, 3}), 1);

  // Between ends on the x axis, spread along (2, 1) and a little across.
  const Cloud between{{1, 0, 0}, {2, 2, 1}, {3, -2, -1}, {1, -0.1, 0.2}, {5, 0, 0}};
  fitWithEndsOnPlane(5, between.data(), plane);
  EXPECT_LT(length2(cross(plane.normal, Vector(0, -1, 2))) + std::fabs(plane.eval({9, 0, 0})), 1e-12);
  const Cloud loop{{1, 2, 3}, {4, 5, 6}, {1, 2, 3}};
  fitWithEndsOnPlane(3, loop.data(), plane);
  EXPECT_TRUE(plane.point == Point() && plane.normal == Normal()) << "equal ends";
}

}  // namespace
}  // namespace qvGeom
