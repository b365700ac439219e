#include "geom/spatial/ray.h"

#include <array>
#include <gtest/gtest.h>
#include <limits>

#include "geom/model/keel/tolerances.h"
#include "geom/model/trellis/mesh_coord.h"
#include "geom/spatial/circle_intersect.h"
#include "geom/spatial/frustum_picking.h"
#include "geom/spatial/quad_ray.h"
#include "geom/spatial/ray_tracer.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/spatial.h"

namespace qvGeom {
namespace {

using qvLinear::Normal;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;
using qvLinear::VectorFlt;

constexpr float kLargest = std::numeric_limits<float>::max();

TEST(RayTriangle, HitsBothSidesAndKeepsItsDistances) {
  const float p0[] = {0, 0, 0}, p1[] = {1, 0, 0}, p2[] = {0, 1, 0};
  struct Case {
    float origin[3];
    double dir[3];
    bool both, front;
    double t;
  };
  for (const Case& c :
       {Case{{0.25f, 0.25f, 1}, {0, 0, -2}, true, true, 0.5},
        Case{{0.25f, 0.25f, -1}, {0, 0, 1}, true, false, 1},
        Case{{0.25f, 0.25f, -1e-7f}, {0, 0, 1}, false, false, 0},
        Case{{0.25f, 0.25f, 1e-7f}, {0, 0, -1}, true, true, 1e-7},
        Case{{0.25f, 0.25f, -1}, {0, 0, -1}, true, true, -1},
        Case{{0.25f, 0.25f, 1}, {0, 0, 1}, false, false, 0}, Case{{0, 0, 1}, {0, 0, -1}, true, true, 1},
        Case{{0.5f, 0.5f, 1}, {0, 0, -1}, true, true, 1},
        Case{{0.5f, 0.50001f, 1}, {0, 0, -1}, false, false, 0},
        Case{{-1e-6f, 0.5f, 1}, {0, 0, -1}, false, false, 0},
        Case{{0.25f, 0.25f, 1}, {0, 0, -9e-7}, false, false, 0},
        Case{{-1, 0.25f, 0}, {1, 0, 0}, false, false, 0},
        Case{{0.25f, 0.25f, 1}, {NAN, 0, -1}, false, false, 0}}) {
    SCOPED_TRACE(testing::PrintToString(c.origin));
    double t = -9, u, v;
    EXPECT_EQ(intersectRayTriangle(c.dir, c.origin, p0, p1, p2, t, u, v), c.both);
    const bool asExpected =
        std::fabs(t - c.t) < 1e-12 && u == double{c.origin[0]} && v == double{c.origin[1]};
    EXPECT_TRUE(asExpected || !c.both);
    EXPECT_EQ(intersectRayTriangleCull(c.dir, c.origin, p0, p1, p2, t, u, v), c.front);
  }
  const PointFlt q0(p0[0], p0[1], p0[2]), q1(1, 0, 0), q2(0, 1, 0), above(0.2f, 0.2f, 1);
  EXPECT_TRUE(intersectRayTriangle(Vector(0, 0, -1), above, q0, q1, q2));
  EXPECT_FALSE(intersectRayTriangle(Vector(0, 0, 1), PointFlt(0.2f, 0.2f, 0), q0, q1, q2)) << "at its origin";
  setBackfaceCullDistance(2);
  EXPECT_FALSE(intersectRayTriangle(Vector(0, 0, 1), PointFlt(0.2f, 0.2f, -1), q0, q1, q2));
  setBackfaceCullDistance(1e-6);
}

// Every ray from inside a ball meets it, also through its vertices and along its edges.
TEST(RayTracer, ClosedMeshesDoNotLeak) {
  std::mt19937 random(31);
  std::uniform_real_distribution<double> unit(0, 1);
  const auto ball = [](float scale, float shift) {
    return shapes::mapped(shapes::cube(16), [=](MeshVertex v) {
      const float r = scale / std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
      return MeshVertex{r * v.x + shift, r * v.y + 2 * shift, r * v.z};
    });
  };
  for (const Indexed& m : {Indexed(ball(1, 0)), Indexed(ball(100, 7777)), Indexed(ball(30, 1e6f), 16)}) {
    RayTracer tracer(m.octree, m.tris, &m.mesh);
    const auto vertex = [&](int i) { return m.mesh.getVertices()[i].asPoint(); };
    const Point c(m.box.center());
    int leaks = 0;
    for (int i = 0; i < 350000; ++i) {
      const MeshTriangle& to = m.mesh.getTriangles()[random() % 3072];
      const Point p = vertex(to[0]), q = vertex(to[1]);
      const PointFlt origin(c + 0.9 * unit(random) * (vertex(m.mesh.getTriangles()[random() % 3072][0]) - c));
      const double s = i % 3 == 0 ? 0 : i % 3 == 1 ? 0.5 : unit(random);
      tracer.setFindNearestHit(i % 2);
      leaks += !tracer.intersect(origin, (p + s * (q - p)) - Point(origin));
    }
    EXPECT_EQ(leaks, 0);
  }
}

TEST(RayTracer, FindsWhatAScanOverAllTrianglesFinds) {
  std::mt19937 random(41);
  int all = 0;
  forHardMeshes(3000, [&](const Indexed& m) {
    RayTracer tracer(m.octree, m.tris, &m.mesh);
    int hits = 0;
    for (int i = 0; i < 600; ++i) {
      const PointFlt origin(hardPoint(m, i % 5 ? 1.3 : 50, random));
      Vector dir = hardPoint(m, 1, random) - Point(origin);
      const float zero = i % 2 ? -0.0f : 0.0f;
      if (i % 4 == 0) dir = Vector(i % 8 ? 1 : -1, zero, zero);
      if (i % 4 == 1) dir[i % 3] = zero;
      dir *= std::pow(10, i % 7 - 3);
      SCOPED_TRACE(testing::Message() << "ray " << i);
      const Ray scan(origin, dir);
      bool hit = false;
      for (int t = 0; t < m.mesh.getNumTriangles(); ++t)
        hit = scan.intersects(m.mesh.getTriangles()[t], m.mesh.getVertices()) || hit;
      tracer.setFindNearestHit(false);
      ASSERT_EQ(tracer.intersect(origin, dir), hit);
      ASSERT_EQ(tracer.intersectionDist(), double{kLargest});
      tracer.setFindNearestHit(true);
      ASSERT_EQ(tracer.intersect(origin, dir), hit);
      ASSERT_EQ(tracer.intersectionDist(), scan.triIntersectionRayParam());
      hits += hit;
      // The voxels of the iterator hold the hit, unless the ray grazes one of their sides.
      const Ray walked(origin, dir);
      for (OctreeRayIntersectIt it(m.octree, walked); it.valid(); it.next())
        for (int k = 0; k < m.tris.numTris(it.get().voxel()); ++k)
          (void)walked.intersects(m.mesh.getTriangles()[m.tris.firstTri(it.get().voxel())[k]],
                                  m.mesh.getVertices());
      ASSERT_TRUE(i % 4 != 0 || walked.triIntersectionRayParam() == scan.triIntersectionRayParam());
    }
    all += hits;
    for (const Vector& bad : {Vector(), Vector(NAN, 0, 1), Vector(INFINITY, 0, 0)})
      EXPECT_FALSE(tracer.intersect(PointFlt(0, 0, 9), bad));
    EXPECT_FALSE(tracer.intersect(PointFlt(0, NAN, 9), Vector(0, 0, -1)));
  });
  EXPECT_GT(all, 1000);
  const Indexed torus(shapes::torus(24, 16)), grid(shapes::grid(9, 9));
  EXPECT_FALSE(
      RayTracer(torus.octree, grid.tris, &torus.mesh).intersect(PointFlt(2, 0, 9), Vector(0, 0, -1)));
  EXPECT_FALSE(
      RayTracer(torus.octree, torus.tris, &grid.mesh).intersect(PointFlt(2, 0, 9), Vector(0, 0, -1)));
  EXPECT_FALSE(RayTracer(torus.octree, torus.tris, nullptr).intersect(PointFlt(2, 0, 9), Vector(0, 0, -1)));
}

TEST(Ray, BoxesAreMetStrictlyWithinTheParameters) {
  const BoundingBox box(std::array{1., -1., -1., 2., 1., 1.}.data());
  const PointFlt origin(0, 0, 0), side(0, 1, 0), beyond(0, 1.001f, 0), within(1.5f, 0, 0), behind(3, 0, 0);
  const Vector x(1, 0, 0), diagonal(1, 1, 0);
  EXPECT_TRUE(Ray(origin, x).intersects(box, 0, 1.5f));
  EXPECT_FALSE(Ray(origin, x).intersects(box, 0, 1) || Ray(origin, x).intersects(box, 2, 9))
      << "touches at the end";
  EXPECT_TRUE(Ray(side, x).intersects(box, 0, 9) && !Ray(beyond, x).intersects(box, 0, 9)) << "along a side";
  EXPECT_TRUE(Ray(within, x).intersects(box, 0, 9) && Ray(origin, diagonal).intersects(box, 0, 9));
  EXPECT_FALSE(Ray(behind, x).intersects(box, 0, 9));
  EXPECT_TRUE(Ray(behind, x).intersects(box, -9, 0));
}

// The walk that decides first hits: the public iterator, unordered, all triangles of every voxel.
void traceLiterally(const Indexed& m, QuadRay& packet) {
  for (OctreeQuadRayIntersectIt it(m.octree, packet); it.valid() && !packet.allRaysTerminated(); it.next())
    for (int k = 0; k < m.tris.numTris(it.get().voxel()) && !packet.allRaysTerminated(); ++k)
      packet.intersect(m.mesh.getTriangles()[m.tris.firstTri(it.get().voxel())[k]], m.mesh.getVertices());
}

TEST(QuadRayTracer, FindsTheNearestAndStopsAtTheStatedFirst) {
  std::mt19937 random(43);
  forHardMeshes(3000, [&](const Indexed& m) {
    QuadRayTracer tracer(m.octree, m.tris, &m.mesh);
    RayTracer single(m.octree, m.tris, &m.mesh);
    single.setFindNearestHit(true);
    const double size = std::max(1.0, static_cast<double>(m.box.diagonalLength()));
    int different = 0, beside = 0;
    for (int i = 0; i < 300; ++i) {
      SCOPED_TRACE(testing::Message() << "packet " << i);
      const PointFlt origin(hardPoint(m, 1.3, random));
      VectorFlt d[4];
      for (VectorFlt& v : d) v = VectorFlt(hardPoint(m, 1, random) - Point(origin));
      if (i % 5 == 0) d[i % 4] = VectorFlt(0, 0, i % 2 ? 1 : -1);
      if (i % 5 == 1) d[1] = d[2] = d[3] = d[0];
      for (const bool nearest : {false, true}) {
        QuadRay packet(origin, d[0], d[1], d[2], d[3], nearest), literal(packet);
        tracer.intersect(packet);
        if (nearest) {
          for (int t = 0; t < m.mesh.getNumTriangles(); ++t)
            literal.intersect(m.mesh.getTriangles()[t], m.mesh.getVertices());
        } else {
          traceLiterally(m, literal);
        }
        for (int lane = 0; lane < 4; ++lane) {
          // In single precision a triangle seen from its edge may be hit well beside its voxels.
          const bool same = packet.triHit(lane) == literal.triHit(lane) &&
                            packet.triIntersectionRayParam(lane) == literal.triIntersectionRayParam(lane);
          ASSERT_TRUE(same || nearest);
          beside += !same;
          ASSERT_EQ(packet.triHit(lane), packet.triIntersectionRayParam(lane) < kLargest);
          if (!nearest) continue;
          // Rays that graze an edge, or start on the surface, may differ in single precision.
          const bool hit = single.intersect(origin, Vector(d[lane]));
          const double t = static_cast<double>(packet.triIntersectionRayParam(lane));
          different +=
              hit != packet.triHit(lane) || (hit && std::fabs(single.intersectionDist() - t) > 1e-3 * size);
          ASSERT_TRUE(i % 5 != 1 ||
                      packet.triIntersectionRayParam(lane) == packet.triIntersectionRayParam(0));
        }
      }
    }
    EXPECT_LE(different, size > 1e5 ? 1200 : 120) << "of 1200";
    EXPECT_LE(beside, 8) << "of 1200";
  });
}

TEST(QuadRay, CullsNearBackFacesAndEndsLanesAtTheirFirstHit) {
  const CompactMesh mesh = shapes::make({{-9, -9, 0}, {9, -9, 0}, {0, 9, 0}}, {{0, 1, 2}});
  const auto hit = [&](float z, float d) {
    QuadRay packet(PointFlt(0, 0, z), VectorFlt(0, 0, d), VectorFlt(0, 0, d), VectorFlt(0, 1, d),
                   VectorFlt(9, 9, -d), false);
    packet.intersect(mesh.getTriangles()[0], mesh.getVertices());
    EXPECT_FALSE(packet.triHit(3) || packet.allRaysTerminated());
    qvUtil::BitField32 lanes;
    packet.intersect(BoundingBox(std::array{-9., -9., -9., 9., 9., 9.}.data()), lanes);
    EXPECT_EQ(lanes.bits, packet.triHit(0) ? 8u : 15u) << "lanes that have hit are left out";
    return packet.triHit(0) && packet.triHit(1) && packet.triHit(2);
  };
  EXPECT_TRUE(hit(1, -1) && hit(-1, 1)) << "from both sides";
  QuadRay::setBackfaceCullDistance(2);
  EXPECT_TRUE(hit(1, -1) && !hit(-1, 1));
  QuadRay::setBackfaceCullDistance(qvLinear::epsilonTolFlt);
  EXPECT_FALSE(hit(1, 1) || hit(-5e-7f, 1));
  EXPECT_EQ(OctreeQuadRayIntersectIt(Octree()).get().voxel(), -1);
}

TEST(Picking, TakesTheFirstTriangleOfTheWalk) {
  std::mt19937 random(47);
  const Indexed m(shapes::torus(48, 32));
  const Adjacency adjacency(m.mesh);
  DebugLog log;
  int hits = 0;
  for (int i = 0; i < 100; ++i) {
    const Point eye = hardPoint(m, 3, random), target = hardPoint(m, 1, random);
    Vector ahead = target - eye;
    if (!ahead.normalize()) continue;
    const Vector right = ahead.orthogonalVector(), up = cross(right, ahead);
    Point corners[8];
    for (int c = 0; c < 8; ++c) {
      const double reach = c < 4 ? 0.01 : 9, x = c % 4 == 1 || c % 4 == 2 ? 1 : -1, y = c % 4 >= 2 ? 1 : -1;
      corners[c] = eye + reach * (ahead + 0.02 * x * right + 0.02 * y * up);
    }
    const Frustum frustum(corners);
    PointFlt hit(7, 7, 7), expectedHit;
    int tri = -3, expected = -1;
    for (OctreeIntersectIt it(m.octree, frustum); it.valid() && expected < 0; it.next())
      for (int k = 0; k < it.get().numPoints() && expected < 0; ++k)
        for (const int t : trisOf(adjacency.tris, it.get().firstPoint()[k]))
          if (expected < 0 && meshRayTriIntersect(m.mesh, t, frustum.getRay(), expectedHit)) expected = t;
    const bool found = meshRayIntersect(m.mesh, m.octree, adjacency.tris, frustum, hit, &tri);
    ASSERT_EQ(found, expected >= 0);
    ASSERT_EQ(tri, found ? expected : -3);
    ASSERT_TRUE(hit == (found ? expectedHit : PointFlt(7, 7, 7)));
    ASSERT_EQ(
        log.messages.back().find(found ? "meshRayIntersect:  (" : "meshRayIntersect:  no intersection "), 0u);
    hits += found;
    if (!found) continue;
    ASSERT_LT(length(cross(Point(hit) - frustum.getRay().origin, ahead)), 1e-5) << "on the line of sight";
  }
  EXPECT_GT(hits, 10);
}

TEST(Picking, SegmentsMeetTheVolumeWhereTheyCrossASide) {
  const Frustum cube;  // [-1, 1]^3
  struct Case {
    PointFlt a, b;
    bool meets;
    PointFlt hit;
  };
  for (const Case& c :
       {Case{{0, 0, 0}, {0.5f, 0, 0}, true, {0, 0, 0}}, Case{{5, 0, 0}, {0.5f, 0, 0}, true, {5, 0, 0}},
        Case{{-5, 0.25f, 0}, {5, 0.25f, 0}, true, {-1, 0.25f, 0}},
        Case{{-5, 0.25f, 3}, {5, 0.25f, 3}, false, {}}, Case{{0, 2.5f, 0}, {2.5f, 0, 0}, false, {}},
        Case{{0, 1.5f, 0}, {1.5f, 0, 0}, true, {1, 0.5f, 0}}, Case{{3, 3, 3}, {3, 3, 3}, false, {}}}) {
    PointFlt hit;
    EXPECT_EQ(lineFrustumIntersect(c.a, c.b, cube, hit), c.meets);
    EXPECT_TRUE(lineFrustumIntersect(c.a, c.b, cube) == c.meets && (!c.meets || distance(hit, c.hit) < 1e-6f))
        << hit[0] << " " << hit[1] << " " << hit[2];
  }
}

TEST(Circle, MeetsPlanesAndPiercesTriangles) {
  const Plane circle(Point(0, 0, 0), Normal(0, 0, 1));
  Point out[2];
  const auto count = [&](double x, const Normal& n) {
    return circlePlaneIntersect(circle, 1, Plane({x, 0, 0}, n), out);
  };
  EXPECT_TRUE(count(2, {1, 0, 0}) == 0 && count(0, {0, 0, 1}) == 0 && count(0, {0, 0, -1}) == 0);
  EXPECT_TRUE(count(1, {1, 0, 0}) == 1 && distance(out[0], Point(1, 0, 0)) < 1e-12 &&
              distance(out[0], out[1]) < 1e-12);
  EXPECT_EQ(count(0.5, {1, 0, 0}), 2);
  const Indexed large(shapes::make({{0.5f, -9, -9}, {0.5f, 9, -9}, {0.5f, 0, 9}}, {{0, 1, 2}}));
  qv::vector<Point> points(1);
  MeshCircleIntersect(large.mesh, large.octree, large.tris, 1e-6)(circle, 1, points);
  ASSERT_EQ(points.size(), 3u) << "appended";
  EXPECT_NEAR(std::fabs(points[1][1]), std::sqrt(0.75), 1e-9);
  EXPECT_NEAR(points[1][1] + points[2][1], 0, 1e-12);

  // Against all triangles, on random circles; every triangle once.
  std::mt19937 random(53);
  const Indexed m(shapes::torus(24, 16), 1);
  MeshCircleIntersect intersect(m.mesh, m.octree, m.tris, 1e-7);
  std::size_t total = 0;
  for (int i = 0; i < 100; ++i) {
    const Plane c(hardPoint(m, 1, random), Normal(hardPoint(m, 1, random) - Point(0.1, 0.2, 0.3)));
    const double radius = 0.1 + (i % 10) * 0.4;
    std::vector<Point> expected;
    for (int t = 0; t < m.mesh.getNumTriangles(); ++t) {
      Point p[3];
      for (int k = 0; k < 3; ++k) p[k] = m.mesh.getVertices()[m.mesh.getTriangles()[t][k]].asPoint();
      const Plane plane(p[0], Normal(cross(p[2] - p[1], p[0] - p[1])));
      const int n = circlePlaneIntersect(c, radius, plane, out);
      for (int k = 0; k < n; ++k) {
        MeshCoord coord;
        coord.projectBase(out[k], p[0], p[1], p[2]);
        if (distance(coord.evaluateBase(p), out[k]) <= 1e-7) expected.push_back(out[k]);
      }
    }
    points.clear();
    intersect(c, radius, points);
    std::sort(expected.begin(), expected.end(), qvLinear::PointLess);
    std::vector<Point> found(points);
    std::sort(found.begin(), found.end(), qvLinear::PointLess);
    ASSERT_EQ(found.size(), expected.size()) << i;
    for (std::size_t k = 0; k < found.size(); ++k) ASSERT_LT(distance(found[k], expected[k]), 1e-9) << i;
    total += found.size();
  }
  EXPECT_GT(total, 100u);
  points.clear();
  for (const double bad : {0.0, -1.0, double{NAN}, double{INFINITY}}) intersect(circle, bad, points);
  EXPECT_TRUE(points.empty());
}

}  // namespace
}  // namespace qvGeom
