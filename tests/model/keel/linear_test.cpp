#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

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

void expectNear(const Vector& a, const Vector& b, double tol) {
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], tol) << "component " << i;
}

TEST(Linear, AngleAndCrossAreSymmetricBitForBit) {
  RandomVectors random;
  for (int i = 0; i < 200000; ++i) {
    const Vector u = random() * std::pow(10, 100 * (i % 3 - 1));
    const Vector v = i % 5 ? random() : u + 1e-9 * random();
    ASSERT_EQ(angle(u, v), angle(v, u)) << "pair " << i;
    ASSERT_EQ(cross(v, u), -cross(u, v)) << "pair " << i;
  }
}

TEST(Linear, AngleIsRightAtEveryScaleAndNeverNaN) {
  for (const double s : {1.0, 1e-60, 1e-76, 1e-85, 1e-120, 1e-200, 1e-290, 1e60, 1e120, 1e200, 1e307}) {
    for (const double r : {1.0, s}) {
      SCOPED_TRACE(testing::Message() << s << " against " << r);
      EXPECT_NEAR(angle(Vector(s, 0, 0), Vector(r, r, 0)), kPi / 4, 1e-15);
      EXPECT_NEAR(angle(Vector(0, s, 0), Vector(0, 0, -r)), kPi / 2, 1e-15);
      EXPECT_NEAR(angle(Vector(s, s, s), Vector(-r, -r, -r)), kPi, 1e-15);
      EXPECT_NEAR(angle(Vector(s, 0, 0), Vector(r, 1e-9 * r, 0)), 1e-9, 1e-20);
    }
  }
  for (const Vector& bad : {Vector(), Vector(kNan, 1, 0), Vector(kInf, 0, 0), Vector(-kInf, kInf, kNan)}) {
    EXPECT_EQ(angle(bad, Vector(1, 2, 3)), 0);
    EXPECT_EQ(angle(bad, bad), 0);
  }
}

TEST(Linear, NormalizeAndOrthogonalForEveryVector) {
  RandomVectors random;
  std::vector<Vector> vectors{
      {0, -2, 0}, {1, 1, 1}, {1e-300, 0, 1e-310}, {1e300, -1e300, 1e300}, {5e-324, 0, 0}};
  for (int i = 0; i < 1000; ++i) vectors.push_back(random() * std::pow(10, i % 601 - 300));
  for (const Vector& v : vectors) {
    SCOPED_TRACE(testing::Message() << v[0] << ' ' << v[1] << ' ' << v[2]);
    Vector unit = v;
    ASSERT_TRUE(unit.normalize());
    EXPECT_NEAR(length(unit), 1, 1e-15);
    EXPECT_NEAR(length(v.orthogonalVector()), 1, 1e-15);
    EXPECT_NEAR(dot(v.orthogonalVector(), unit), 0, 1e-15);
  }
  for (const Vector& bad : {Vector(), Vector(1, kNan, 0), Vector(kInf, 1, 0)}) {
    Vector kept = bad;
    EXPECT_FALSE(kept.normalize());
    EXPECT_TRUE(kept == bad || std::isnan(bad[1])) << "refused and unchanged";
    EXPECT_EQ(length(bad.orthogonalVector()), 1);
    EXPECT_EQ(Normal(bad), Vector());
  }
}

TEST(Linear, RotateTakesOneDirectionToTheOther) {
  RandomVectors random;
  for (int i = 0; i < 4000; ++i) {
    SCOPED_TRACE(i);
    const Normal from(i < 6 ? axisVector<double, 3>(i % 3) : random());
    // Opposite, the same, or off one of the two by 1e-17 to 1; or anything.
    const double off = i % 20 ? std::pow(10, 2 - i % 20) : 0;
    const Normal to(i % 3 == 2 ? random() : from * (i % 3 ? 1.0 : -1.0) + off * random());
    const AffineMatrix r = AffineMatrix::rotate(from, 7 * to);
    expectNear(r.apply(from), to, 1e-14);
    EXPECT_NEAR(r.determinant(), 1, 1e-14);
    for (int a = 0; a < 9; ++a)
      EXPECT_NEAR(dot(r.apply(axisVector<double, 3>(a / 3)), r.apply(axisVector<double, 3>(a % 3))),
                  a / 3 == a % 3, 1e-14);
    if (HasFailure()) return;
  }
  EXPECT_TRUE(AffineMatrix::rotate(Vector(), Vector::x).isIdentity());
  EXPECT_TRUE(AffineMatrix::rotate(Vector::x, Vector(kNan, 0, 0)).isIdentity());
  expectNear(rotate(Vector::x, Vector::z, kPi / 2), Vector::y, 1e-15);
}

