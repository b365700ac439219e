#include "geom/model/trellis/polyline.h"

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
  EXPECT_EQ(line.eval(1), Point(3, 2, 3));
  line.append(Point(3, -6, 3), 50);
  struct Case {
    double t;
    Point expected;
  };
  for (const Case& c :
       {Case{0.25, {1.5, 2, 3}}, Case{1, {3, 2, 3}}, Case{1.5, {3, -2, 3}}, Case{2, {3, -6, 3}},
        Case{-0.5, {1, 2, 3}}, Case{1e300, {3, -6, 3}}, Case{NAN, {1, 2, 3}}})
    EXPECT_EQ(line.eval(c.t), c.expected) << "t = " << c.t;
  EXPECT_NEAR(line.eval(std::nextafter(2.0, 0.0))[1], -6, 1e-12);
  EXPECT_TRUE(line.getBoundingBox().contains(Point(1, -6, 3)));
  EXPECT_FALSE(line.getBoundingBox().contains(Point(1, 3, 3), 0.5));
  line.clear();
  EXPECT_TRUE(line.getBoundingBox().isEmpty());
}

TEST(Polyline, AnOutlineComesBackToItsStart) {
  Polyline2d outline;
  for (const Point2& p : {Point2(0, 0), Point2(4, 0), Point2(0, 3)}) outline.append(p, 0);
  EXPECT_FALSE(outline.isOutline(100)) << "three vertices bound nothing, however near";
  outline.append(Point2(0.25, 0), 0);
  EXPECT_TRUE(outline.isOutline(0.25));
  EXPECT_FALSE(outline.isOutline(std::nextafter(0.25, 0.0)));
  outline.append(Point2(NAN, 0), 0);
  EXPECT_FALSE(outline.isOutline(100));
}

}  // namespace
}  // namespace qvGeom
