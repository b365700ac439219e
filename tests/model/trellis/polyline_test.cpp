#include "geom/model/trellis/polyline.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::Point2;

TEST(Polyline, EvaluatesByEdgeNumberAndFraction) {
  Polyline line;
  EXPECT_EQ(line.eval(3), Point());
  line.append(Point(1, 2, 3), 10);
  for (const double t : {-1.0, 0.0, 0.5, 1e300}) EXPECT_EQ(line.eval(t), Point(1, 2, 3)) << t;
  line.append(Point(3, 2, 3), 20);
  line.append(Point(3, -6, 3), 50);
  for (const auto& [t, x, y] : {std::array{0.25, 1.5, 2.},
                                {1, 3, 2},
                                {1.5, 3, -2},
                                {2, 3, -6},
                                {-0.5, 1, 2},
                                {1e300, 3, -6},
                                {NAN, 1, 2},
                                {std::nextafter(2., 0.), 3, -6}})
    EXPECT_LE(distance(line.eval(t), Point(x, y, 3)), 1e-12) << "t = " << t;
}

TEST(Polyline, AnOutlineComesBackToItsStart) {
  Polyline2d outline;
  for (const Point2& p : {Point2(0, 0), Point2(4, 0), Point2(0.1, 0)}) outline.append(p, 0);
  EXPECT_FALSE(outline.isOutline(100)) << "three vertices bound nothing, however near";
  outline.append(Point2(0.25, 0), 0);
  EXPECT_TRUE(outline.isOutline(0.25) && !outline.isOutline(std::nextafter(0.25, 0.0)));
}

}  // namespace
}  // namespace qvGeom
