#include "geom/spatial/closest_point.h"

#include <array>
#include <gtest/gtest.h>
#include <limits>

#include "geom/spatial/closest_point_on_line.h"
#include "geom/spatial/point_inside.h"
#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/spatial.h"

namespace qvGeom {
namespace {

using qvLinear::Line;
using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;

const double kNothing = std::sqrt(std::numeric_limits<double>::max());

// Measures triangles in the order of the voxels, keeping the first of equals.
double literally(const Indexed& m, const Point& p, MeshCoord& best) {
  double best2 = std::numeric_limits<double>::max();
  for (OctreeClosestIt it(m.octree, p); it.valid() && it.getDistance2() < best2; it.next()) {
    EXPECT_EQ(it.getDistance2(), it.get().distance2(PointFlt(p)));
    for (int i = 0; i < m.tris.numTris(it.get().voxel()); ++i) {
      const int tri = m.tris.firstTri(it.get().voxel())[i];
      const MeshCoord c = meshTriClosestPt(m.mesh.getVerticesRaw(), m.mesh.getTrianglesRaw(), tri, p);
      if (!c.valid()) continue;
      const double d2 = distance2(c.evaluate(m.mesh.getVertices(), m.mesh.getTriangles()), p);
      if (d2 < best2) best2 = d2, best = c;
    }
  }
  return std::sqrt(best2);
}

double bruteForce(const CompactMesh& mesh, const Point& p) {
  double best2 = std::numeric_limits<double>::max();
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const MeshCoord c = meshTriClosestPt(mesh.getVerticesRaw(), mesh.getTrianglesRaw(), t, p);
    if (c.valid()) best2 = std::min(best2, distance2(c.evaluate(mesh.getVertices(), mesh.getTriangles()), p));
  }
  return std::sqrt(best2);
}

TEST(MeshClosestPoint, IsTheNearestAndTheFirstOfEquals) {
  std::mt19937 random(17);
  forHardMeshes(3000, [&](const Indexed& m) {
    MeshClosestPoint closest(m.mesh, m.octree, m.tris), copy(closest);
    for (int i = 0; i < 300; ++i) {
      const Point p = hardPoint(m, i % 3 == 0 ? 20 : 1.1, random);
      SCOPED_TRACE(testing::Message() << "query " << i << ": " << p[0] << " " << p[1] << " " << p[2]);
      MeshCoord found, expected;
      const double d = (i % 2 ? copy : closest).compute(p, &found);
      ASSERT_EQ(d, bruteForce(m.mesh, p));
      ASSERT_EQ(d, literally(m, p, expected));
      ASSERT_EQ(found, expected);
      // Not representable in single precision: still exact.
      const Point q = p + Vector(0.1, 0.01, 0.001);
      ASSERT_EQ(closest.compute(q, nullptr), bruteForce(m.mesh, q));
    }
    MeshCoord untouched;
    for (const double bad : {double{NAN}, double{INFINITY}}) {
      EXPECT_EQ(closest.compute(Point(0, bad, 0), &untouched), kNothing);
      EXPECT_FALSE(untouched.valid());
    }
  });
}

TEST(MeshClosestPoint, OfRecordsThatDoNotBelongTogetherIsNothing) {
  const Indexed torus(shapes::torus(24, 16)), grid(shapes::grid(9, 9));
  const CompactMesh small = shapes::make({{0, 1, 2}});
  MeshCoord coord;
  EXPECT_EQ(MeshClosestPoint(torus.mesh, torus.octree, grid.tris).compute(Point(), &coord), kNothing);
  EXPECT_EQ(MeshClosestPoint(small, torus.octree, torus.tris).compute(Point(), &coord), kNothing);
  EXPECT_EQ(MeshClosestPoint(torus.mesh, torus.octree, OctreeTris()).compute(Point(), &coord), kNothing);
  EXPECT_EQ(meshClosestVertex2(torus.mesh, grid.octree, Point()), std::numeric_limits<double>::max());
  const Adjacency adjacency(torus.mesh);
  EXPECT_EQ(meshClosestPoint(torus.mesh, grid.octree, adjacency.tris, Point(), 1, 4, nullptr, &coord), 2);
  EXPECT_FALSE(coord.valid());
}

TEST(ClosestPointByVertices, IsExactWhereItsBoundAllows) {
  std::mt19937 random(23);
  forHardMeshes(3000, [&](const Indexed& m) {
    const Adjacency adjacency(m.mesh);
    const double longest = meshLongestEdge(m.mesh);
    // Every point of a triangle is within longest / sqrt 3 of a corner, and corners within longest / sqrt 2
    // are seen.
    const double reach = longest * (1 / std::sqrt(2) - 1 / std::sqrt(3));
    std::vector<BoundingBox> stars(static_cast<std::size_t>(m.mesh.getNumVertices()));
    for (int t = 0; t < m.mesh.getNumTriangles(); ++t)
      for (const int v : m.mesh.getTriangles()[t].v)
        for (const int w : m.mesh.getTriangles()[t].v)
          stars[static_cast<std::size_t>(v)].extend(&m.mesh.getVertices()[w].x);
    for (int i = 0; i < 100; ++i) {
      const Point p = hardPoint(m, 1.5, random);
      MeshCoord coord, boxed;
      const double d = meshClosestPoint(m.mesh, m.octree, adjacency.tris, p, &coord),
                   exact = bruteForce(m.mesh, p);
      ASSERT_GE(d, exact);
      ASSERT_TRUE(exact >= reach || d <= exact * (1 + 1e-12)) << d << " " << exact;
      ASSERT_EQ(d, meshClosestPoint(m.mesh, m.octree, adjacency.tris, p, longest,
                                    std::numeric_limits<double>::max(), stars.data(), &boxed));
      ASSERT_EQ(coord, boxed);
      // A limit just above and at the answer; nothing is nearer than the latter.
      MeshCoord limited;
      if (!coord.valid() || d == 0) continue;
      const double d2 = distance2(coord.evaluate(m.mesh.getVertices(), m.mesh.getTriangles()), p);
      EXPECT_EQ(meshClosestPoint(m.mesh, m.octree, adjacency.tris, p, longest, d2, nullptr, &limited),
                std::sqrt(d2));
      EXPECT_FALSE(limited.valid());
      const double above = d2 * (1 + 1e-12);
      EXPECT_NEAR(meshClosestPoint(m.mesh, m.octree, adjacency.tris, p, longest, above, nullptr, &limited), d,
                  1e-12 * d);
      double vertex2 = std::numeric_limits<double>::max();
      for (int v = 0; v < m.mesh.getNumVertices(); ++v) {
        const double v2 = distance2(m.mesh.getVertices()[v].asPoint(), p);
        if (v2 < vertex2) vertex2 = v2;
      }
      ASSERT_EQ(meshClosestVertex2(m.mesh, m.octree, p), vertex2);
    }
  });
}

TEST(ClosestPointByVertices, StopsAtTheStatedDistanceAndFollowsLines) {
  // A large triangle, 6 below the query, and a small one at distance 7: the bound is 10 / sqrt 2. Points
  // beside the corners make their voxels small, so that those lie beyond it.
  const Indexed m(shapes::make({{-5, -2.9f, 0},
                                {5, -2.9f, 0},
                                {0, 5.76f, 0},
                                {0, 0, 13},
                                {0.1f, 0, 13},
                                {0, 0.1f, 13},
                                {-5, -2.8f, 0},
                                {5, -2.8f, 0},
                                {0, 5.7f, 0}},
                               {{0, 1, 2}, {3, 4, 5}}),
                  1);
  const Adjacency adjacency(m.mesh);
  MeshCoord coord;
  EXPECT_EQ(meshClosestPoint(m.mesh, m.octree, adjacency.tris, Point(0, 0, 6), &coord), 7);
  EXPECT_EQ(coord.triangle, 1);
  DebugLog log;
  EXPECT_EQ(meshClosestVertex2(m.mesh, m.octree, Point(0, 0, 15)), 4);
  EXPECT_EQ(log.messages.at(0).find("   meshClosestVertex: "), 0u);
  // Beyond the range of floats.
  EXPECT_DOUBLE_EQ(meshClosestVertex2(m.mesh, m.octree, Point(0, 0, 1e40)), 1e80);
  EXPECT_DOUBLE_EQ(meshClosestPoint(m.mesh, m.octree, adjacency.tris, Point(0, 0, 1e40), &coord), 1e40);
  EXPECT_EQ(coord.triangle, 1);
  // The foot of (3, 0, 13) on the line is (0, 0, 13), a corner of the second triangle.
  const Line line(Point(0, 0, 2), Vector(0, 0, -3));
  coord = meshRayClosestPt(m.mesh, 10, m.octree, adjacency.tris, line, Point(3, 0, 13));
  EXPECT_TRUE(coord.triangle == 1 && coord.weight[0] == 1);
  const Line none(Point(0, 0, 2), Vector());
  EXPECT_EQ(meshRayClosestPt(m.mesh, 10, m.octree, adjacency.tris, none, Point(3, 0, 13)).triangle, 0);
}

TEST(ClosestPointOnLine, MeasuresSegmentsNotTheSurface) {
  const Indexed m(shapes::grid(20, 20));
  const Adjacency adjacency(m.mesh);
  std::mt19937 random(3);
  MeshSequence sequence;
  std::vector<std::vector<Point>> runs;
  for (const int length : {5, 1, 0, 30}) {
    std::vector<MeshCoord> run;
    runs.emplace_back();
    for (int i = 0; i < length; ++i) {
      run.push_back({{{0.5, 0.25, 0.25}, static_cast<int>(random() % 800)}});
      runs.back().push_back(
          Point(PointFlt(run.back().evaluate(m.mesh.getVertices(), m.mesh.getTriangles()))));
    }
    sequence.addRun(length, run.data());
  }
  const MeshCoord stranger{{{1, 0, 0}, 800}};  // names no triangle of the mesh
  sequence.addRun(1, &stranger);
  MeshClosestPtOnLine onLine(m.mesh, adjacency.tris, sequence);
  for (int i = 0; i < 100; ++i) {
    const Point p = hardPoint(m, 1.3, random);
    double best = 1e9;
    Point nearest;
    for (const auto& run : runs)
      for (std::size_t k = 0; k < run.size(); ++k) {
        const Line line(run[k], k + 1 < run.size() ? run[k + 1] - run[k] : Vector());
        const Point q = line.eval(std::clamp(projectParam(p, line), 0.0, 1.0));
        if (distance(p, q) < best) best = distance(p, q), nearest = q;
      }
    const MeshCoord coord = onLine(p);
    ASSERT_TRUE(coord.valid());
    // The mesh is nearly flat: the point on it lies under the one on the line, on the triangle of one of the
    // ends.
    const Point q = coord.evaluate(m.mesh.getVertices(), m.mesh.getTriangles());
    double toEnds = 1e9;
    for (const auto& run : runs)
      for (const Point& end : run) toEnds = std::min(toEnds, distance(q, end));
    ASSERT_LT(toEnds, 0.06) << "within a triangle of an end";
    ASSERT_LE(distance(q, nearest), 1.0);
  }
  EXPECT_LT(distance(onLine(runs[1][0]).evaluate(m.mesh.getVertices(), m.mesh.getTriangles()), runs[1][0]),
            1e-6);
  EXPECT_FALSE(MeshClosestPtOnLine(m.mesh, adjacency.tris, MeshSequence())(Point()).valid());
  MeshSequence still;
  still.addRun(
      3, std::array{MeshCoord{{{1, 0, 0}, 5}}, MeshCoord{{{1, 0, 0}, 5}}, MeshCoord{{{1, 0, 0}, 5}}}.data());
  EXPECT_EQ(MeshClosestPtOnLine(m.mesh, adjacency.tris, still)(Point()), (MeshCoord{{{1, 0, 0}, 5}}));
}

TEST(MeshPtInside, ChangesSidesOnceAlongARay) {
  for (const bool withNormals : {true, false}) {
    CompactMesh mesh = shapes::torus(60, 40);
    if (withNormals) meshComputeNormals(mesh);
    const Indexed m(std::move(mesh));
    MeshPtInside inside(m.mesh, m.octree, m.tris, 1e-3);
    std::mt19937 random(9);
    std::uniform_real_distribution<double> angle(0, 6.28);
    for (int i = 0; i < 200; ++i) {
      const double u = angle(random), v = angle(random);
      const Point core(2 * std::cos(u), 2 * std::sin(u), 0);
      const Vector out(std::cos(u) * std::cos(v), std::sin(u) * std::cos(v), std::sin(v));
      for (double r = 0.02; r < 1.3; r += 0.04) {
        const auto side = inside.evaluate(core + r * out);
        if (r > 0.97 && r < 1.01) continue;
        ASSERT_EQ(side, r < 1 ? MeshPtInside::Inside : MeshPtInside::Outside) << r;
      }
    }
    const MeshVertex& v = m.mesh.getVertices()[77];
    EXPECT_EQ(inside.evaluate(v.asPoint()), MeshPtInside::OnSurface);
    EXPECT_EQ(MeshPtInside(inside).evaluate(Point(NAN, 0, 0)), MeshPtInside::Outside);
    EXPECT_NE(MeshPtInside(m.mesh, m.octree, m.tris, 0).evaluate(v.asPoint()), MeshPtInside::OnSurface);
  }
}

}  // namespace
}  // namespace qvGeom
