#include "geom/planar/plane_fit.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Normal;
using qvLinear::Plane;
using qvLinear::Point;
using Points = qv::vector<Point>;

TEST(PlaneFit, RankAndNormalOfEveryKindOfSet) {
  struct Case {
    const char* name;
    Points points;
    int rank;
    Normal normal;
  };
  for (const Case& c : {
           Case{"none", {}, 0, {}},
           Case{"one place", {{1, 2, 3}, {1, 2, 3}}, 0, {}},
           Case{"z = 2x + 3y + 1", {{0, 0, 1}, {1, 0, 3}, {0, 1, 4}, {2, 2, 11}}, 2, {-2, -3, 1}},
           Case{"wall x = y", {{0, 0, 0}, {1, 1, 0}, {0, 0, 1}, {1, 1, 1}}, 2, {-1, 1, 0}},
           Case{"wall x = 2", {{2, 0, 0}, {2, 1, 0}, {2, 0, 1}}, 2, {1, 0, 0}},
           Case{"line along (1, 1, 1)", {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}, 1, {-2, 1, 1}},
           Case{"line in the yz plane", {{0, 0, 0}, {0, 1, 1}, {0, 2, 2}}, 1, {1, -1, 1}},
           Case{"line along z", {{0, 0, 0}, {0, 0, 5}}, 1, {1, 1, 0}},
           Case{"too large", {{1e200, 0, 0}, {0, 1e200, 0}, {0, 0, 1e200}}, 0, {}},
           Case{"the squared residuals of z",
                {{-1, 0, 0}, {1, 0, 0}, {0, -1, 0.4}, {0, 1, 0}},
                2,
                {0, 0.2, 1}},
       }) {
    SCOPED_TRACE(c.name);
    const int n = static_cast<int>(c.points.size());
    Plane plane(Point(7, 7, 7), Normal(1, 0, 0));
    EXPECT_EQ(fit(n, c.points.data(), plane), c.rank);
    EXPECT_TRUE(equivalent(plane.normal, c.normal, 1e-9))
        << plane.normal[0] << ' ' << plane.normal[1] << ' ' << plane.normal[2];
    EXPECT_EQ(plane.isValid(), c.rank > 0);
  }
}

TEST(PlaneFit, RecognizesPlanesWithinTheTolerance) {
  Plane plane;
  EXPECT_TRUE(recognizePlane(Points{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, plane, 1e-6));
  EXPECT_EQ(plane.normal, Normal(0, 0, 1));
  EXPECT_FALSE(recognizePlane(Points{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 1}}, plane, 1e-6));
  EXPECT_FALSE(recognizePlane(Points{{0, 0, 0}, {1, 0, 0}}, plane, 1));
  EXPECT_FALSE(recognizePlane(Points(5, {1, 1, 1}), plane, 1));
  EXPECT_FALSE(recognizePlane(Points{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, kNan}}, plane, 1));
  EXPECT_EQ(plane.normal, Normal(0, 0, 1)) << "unchanged";
  EXPECT_TRUE(recognizePlane(Points{{0, 0, 0}, {1, 0, 5}, {0, 1, 7}}, plane, 0))
      << "three points are taken as they are";
  // One unit off its plane; only the fourth is looked at.
  const Points bent{{-1, 0, 1}, {0, -1, -1}, {0, 1, -1}, {1, 0, 1}};
  EXPECT_FALSE(recognizePlane(bent, plane, 1));
  EXPECT_TRUE(recognizePlane(bent, plane, 1.0000001));
  EXPECT_TRUE(recognizePlane(shapes::make({{0, 0, 2}, {1, 0, 2}, {1, 1, 2}, {0, 1, 2}}, {}), plane, 1e-6));
  EXPECT_EQ(plane.eval({9, 9, 3}), 1);
  EXPECT_EQ(fit(shapes::grid(3, 3), plane), 2);
}

TEST(PlaneFit, WithEndsIsTheBestOfAllPlanesThroughBoth) {
  Plane plane;
  std::mt19937 random(1);
  std::uniform_real_distribution<double> uniform(-1, 1);
  for (std::size_t n = 3; n < 40; ++n) {
    Points points(n);
    for (Point& p : points) p = {uniform(random), uniform(random), uniform(random)};
    fitWithEndsOnPlane(static_cast<int>(n), points.data(), plane);
    EXPECT_NEAR(plane.eval(points.front()), 0, 1e-12);
    EXPECT_NEAR(plane.eval(points.back()), 0, 1e-12);
    const Normal axis(points.back() - points.front());
    const auto residual = [&](int turns) {
      const Plane other(points[0], Normal(rotate(plane.normal, axis, turns * M_PI / 20)));
      double sum = 0;
      for (const Point& p : points) sum += other.eval(p) * other.eval(p);
      return sum;
    };
    for (int i = 1; i < 20; ++i) EXPECT_LE(residual(0), residual(i) + 1e-12) << n;
  }
  const Points line{{0, 0, 0}, {1, 1, 1}, {3, 3, 3}}, loop{{1, 2, 3}, {4, 5, 6}, {1, 2, 3}};
  fitWithEndsOnPlane(3, line.data(), plane);
  EXPECT_TRUE(plane.isValid());
  for (const int n : {3, 2, 0}) {
    fitWithEndsOnPlane(n, loop.data(), plane);
    EXPECT_TRUE(plane.point == Point() && plane.normal == Normal());
  }
}

}  // namespace
}  // namespace qvGeom