AffineMatrix scale(double x, double y, double z) { return AffineMatrix::scale(x, y, z); }

AffineMatrix rows(const Vector& a, const Vector& b, const Vector& c) {
  AffineMatrix m;
  for (int i = 0; i < 9; ++i) m.m[i / 3][i % 3] = (i < 3 ? a : i < 6 ? b : c)[i % 3];
  return m;
}

TEST(Linear, InverseUndoesAndRefusesSingularMaps) {
  RandomVectors random;
  for (int i = 0; i < 300; ++i) {
    const double size = std::pow(10, i % 40 - 20);
    const AffineMatrix m = AffineMatrix::rotate(random(), random()) *
                           scale(size, -size * std::pow(10, i % 7 - 3), size * std::pow(10, -(i % 5))) *
                           AffineMatrix::translation(size * random());
    bool ok = false;
    const AffineMatrix inverse = m.inverse(&ok);
    ASSERT_TRUE(ok) << i;
    const Point p = Point() + random();
    expectNear(inverse.apply(m.apply(p)) - Point(), p - Point(), 1e-8);
  }
  for (const AffineMatrix& m :
       {scale(1, 0, 1), rows({1, 2, 3}, {4, 5, 6}, {7, 8, 9}), scale(kNan, 1, 1),
        rows({0.1, 0.2, 0.7}, {0.3, 0.6, 2.1}, {5, 1, 2}), scale(1e-320, 1, 1e-320)}) {
    bool ok = true;
    EXPECT_TRUE(m.inverse(&ok).isIdentity());
    EXPECT_FALSE(ok);
  }
}

TEST(Linear, NormalMatrixKeepsNormalsOnSurfaces) {
  RandomVectors random;
  for (int i = 0; i < 300; ++i) {
    // Mirrored every other time and of any size; t1 and t2 span a surface, and their images its image.
    const AffineMatrix m =
        AffineMatrix::rotate(random(), random()) * scale(i % 2 ? 1e6 : -1e6, 2e6, std::pow(10, i % 12));
    const Vector t1 = random(), t2 = cross(random(), t1);
    const Normal image(m.normalMatrix().apply(cross(t1, t2)));
    EXPECT_NEAR(dot(image, Normal(m.apply(t1))), 0, 1e-9) << i;
    EXPECT_NEAR(dot(image, Normal(m.apply(t2))), 0, 1e-9) << i;
    EXPECT_GT(dot(m.apply(cross(t1, t2)), image), 0) << i << ": the same side as before";
  }
  EXPECT_TRUE(scale(1e6, 1e6, 1e6).normalMatrix().isIdentity()) << "size does not come through";
  EXPECT_EQ(scale(3, 3, 0).normalMatrix(), scale(0, 0, 1));
  for (const AffineMatrix& m : {scale(0, 0, 0), scale(1, 0, 0), scale(kNan, 1, 1), scale(kInf, 1, 1)})
    EXPECT_TRUE(m.normalMatrix().isIdentity());
}

TEST(Linear, PlanesAndLinesMeetOrSaySo) {
  bool ok = false;
  const Plane floor(Point(1, 2, 3), Normal(0, 0, 5));
  const Line meet = intersect(floor, Plane(Point(4, 7, 0), Normal(2, 0, 0)), ok);
  ASSERT_TRUE(ok);
  expectNear(meet.origin - Point(), Vector(4, 2, 3), 1e-14);
  EXPECT_EQ(meet.direction, Vector(0, 1, 0));
  for (const Vector& n : {Vector(0, 0, 1), Vector(0, 0, -1), Vector(1e-9, 0, -1), Vector()}) {
    intersect(floor, Plane(Point(0, 0, 9), Normal(n)), ok);
    EXPECT_FALSE(ok);
  }
  EXPECT_FALSE(Plane(Point(), Normal()).isValid() || Plane(Point(kInf, 0, 0), Normal(1, 0, 0)).isValid());
  EXPECT_EQ(floor.eval(Point(9, 9, 5)), 2);

  const Point p(1, 1, 7);
  EXPECT_EQ(intersect(Line(p, Vector(0, 3, 2)), floor, ok, perpendicular2Tol), Point(1, -5, 3));
  EXPECT_TRUE(ok);
  for (const Vector& d : {Vector(1, 0, 0), Vector(1, 0, 0.9e-6), Vector(), Vector(kNan, 0, 1)}) {
    EXPECT_EQ(intersect(Line(p, d), floor, ok, perpendicular2Tol), p);
    EXPECT_FALSE(ok);
  }
  intersect(Line(p, Vector(1e9, 0, 1.1e3)), floor, ok, perpendicular2Tol);
  EXPECT_TRUE(ok) << "the bound is a squared cosine, whatever the length";
  EXPECT_EQ(projectParam(Point(5, 9, 9), Line(Point(1, 0, 0), Vector(8, 0, 0))), 0.5) << "in its units";
  EXPECT_EQ(projectParam(p, Line(Point(), Vector())), 0);
}

