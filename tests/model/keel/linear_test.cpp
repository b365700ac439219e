#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <random>

#include "geom/model/keel/lines.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/ranges.h"
#include "geom/model/keel/vectors.h"

namespace qvLinear {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kInf = std::numeric_limits<double>::infinity();
const double kNan = std::nan("");

// Components in [-1, 1), the same in every run.
struct RandomVectors {
  Vector operator()() { return {uniform(engine), uniform(engine), uniform(engine)}; }
  std::mt19937_64 engine{1};
  std::uniform_real_distribution<double> uniform{-1, 1};
};

TEST(Linear, AngleIsSymmetricAndRightAtEveryScale) {
  RandomVectors random;
  for (int i = 0; i < 200000; ++i) {
    const Vector u = random() * std::pow(10, 100 * (i % 3 - 1));
    const Vector v = i % 5 ? random() : u + 1e-9 * random();
    ASSERT_EQ(angle(u, v), angle(v, u)) << "pair " << i;
    ASSERT_EQ(cross(v, u), -cross(u, v)) << "pair " << i;
  }
  for (const double s : {1.0, 1e-60, 1e-76, 1e-85, 1e-120, 1e-200, 1e-290, 1e60, 1e120, 1e200, 1e307})
    for (const double r : {1.0, s}) {
      EXPECT_NEAR(angle(Vector(s, 0, 0), Vector(r, r, 0)), kPi / 4, 1e-15) << s << " against " << r;
      EXPECT_NEAR(angle(Vector(s, s, s), Vector(-r, -r, -r)), kPi, 1e-15) << s << " against " << r;
      EXPECT_NEAR(angle(Vector(s, 0, 0), Vector(r, 1e-9 * r, 0)), 1e-9, 1e-20) << s << " against " << r;
    }
  for (const Vector& bad : {Vector(), Vector(kNan, 1, 0), Vector(kInf, 0, 0), Vector(-kInf, kInf, kNan)})
    EXPECT_TRUE(angle(bad, Vector(1, 2, 3)) == 0 && angle(bad, bad) == 0);
}

TEST(Linear, NormalizeAndOrthogonalForEveryVector) {
  RandomVectors random;
  for (int i = 0; i < 1000; ++i) {
    const Vector v = i ? random() * std::pow(10, i % 601 - 300) : Vector(5e-324, 0, 0);
    Vector unit = v;
    ASSERT_TRUE(unit.normalize()) << i;
    ASSERT_NEAR(length(unit), 1, 1e-15) << i;
    ASSERT_NEAR(length(v.orthogonalVector()), 1, 1e-15) << i;
    ASSERT_NEAR(dot(v.orthogonalVector(), unit), 0, 1e-15) << i;
  }
  for (Vector bad : {Vector(), Vector(1, kNan, 0), Vector(kInf, 1, 0)}) {
    EXPECT_TRUE(length(bad.orthogonalVector()) == 1 && Normal(bad) == Vector());
    const double x = bad[0];
    EXPECT_TRUE(!bad.normalize() && bad[0] == x) << "refused and unchanged";
  }
}

TEST(Linear, RotateTakesOneDirectionToTheOther) {
  RandomVectors random;
  for (int i = 0; i < 4000; ++i) {
    const Normal from(i < 6 ? axisVector<double, 3>(i % 3) : random());
    // Opposite, the same, or off one of the two by 1e-17 to 1; or anything.
    const double off = i % 20 ? std::pow(10, 2 - i % 20) : 0;
    const Normal to(i % 3 == 2 ? random() : from * (i % 3 ? 1.0 : -1.0) + off * random());
    const AffineMatrix r = AffineMatrix::rotate(from, 7 * to);
    ASSERT_LE(length(r.apply(from) - to), 1e-14) << i;
    ASSERT_NEAR(r.determinant(), 1, 1e-14) << i;
    const Vector u = random(), v = random();
    ASSERT_NEAR(dot(r.apply(u), r.apply(v)), dot(u, v), 1e-14) << i;
  }
  for (const Vector& bad : {Vector(), Vector(kNan, 0, 0)})
    EXPECT_TRUE(AffineMatrix::rotate(bad, Vector::x).isIdentity());
  EXPECT_LE(length(rotate(Vector::x, Vector::z, kPi / 2) - Vector::y), 1e-15);
}

AffineMatrix scale(double x, double y, double z) { return AffineMatrix::scale(x, y, z); }

TEST(Linear, InverseUndoesAndNormalsStayOnTheirSurfaces) {
  RandomVectors random;
  for (int i = 0; i < 600; ++i) {
    const double size = std::pow(10, i % 40 - 20);
    const AffineMatrix m =
        AffineMatrix::rotate(random(), random()) *
        scale(i % 2 ? size : -size, size * std::pow(10, i % 7 - 3), size * std::pow(10, -(i % 5))) *
        AffineMatrix::translation(size * random());
    bool ok = false;
    const Point p = Point() + random();
    ASSERT_LE(distance(m.inverse(&ok).apply(m.apply(p)), p), 1e-8) << i;
    ASSERT_TRUE(ok) << i;
    const Vector tangent = random(), normal = cross(random(), tangent);
    const Normal image(m.normalMatrix().apply(normal));
    ASSERT_NEAR(dot(image, Normal(m.apply(tangent))), 0, 1e-9) << i;
    ASSERT_GT(dot(m.apply(normal), image), 0) << i << ": the same side as before";
  }
  AffineMatrix flat;  // singular up to rounding
  for (int i = 0; i < 9; ++i) flat.m[i / 3][i % 3] = std::array{0.1, 0.2, 0.7, 0.3, 0.6, 2.1, 5., 1., 2.}[i];
  for (const AffineMatrix& m : {scale(1, 0, 1), scale(kNan, 1, 1), flat, scale(1e-320, 1, 1e-320)}) {
    bool ok = true;
    EXPECT_TRUE(m.inverse(&ok).isIdentity() && !ok);
  }
  EXPECT_EQ(scale(3, 3, 0).normalMatrix(), scale(0, 0, 1));
  for (const AffineMatrix& m : {scale(1e6, 1e6, 1e6), scale(1, 0, 0), scale(kNan, 1, 1), scale(kInf, 1, 1)})
    EXPECT_TRUE(m.normalMatrix().isIdentity());
}

TEST(Linear, PlanesAndLinesMeetOrSaySo) {
  bool ok = false;
  const Plane floor(Point(1, 2, 3), Normal(0, 0, 5));
  const Line meet = intersect(floor, Plane(Point(4, 7, 0), Normal(2, 0, 0)), ok);
  EXPECT_TRUE(ok && meet.direction == Vector(0, 1, 0));
  EXPECT_LE(distance(meet.origin, Point(4, 2, 3)), 1e-14);
  for (const Vector& n : {Vector(0, 0, 1), Vector(1e-9, 0, -1), Vector()})
    EXPECT_TRUE((intersect(floor, Plane(Point(0, 0, 9), Normal(n)), ok), !ok));
  const Point p(1, 1, 7);
  EXPECT_EQ(intersect(Line(p, Vector(0, 3, 2)), floor, ok, perpendicular2Tol), Point(1, -5, 3));
  for (const Vector& d : {Vector(1, 0, 0), Vector(1, 0, 0.9e-6), Vector(), Vector(kNan, 0, 1)})
    EXPECT_TRUE(intersect(Line(p, d), floor, ok, perpendicular2Tol) == p && !ok);
  intersect(Line(p, Vector(1e9, 0, 1.1e3)), floor, ok, perpendicular2Tol);
  EXPECT_TRUE(ok) << "the bound is a squared cosine, whatever the length";
  EXPECT_EQ(projectParam(Point(5, 9, 9), Line(Point(1, 0, 0), Vector(8, 0, 0))), 0.5) << "in its units";
}

TEST(Linear, SegmentsMeetWithinTheTolerance) {
  constexpr double kTol = 1.0 / 1024, kPast = kTol * 1.01;
  struct Case {
    double b[4];
    int meets;  // the segment from (0, 0) to (a, 0): 0 nowhere, 1 in one point, 2 along a stretch
    double t, a = 4;
  };
  for (const Case& c :
       {Case{{1, -1, 1, 1}, 1, 0.25}, Case{{5, -1, 5, 1}, 0, 0}, Case{{3, kTol, 3, 1}, 1, 0.75},
        Case{{3, kPast, 3, 1}, 0, 0}, Case{{4 + kTol, 0, 5, 3}, 1, 1}, Case{{4 + kPast, 0, 5, 3}, 0, 0},
        Case{{-kTol, -1, -kTol, 1}, 1, 0}, Case{{0, kPast, 4, kPast}, 0, 0}, Case{{4, 0, 6, 0}, 1, 1},
        Case{{5, 0, 6, 0}, 0, 0}, Case{{-1, 0, 1, 0}, 2, 0}, Case{{9, 0, 3, 0}, 2, 0.75},
        Case{{3, 0, 1, 0}, 2, 0.25}, Case{{-1, 0, 9, 0}, 2, 0}, Case{{1, 0, 1, 0}, 1, 0.25},
        Case{{-1, 0, 1, 0}, 1, 0, 0}, Case{{1, 0, 1, 0}, 0, 0, 0}, Case{{1, kNan, 1, 1}, 0, 0}}) {
    SCOPED_TRACE(testing::PrintToString(c.b));
    for (const int turn : {0, 2}) {
      double t = -1;
      Point2 point;
      bool single = false;
      const Point2 a1(c.a, 0), b0(c.b[turn], c.b[turn + 1]), b1(c.b[2 - turn], c.b[3 - turn]);
      ASSERT_EQ(doLineSegmentsIntersect({0, 0}, a1, b0, b1, kTol, t, point, single), c.meets != 0);
      EXPECT_TRUE(!c.meets || (single == (c.meets == 1) && t == c.t && point == Point2(t * c.a, 0))) << t;
    }
  }
}

TEST(Linear, RangesAreClosedAtTheTolerance) {
  Range1d r;
  for (const Range1d& other : {Range1d(), Range1d(1, 2), Range1d(9, 1)}) r.unite(other);
  r.unite(kNan);
  EXPECT_TRUE(r.contains(1) && r.contains(0.75, 0.25) && r.contains(2.25, 0.25) && !r.contains(kNan, 9));
  EXPECT_FALSE(r.contains(std::nextafter(0.75, 0), 0.25) || r.contains(std::nextafter(2.25, 3), 0.25));
  EXPECT_TRUE(intersect(r, Range1d(3, 9), 0.5).isEmpty());
  EXPECT_EQ(intersect(r, Range1d(3, 9), 1).min, 2.5);
}

}  // namespace
}  // namespace qvLinear
