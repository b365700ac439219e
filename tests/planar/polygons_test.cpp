#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "geom/planar/point_in_polygon.h"
#include "geom/planar/point_in_triangle.h"
#include "geom/planar/polygon_intersect.h"
#include "geom/planar/polygon_sector.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::Point2;
using qvLinear::Point2Flt;
using qvLinear::Vector2;
using Points = qv::vector<Point2>;

const double kNan = std::numeric_limits<double>::quiet_NaN();

Polyline2d closed(const Points& points) {
  Polyline2d line;
  for (const Point2& p : points) line.append(p, 0);
  if (!points.empty()) line.append(points[0], 0);
  line.setClosed(true);
  return line;
}
Points square(double x, double y, double size = 1) {
  return {{x, y}, {x + size, y}, {x + size, y + size}, {x, y + size}};
}
Points verticesOf(const Polyline2d& line) {
  Points points;
  for (int i = 0; i + 1 < line.getNumVertices(); ++i) points.push_back(line.getVertex(i));
  return points;
}
double cross2(const Vector2& a, const Vector2& b) { return a[0] * b[1] - a[1] * b[0]; }
double areaOf(const Points& p) {
  double sum = 0;
  for (std::size_t i = 1; i + 1 < p.size(); ++i) sum += cross2(p[i] - p[0], p[i + 1] - p[0]) / 2;
  return sum;
}
// What lies left of a line.
Points clip(const Points& in, const Point2& o, const Vector2& d) {
  Points out;
  for (std::size_t i = 0; i < in.size(); ++i) {
    const Point2& a = in[i];
    const Point2& b = in[(i + 1) % in.size()];
    const double sa = cross2(d, a - o), sb = cross2(d, b - o);
    if (sa >= 0) out.push_back(a);
    if ((sa >= 0) != (sb >= 0)) out.push_back(a + sa / (sa - sb) * (b - a));
  }
  return out;
}
int relationOf(const Point2& p, const Points& ring, double tolerance) {
  pointPolygonRelation relation = kPointNotClassified;
  return isPointInPolygon(p, ring, relation, tolerance), relation;
}
int relationOf(const Point2& p, const Polyline2d& line, double tolerance) {
  pointPolygonRelation relation = kPointNotClassified;
  return intersectPointWithPolygon(p, line, relation, tolerance), relation;
}
Points randomConvex(std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(0, 1);
  const int n = 3 + static_cast<int>(random() % 6);
  const Point2 centre(uniform(random), uniform(random));
  Points points;
  for (int i = 0; i < n; ++i) {
    const double turn = 2 * M_PI * (i + 0.8 * uniform(random)) / n;
    points.push_back({centre[0] + std::cos(turn), centre[1] + 0.7 * std::sin(turn)});
  }
  return points;
}

// Half the polygons have small whole coordinates: the test's ray runs through vertices and along edges.
TEST(PointInPolygon, AgreesWithTheWindingNumber) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto next = [&] {
      return static_cast<double>(seed % 2 ? random() % 5 * 1024 : random() % 4096) / 1024;
    };
    Polyline2d open;
    Points ring(3 + random() % 9);
    std::vector<float> flat;
    for (Point2& p : ring) open.append(p = {next(), next()}, 0);
    const Polyline2d loop = closed(ring);
    const int n = open.getNumVertices();
    ring.push_back(ring[0]);
    for (const Point2& p : ring)
      flat.insert(flat.end(), {static_cast<float>(p[0]), static_cast<float>(p[1])});
    for (int q = 0; q < 50; ++q) {
      const Point2 p(next(), next());
      double turn = 0;
      bool near = false;
      for (int i = 0; i < n; ++i) {
        const Vector2 a = ring[i] - p, b = ring[i + 1] - p;
        turn += std::atan2(cross2(a, b), dot(a, b));
        near = near || isPointOnEdge(ring[i], ring[i + 1], p, 1e-3);
      }
      if (near) continue;
      const int expected = std::lround(turn / (2 * M_PI)) % 2 != 0 ? kPointInside : kPointOutside;
      ASSERT_EQ(relationOf(p, ring, 1e-6), expected);
      for (const Polyline2d& line : {open, loop}) ASSERT_EQ(relationOf(p, line, 1e-6), expected);
      // Between the heights of vertices, which mislead this one.
      const float pf[] = {static_cast<float>(p[0]), static_cast<float>(p[1] + 1.0 / 4096)};
      const bool inside = pointPolygonIntersect2D(pf, reinterpret_cast<const float(*)[2]>(flat.data()), n);
      ASSERT_EQ(inside, expected == kPointInside);
    }
  }
}