TEST(Linear, SegmentsMeetWithinTheTolerance) {
  constexpr double kTol = 1.0 / 1024, kPast = kTol * 1.01;
  struct Case {
    const char* name;
    Point2 b0, b1;
    int meets;  // 0 apart, 1 in one point, 2 along a stretch
    double t;
    Point2 a0 = {0, 0}, a1 = {4, 0};
  };
  for (const Case& c :
       {Case{"crossing", {1, -1}, {1, 1}, 1, 0.25}, Case{"beyond the edge", {5, -1}, {5, 1}, 0, 0},
        Case{"beyond the segment", {1, 2}, {1, 1}, 0, 0}, Case{"end on the edge", {3, kTol}, {3, 1}, 1, 0.75},
        Case{"end past the edge", {3, kPast}, {3, 1}, 0, 0}, Case{"ends meet", {4 + kTol, 0}, {5, 3}, 1, 1},
        Case{"ends just miss", {4 + kPast, 0}, {5, 3}, 0, 0},
        Case{"edge starts on it", {-kTol, -1}, {-kTol, 1}, 1, 0},
        Case{"collinear end to end", {4, 0}, {6, 0}, 1, 1}, Case{"collinear apart", {5, 0}, {6, 0}, 0, 0},
        Case{"overlap on the left", {-1, 0}, {1, 0}, 2, 0}, Case{"on the right", {9, 0}, {3, 0}, 2, 0.75},
        Case{"segment inside", {3, 0}, {1, 0}, 2, 0.25}, Case{"edge inside", {-1, 0}, {9, 0}, 2, 0},
        Case{"parallel", {0, kPast}, {4, kPast}, 0, 0}, Case{"NaN", {1, kNan}, {1, 1}, 0, 0},
        Case{"segment a point", {1, 0}, {1, 0}, 1, 0.25},
        Case{"edge a point", {0, 0}, {2, 0}, 1, 0, {1, 0}, {1, 0}},
        Case{"both points", {0, 0}, {0, 0}, 0, 0, {1, 0}, {1, 0}}}) {
    SCOPED_TRACE(c.name);
    for (const bool turned : {false, true}) {
      const Point2 &b0 = turned ? c.b1 : c.b0, &b1 = turned ? c.b0 : c.b1;
      double t = -1;
      Point2 point;
      bool single = false;
      ASSERT_EQ(doLineSegmentsIntersect(c.a0, c.a1, b0, b1, kTol, t, point, single), c.meets != 0);
      if (c.meets == 0) continue;
      EXPECT_EQ(single, c.meets == 1);
      EXPECT_EQ(t, c.t);
      EXPECT_EQ(point, c.a0 + t * (c.a1 - c.a0));
    }
  }
}

TEST(Linear, RangesAreClosedAtTheTolerance) {
  const Range1d r(1, 2);
  EXPECT_TRUE(r.contains(1) && r.contains(2) && r.contains(0.75, 0.25) && r.contains(2.25, 0.25));
  EXPECT_FALSE(r.contains(std::nextafter(0.75, 0), 0.25) || r.contains(std::nextafter(2.25, 3), 0.25) ||
               r.contains(kNan, 9));
  const Range2d square = Range2d::unitSquare;
  EXPECT_TRUE(square.contains({1.5, -0.5}, 0.5));
  EXPECT_FALSE(square.contains({1.5, -0.6}, 0.5) || square.contains({kNan, 0.5}, 9));
  EXPECT_EQ(square.width() * square.height(), 1);

  EXPECT_EQ(intersect(Range1d(0, 3), Range1d(1, 9), 0).size(), 2);
  EXPECT_EQ(intersect(Range1d(0, 3), Range1d(3, 9), 0).size(), 0);
  EXPECT_TRUE(intersect(Range1d(0, 3), Range1d(4, 9), 0.5).isEmpty());
  EXPECT_EQ(intersect(Range1d(0, 3), Range1d(4, 9), 1).min, 3.5);

  Range1d grown;
  EXPECT_EQ(grown.size(), 0) << "empty by default";
  grown.unite(kNan);
  grown.unite(Range1d());
  EXPECT_TRUE(grown.isEmpty());
  grown.unite(Range1d(5, 6));
  grown.unite(Range1d(9, 1));
  EXPECT_EQ(grown.min, 5);
  EXPECT_EQ(grown.max, 6);
}

}  // namespace
}  // namespace qvLinear
