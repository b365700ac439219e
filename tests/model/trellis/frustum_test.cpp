#include "geom/model/trellis/frustum.h"

#include <cmath>
#include <gtest/gtest.h>

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::Vector;

// The corners that each plane has to pass through, in the order of the planes.
constexpr int kFaceCorners[6][4] = {{0, 1, 2, 3}, {4, 5, 6, 7}, {0, 1, 4, 5},
                                    {1, 2, 5, 6}, {2, 3, 6, 7}, {3, 0, 7, 4}};

struct Corners {
  Point at[8];
};

// Squares about the z axis: the near one at z = 1, the far one `depth` behind it.
Corners view(double nearHalf, double farHalf, double depth) {
  Corners c;
  for (int i = 0; i < 8; ++i) {
    const double half = i < 4 ? nearHalf : farHalf;
    c.at[i] = {i % 4 == 1 || i % 4 == 2 ? half : -half, i % 4 >= 2 ? half : -half, i < 4 ? 1 : 1 + depth};
  }
  return c;
}

bool isInside(const Frustum& f, const Point& p) {
  bool inside = true;
  for (int i = 0; i < Frustum::kNumPlanes; ++i) inside = inside && !isAbove(p, f.plane(i), 1e-12);
  return inside;
}

TEST(Frustum, PlanesFaceOutwardWhicheverWayRoundTheCornersAreGiven) {
  for (const Corners& c : {view(1, 1, 3), view(1, 10, 9), view(1e-6, 1e-3, 1e4)})
    for (const double mirror : {1, -1}) {
      Point corners[8];
      for (int i = 0; i < 8; ++i) corners[i] = {mirror * c.at[i][0], c.at[i][1], c.at[i][2]};
      const Frustum f(corners);
      for (int i = 0; i < Frustum::kNumPlanes; ++i) {
        EXPECT_NEAR(length2(f.plane(i).normal), 1, 1e-12);
        EXPECT_LT(f.plane(i).eval(f.getRay().eval(0.5)), 0) << "plane " << i;
        for (const int corner : kFaceCorners[i])
          EXPECT_NEAR(f.plane(i).eval(f.corner(corner)), 0, 1e-11) << i;
      }
      EXPECT_TRUE(f.getVector() == Vector::z && f.getRay().origin == Point(0, 0, 1));
    }
  Corners warped = view(1, 2, 3);
  for (Point& moved : warped.at) {
    moved += Vector(0.2, -0.1, 0.3);
    const Frustum f(warped.at);
    for (int i = 0; i < Frustum::kNumPlanes; ++i)
      for (const int corner : kFaceCorners[i]) EXPECT_LE(f.plane(i).eval(f.corner(corner)), 1e-12) << i;
  }
}

TEST(Frustum, FacesThatSpanNoPlaneBoundNothing) {
  const Frustum tip(view(0, 5, 5).at), sheet(view(2, 2, 0).at);
  EXPECT_EQ(length2(tip.plane(0).normal), 0);
  EXPECT_TRUE(isInside(tip, Point(0, 4, 5.5)));
  EXPECT_FALSE(isInside(tip, Point(0, 0, 0.9))) << "the sides meet in the tip";
  EXPECT_EQ(sheet.getVector(), Vector());
  EXPECT_TRUE(isInside(sheet, Point(1, 1, 1)));
  EXPECT_FALSE(isInside(sheet, Point(1, 1, 1.1)) || isInside(sheet, Point(1, 1, 0.9)));

  Corners line;
  for (int i = 0; i < 8; ++i) line.at[i] = {0.1 * i, 0.3 * i, 0.7 * i};
  const Frustum thread(line.at);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(length2(thread.plane(i).normal), 0) << "rounding gives no direction";
  for (const double bad : {double{NAN}, double{INFINITY}, 1e308}) {
    line = view(1, 2, 3);
    line.at[2][0] = bad;
    const Frustum f(line.at);
    for (int i = 0; i < 6; ++i) EXPECT_LT(length2(f.plane(i).normal), 1.1) << "unit or zero, never NaN";
    EXPECT_LT(length2(f.getVector()), 1.1);
  }
}

}  // namespace
}  // namespace qvGeom