TEST(PointInPolygon, BoundaryAndDegenerateInput) {
  constexpr double kTol = 1.0 / 1024;
  Points ring = square(0, 0, 4);
  const Polyline2d line = closed(ring);
  ring.push_back(ring[0]);
  for (const auto& [p, tolerance, relation] : {std::tuple{Point2(0, 0), kTol, 1},
                                               {Point2(4, 4), kTol, 1},
                                               {Point2(2, 2), kTol, 0},
                                               {Point2(2, 4), kTol, 1},
                                               {Point2(2, 4 + 2 * kTol), kTol, 2},
                                               {Point2(2, 4 + kTol / 2), kTol, 1},
                                               {Point2(4 + kTol, 2), kTol, 2},
                                               {Point2(4 + kTol / 2, 4 + kTol / 2), kTol, 1},
                                               {Point2(2, 2), 0., 0},
                                               {Point2(kNan, 2), kTol, 2}}) {
    EXPECT_EQ(relationOf(p, ring, tolerance), relation) << p[0] << " " << p[1];
    EXPECT_EQ(relationOf(p, line, tolerance), relation) << p[0] << " " << p[1];
    EXPECT_EQ(relationOf(p, Points{}, tolerance), 2);
    EXPECT_EQ(relationOf(p, Points{p}, tolerance), 2);
  }
  EXPECT_TRUE(isPointOnEdge({1, 1}, {1, 1}, {1, 1 + kTol}, kTol));
  EXPECT_FALSE(isPointOnEdge({1, 1}, {1, 1}, {1, 1 + 2 * kTol}, kTol));
  EXPECT_TRUE(isPointOnEdge({0, 0}, {4, 0}, {4 + kTol, 0}, kTol)) << "inclusive past the end";
  EXPECT_FALSE(isPointOnEdge({0, 0}, {4, 0}, {2, kTol}, kTol)) << "exclusive aside";
  const float flat[][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
  const float onTop[] = {0.5f, 1}, beside[] = {1.5f, 1};
  EXPECT_TRUE(pointPolygonIntersect2D(onTop, flat, 4) && !pointPolygonIntersect2D(beside, flat, 4));
  EXPECT_FALSE(pointPolygonIntersect2D(onTop, flat, 2));
}

TEST(PointInTriangle, SolvesForBothWeights) {
  const Point2Flt a(0, 0), east(1, 0), north(0, 1);
  float s = 7, t = 7;
  EXPECT_TRUE(isPointInTriangleInclusive({0.25f, 0.5f}, a, east, north, s, t) && s == 0.5f && t == 0.25f);
  EXPECT_TRUE(isPointInTriangleInclusive({0.25f, 0.5f}, a, north, east, s, t) && s == 0.25f && t == 0.5f);
  for (const auto& [x, y, inside] : {std::tuple{1.f, 0.f, true},
                                     {0.5f, 0.5f, true},
                                     {0.625f, 0.5f, false},
                                     {-0.125f, 0.5f, false},
                                     {0.5f, -0.125f, false}}) {
    EXPECT_EQ(isPointInTriangleInclusive({x, y}, a, east, north, s, t), inside);
    EXPECT_EQ(isPointInTriangleDefinitive({x, y}, a, east, north, s, t), inside);
  }
  for (const auto& [b, c] : {std::pair{a, a}, {Point2Flt(1, 1), Point2Flt(2, 2)}, {a, east}}) {
    EXPECT_TRUE(!isPointInTriangleInclusive(a, a, b, c, s, t) && s == 0 && t == 0);
    EXPECT_TRUE(!isPointInTriangleDefinitive(a, a, b, c, s, t) && s == 0.33333334f && t == s);
  }
  EXPECT_TRUE(isPointInTriangleInclusive(a, a, {1e-4f, 0}, {0, 1e-4f}, s, t));
  EXPECT_FALSE(isPointInTriangleDefinitive(a, a, {1e-4f, 0}, {0, 1e-4f}, s, t)) << "area below the tolerance";
  EXPECT_FALSE(isPointInTriangleInclusive({3e38f, 3e38f}, a, {1e-4f, 0}, {0, 1e-4f}, s, t));
  EXPECT_TRUE(std::isfinite(s) && std::isfinite(t));
}

TEST(PointInTriangle, InSpaceAllowsForAHundredThousandthOfTheArea) {
  const Point a(0, 0, 2), b(2, 0, 2), c(0, 2, 2);
  for (const auto& [x, y, inside] : {std::tuple{0.5, 0.5, true},
                                     {0., 0., true},
                                     {1., 0., true},
                                     {0.5, -1.9e-5, true},
                                     {0.5, -2.1e-5, false},
                                     {1.5, 1.5, false},
                                     {kNan, 0., false}})
    for (const bool turned : {false, true})
      EXPECT_EQ(isPointInTriangleInclusive({x, y, 2}, a, turned ? c : b, turned ? b : c), inside)
          << x << " " << y;
  EXPECT_FALSE(isPointInTriangleInclusive(a, a, b, b));
  EXPECT_TRUE(isPointInTriangleInclusive({0.5, -1.5e-4, 2}, a, b, c, {0, 0, 20})) << "ten times the area";
}

TEST(SegmentAndPolygon, OneResultForEachWayToLie) {
  // A comb with a tooth gap from the right, for more than two contacts.
  const Polyline2d comb = closed({{0, 0}, {4, 0}, {4, 1}, {1, 1}, {1, 3}, {4, 3}, {4, 4}, {0, 4}});
  struct Case {
    Point2 a, b;
    int result;
    std::size_t points;
    double param;
  };
  for (const Case& c :
       {Case{{5, 0}, {5, 4}, 1, 0, 0}, Case{{0.5, 1}, {0.5, 3}, 2, 0, 0}, Case{{0.5, 2}, {2, 2}, 3, 1, 3.5},
        Case{{-1, 2}, {2, 2}, 3, 2, 3.5}, Case{{4, 0}, {5, -1}, 4, 1, 0 + 1}, Case{{-1, 1}, {1, -1}, 4, 1, 0},
        Case{{1, 0}, {2, 0}, 5, 0, 0.25}, Case{{4, 1}, {5, 1}, 4, 1, 2}, Case{{3, -1}, {3, 5}, 0, 4, 0.75},
        Case{{0, 2}, {0, 2}, 0, 1, 7.5}}) {
    SCOPED_TRACE(testing::Message() << c.a[0] << " " << c.a[1]);
    ELineSegmentPolygonIntersection result{};
    Points points(9);
    qv::vector<double> params(9);
    testing::internal::CaptureStdout();
    intersectLineSegmentWithPolygon(c.a, c.b, comb, result, points, params, 1e-9);
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(result, c.result);
    EXPECT_EQ(points.size(), c.points);
    ASSERT_EQ(params.size(), c.result == kSegmentOverlaps ? 1 : c.points);
    EXPECT_TRUE(params.empty() || std::count(params.begin(), params.end(), c.param)) << params[0];
    for (std::size_t i = 0; i < points.size(); ++i)
      EXPECT_LE(distance(points[i], comb.eval(params[i])), 1e-12);
    const char* rows =
        "Too many intersection points!\npolygon:\nintersectionPoint[0]: (3.000000, 0.000000)\n"
        "intersectionPoint[1]: (3.000000, 1.000000)\nintersectionPoint[2]: (3.000000, 3.000000)\n"
        "intersectionPoint[3]: (3.000000, 4.000000)\n";
    EXPECT_EQ(printed, c.points <= 2 ? "" : rows);
  }
}

TEST(Polygons, RelationAndCommonOutline) {
  struct Case {
    Points b;
    int result, exchanged;
    double area;
  };
  const Polyline2d a = closed(square(0, 0));
  for (const Case& c :
       {Case{square(0.5, 0.5), 5, 5, 0.25}, Case{square(0, 0), 4, 4, 1},
        Case{square(0.25, 0.25, 0.5), 2, 3, 0.25}, Case{square(-1, -1, 3), 3, 2, 1},
        Case{square(2, 0), 1, 1, 0}, Case{square(1, 1), 1, 1, 0}, Case{square(0.5, 0), 5, 5, 0.5},
        Case{square(0, 0.5), 5, 5, 0.5}, Case{{{0, 0}, {1, 0}, {2, 0}}, 0, 0, -1},
        Case{{{0, 0}, {1, 1}}, 0, 0, -1}, Case{{{kNan, 0}, {kNan, 1}, {kNan, 2}}, 0, 0, -1}}) {
    SCOPED_TRACE(testing::Message() << c.b[0][0] << " " << c.b[0][1] << " " << c.result);
    for (const bool exchange : {false, true}) {
      const Polyline2d b = closed(c.b);
      EPolygonsIntersection result{};
      Polyline2d out;
      out.append({9, 9}, 9);
      intersectPolygons(exchange ? b : a, exchange ? a : b, result, out, 1e-6);
      EXPECT_EQ(result, exchange ? c.exchanged : c.result);
      EXPECT_EQ(out.getNumVertices(), c.area < 0 ? 1 : c.area > 0 ? 5 : 0) << "1 when untouched";
      EXPECT_NEAR(areaOf(verticesOf(out)), std::max(c.area, 0.0), 1e-12);
    }
  }
}

TEST(Polygons, ConvexOverlapsHaveTheAreaOfTheClippedPolygon) {
  int overlaps = 0;
  for (unsigned seed = 0; seed < 500; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const Points a = randomConvex(random), b = randomConvex(random);
    Points common = a;
    for (std::size_t i = 0; i < b.size(); ++i) common = clip(common, b[i], b[(i + 1) % b.size()] - b[i]);
    EPolygonsIntersection result{};
    Polyline2d out;
    intersectPolygons(closed(a), closed(b), result, out, 1e-9);
    EXPECT_NEAR(areaOf(verticesOf(out)), areaOf(common), 1e-5);
    overlaps += result == kPolygonsOverlap;
  }
  EXPECT_GT(overlaps, 200);
}

TEST(Sector, PlacesPoints) {
  const Point2 apex(10, 20);
  const Vector2 east(2, 0), north(0, 3), west(-1, 0), south(0, -1);
  for (const auto& [d0, d1, expected] : {std::tuple{east, north, "323113"},
                                         {north, east, "313223"},
                                         {east, west, "322313"},
                                         {east, east, "311113"},
                                         {east, Vector2(), "000000"},
                                         {Vector2(kNan, 0), east, "000000"}}) {
    std::string found;
    for (const Vector2& w : {east, east + north, north, west, south, Vector2()}) {
      EPointSectorIntersection result{};
      isPointInsideSector(apex + w, apex, d0, d1, result, 1e-9);
      found += static_cast<char>('0' + result);
    }
    EXPECT_EQ(found, expected);
  }
}

TEST(Sector, CommonPartOfConvexPolygons) {
  int overlaps = 0;
  for (unsigned seed = 0; seed < 500; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const Points polygon = randomConvex(random);
    std::uniform_real_distribution<double> uniform(-1, 2);
    const Point2 apex(uniform(random), uniform(random));
    Vector2 d0(uniform(random) - 0.5, uniform(random) - 0.5),
        d1(uniform(random) - 0.5, uniform(random) - 0.5);
    // From outside, a wide sector may leave a polygon in one piece with a notch that has no apex.
    if (relationOf(apex, closed(polygon), 1e-9) == kPointOutside && cross2(d0, d1) < 0) std::swap(d0, d1);
    const bool wide = cross2(d0, d1) < 0;
    const Points wedge =
        wide ? clip(clip(polygon, apex, d1), apex, -d0) : clip(clip(polygon, apex, d0), apex, -d1);
    const double area = wide ? areaOf(polygon) - areaOf(wedge) : areaOf(wedge);
    ESectorPolygonIntersection result{};
    Polyline2d out;
    isSectorPolygonIntersect(apex, d0, d1, closed(polygon), result, out, 1e-9);
    EXPECT_NEAR(areaOf(verticesOf(out)), area, 1e-9);
    EXPECT_EQ(result, area > 0 ? kSectorPolygonOverlap : kSectorPolygonDisjoint);
    overlaps += area > 0;
    for (int i = 0; i < out.getNumVertices(); ++i) EXPECT_EQ(out.getParameter(i), i + 1);
  }
  EXPECT_GT(overlaps, 200);
}

TEST(Sector, RefusesAndTouches) {
  const Polyline2d unit = closed(square(0, 0)), flat = closed({{0, 0}, {1, 0}, {2, 0}});
  const Vector2 east(1, 0), north(0, 1);
  for (const auto& [apex, d0, polygon, expected] : {std::tuple{0., Vector2(), &unit, 1},
                                                    {0., Vector2(kNan, 0), &unit, 1},
                                                    {0., east, &flat, 2},
                                                    {2., east, &unit, 3},
                                                    {1., east, &unit, 5},
                                                    {0.5, north, &unit, 5}}) {
    ESectorPolygonIntersection result{};
    Polyline2d out = flat;
    isSectorPolygonIntersect({apex, apex}, d0, north, *polygon, result, out, 1e-9);
    EXPECT_EQ(result, expected);
    EXPECT_EQ(out.getVertex(2), Point2(2, 0)) << "untouched";
  }
}

}  // namespace
}  // namespace qvGeom
