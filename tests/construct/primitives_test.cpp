#include "geom/construct/primitives.h"

#include <bit>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <numbers>
#include <set>

#include "geom/topology/measures.h"
#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/notice_log.h"
#include "tests/support/shapes.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Normal;
using qvLinear::ParamPlane;
using qvLinear::Point;
using qvLinear::Vector;
using Floats = std::vector<float>;
using Ints = std::vector<int>;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kMax = std::numeric_limits<float>::max();
constexpr int kIntMax = std::numeric_limits<int>::max();
constexpr int kIntMin = std::numeric_limits<int>::min();
constexpr double kPi = std::numbers::pi;

Ints linesOf(const CompactMesh& mesh) {
  return mesh.getNumLines() ? Ints(&mesh.getLines()[0][0], &mesh.getLines()[0][0] + 2 * mesh.getNumLines())
                            : Ints();
}
Ints stripPointsOf(const CompactMesh& mesh) {
  return {mesh.getLineStripPoints(), mesh.getLineStripPoints() + mesh.getNumLineStripPoints()};
}
Point vertexOf(const CompactMesh& mesh, int v) { return mesh.getVertices()[v].asPoint(); }

void expectNear(const Floats& actual, const Floats& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) EXPECT_NEAR(actual[i], expected[i], 1e-6) << "entry " << i;
}

// Six times the signed volume, exact enough for any origin when the surface is closed.
double volumeOf(const CompactMesh& mesh) {
  double sum = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const auto at = [&](int i) { return vertexOf(mesh, mesh.getTriangles()[t][i]) - Point(); };
    sum += dot(at(0), cross(at(1), at(2))) / 6;
  }
  return sum;
}

// Every triangle faces the side to which the normals of its corners point.
void expectNormalsMatchTriangles(const CompactMesh& mesh) {
  for (int v = 0; v < mesh.getNumVertices(); ++v)
    ASSERT_NEAR(length(mesh.getNormals()[v].asVector()), 1, 1e-6) << "vertex " << v;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const Normal n = meshTriNormal(mesh.getVerticesRaw(), mesh.getTriangles()[t].v);
    for (const int v : mesh.getTriangles()[t].v)
      ASSERT_GT(dot(n, mesh.getNormals()[v].asVector()), 0.5) << "triangle " << t << ", vertex " << v;
  }
}

// Each directed edge occurs once, and so does its opposite.
void expectClosedAndOriented(const CompactMesh& mesh) {
  std::set<std::pair<int, int>> edges;
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    for (int i = 0; i < 3; ++i) {
      const MeshTriangle& tri = mesh.getTriangles()[t];
      ASSERT_TRUE(edges.insert({tri[i], tri[(i + 1) % 3]}).second) << "triangle " << t;
    }
  for (const auto& [a, b] : edges) ASSERT_EQ(edges.count({b, a}), 1u) << a << " to " << b;
}

// A mesh that holds something of everything.
CompactMesh cluttered() {
  CompactMesh mesh = shapes::torus(3, 3);
  meshComputeNormals(mesh);
  meshComputeTriangleNormals(mesh);
  mesh.allocUVArray();
  mesh.allocSTArray();
  mesh.allocAttributes("heat", 3);
  mesh.resizeTriStripArrays(1, 3);
  mesh.resizeTriFanArrays(1, 3);
  mesh.resizeLineArray(2);
  mesh.resizeLineStripArrays(1, 2);
  mesh.getSelectedVertices().resize(9);
  mesh.getSelectedVertices().setAllBits();
  mesh.getSelectedTriangles().resize(18);
  mesh.getSelectedTriangles().setAllBits();
  return mesh;
}

const float kU[] = {1, 4}, kV[] = {2, 3}, kW[] = {-1, 1};
const float kBox[3][2] = {{1, 4}, {2, 3}, {-1, 1}};

TEST(Rectangle, LiesInThePlaneOfItsAxis) {
  CompactMesh mesh;
  constructRectangle(kU, kV, 7, 2, mesh, false);
  EXPECT_EQ(positionsOf(mesh), (Floats{1, 2, 7, 4, 2, 7, 1, 3, 7, 4, 3, 7}));
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 1, 2, 3, 2, 1}));
  EXPECT_FALSE(mesh.getUVs());
  constructRectangle(kU, kV, 7, 0, mesh, true, kU, kW);
  EXPECT_EQ(positionsOf(mesh), (Floats{7, 1, 2, 7, 4, 2, 7, 1, 3, 7, 4, 3}));
  EXPECT_EQ(uvsOf(mesh), (Floats{1, -1, 4, -1, 1, 1, 4, 1}));
  for (int axis = 0; axis < 3; ++axis) {
    constructSquare(kU, -2, axis, mesh, true);
    expectNormalsMatchTriangles(mesh);
    EXPECT_EQ((&mesh.getNormals()[3].x)[axis], 1);
    EXPECT_EQ((&mesh.getVertices()[3].x)[axis], -2);
    EXPECT_EQ(uvsOf(mesh), (Floats{0, 0, 1, 0, 0, 1, 1, 1}));
  }
  constructRectangle(ParamPlane{{1, 1, 1}, {0, 2, 0}, {0, 0, 3}}, mesh);
  EXPECT_EQ(positionsOf(mesh), (Floats{1, 1, 1, 1, 3, 1, 1, 1, 4, 1, 3, 4}));
  EXPECT_EQ(uvsOf(mesh), (Floats{0, 0, 1, 0, 0, 1, 1, 1}));
  expectNormalsMatchTriangles(mesh);
  constructRectangle(ParamPlane{{1, 1, 1}, {0, 2, 0}, {0, -4, 0}}, mesh);
  EXPECT_EQ(normalsOf(mesh), (Floats{0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1})) << "no direction";
}

TEST(Corner, IsTwoQuadsThatShareAnEdge) {
  CompactMesh mesh;
  constructRectangularCorner(kU, kV, kW, mesh, true, kU, kW);
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 1, 2, 3, 2, 1, 2, 3, 4, 5, 4, 3}));
  EXPECT_EQ(uvsOf(mesh), (Floats{1, -1, 4, -1, 1, 0, 4, 0, 1, 1, 4, 1}));
  EXPECT_FLOAT_EQ(meshArea({{}, &mesh}, MeshChannel::vertices), 3 * 1 + 3 * 2);
  expectNormalsMatchTriangles(mesh);
  constructRectangularCorner(kU, kV, kW, mesh, false);
  EXPECT_FALSE(mesh.getUVs());
}

TEST(Cuboid, HasSixFacesThatLookOutward) {
  CompactMesh mesh;
  constructCuboid(kBox, mesh);
  ASSERT_EQ(mesh.getNumVertices(), 24);
  ASSERT_EQ(mesh.getNumTriangles(), 12);
  expectNormalsMatchTriangles(mesh);
  EXPECT_DOUBLE_EQ(volumeOf(mesh), 3 * 1 * 2);
  const Vector outward[] = {Vector::x, -Vector::x, Vector::y, -Vector::y, Vector::z, -Vector::z};
  for (int v = 0; v < 24; ++v) EXPECT_EQ(mesh.getNormals()[v].asVector(), outward[v / 4]) << "vertex " << v;
  EXPECT_EQ(vertexOf(mesh, 0), Point(4, 2, -1));
  constructCube(kU, mesh);
  EXPECT_DOUBLE_EQ(volumeOf(mesh), 27);
}

TEST(BoxEdges, AreCoveredOnce) {
  CompactMesh mesh;
  constructBoxEdgeLineStrips(BoundingBox(), mesh);
  EXPECT_EQ(mesh.getNumVertices(), 0) << "an empty box";
  const float centre[] = {0, 1, 2};
  constructBoxEdgeLineStrips(BoundingBox(centre, 4), mesh);
  EXPECT_EQ(vertexOf(mesh, 5), Point(4, -3, 6));
  std::set<std::pair<int, int>> edges;
  for (int s = 0; s < mesh.getNumLineStrips(); ++s)
    for (int i = 1; i < mesh.getLineStripLengths()[s]; ++i) {
      int const* ends = mesh.getLineStripPoints() + mesh.getLineStripStarts()[s] + i - 1;
      EXPECT_EQ(std::popcount(static_cast<unsigned>(ends[0] ^ ends[1])), 1) << "a diagonal";
      edges.insert(std::minmax(ends[0], ends[1]));
    }
  EXPECT_EQ(edges.size(), 12u);
}

TEST(Round, DiskIsAFanAndCircleAClosedStrip) {
  CompactMesh mesh;
  constructDisk({1, 2, 3}, 2, 2, 4, mesh);
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 4, 1}));
  expectNear(positionsOf(mesh), {1, 2, 3, 1, 4, 3, -1, 2, 3, 1, 0, 3, 3, 2, 3});
  expectNear(uvsOf(mesh), {0.5f, 0.5f, 0.5f, 1, 0, 0.5f, 0.5f, 0, 1, 0.5f});
  EXPECT_EQ(normalsOf(mesh), (Floats{0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1}));
  for (int axis = 0; axis < 3; ++axis) {
    constructDisk({1, 2, 3}, 2, axis, 100, mesh);
    expectNormalsMatchTriangles(mesh);
    EXPECT_NEAR(meshArea({{}, &mesh}, MeshChannel::vertices), 4 * kPi, 0.02);
    constructCircle({1, 2, 3}, 2, axis, 3, mesh);
    EXPECT_EQ(vertexOf(mesh, 3), vertexOf(mesh, 0));
    EXPECT_EQ((&mesh.getVertices()[0].x)[(axis + 1) % 3], static_cast<float>((axis + 1) % 3 + 1 + 2));
    EXPECT_EQ(stripPointsOf(mesh), (Ints{0, 1, 2, 3}));
    expectNear(uvsOf(mesh), {1, 0.5f, 0.25f, 0.933013f, 0.25f, 0.066987f, 1, 0.5f});
    EXPECT_FALSE(mesh.getNormals());
  }
  constructDisk({}, 1, 2, 1, mesh);
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 1, 1}));
  constructCircle({5, 5, 5}, 0, 1, 2, mesh);
  EXPECT_EQ(positionsOf(mesh), Floats(9, 5));
}

TEST(Arc, EndsExactlyAtItsEnd) {
  const float pi = static_cast<float>(kPi);
  struct Case {
    const char* name;
    float start, end;
    int perPi, segments;  // 0 segments: refused
  };
  for (const Case& c : {
           Case{"half a turn", 0, pi, 8, 8},
           Case{"whole only in float", 0, static_cast<float>(kPi * 5 / 6), 6, 5},
           Case{"a rest that does not count", 0.5f, 0.5f + 0.99f * pi, 4, 3},
           Case{"backwards", pi, 0, -6, 6},
           Case{"backwards, but counted forwards", pi, 0, 6, 0},
           Case{"less than a segment", 0, 0.9f * pi, 1, 0},
           Case{"not a number", kNan, 1, 8, 0},
           Case{"infinite", 0, kInf, 8, 0},
           Case{"beyond counting", 0, 3 * pi, kIntMax, 0},
           Case{"beyond the range of ints", -kMax, kMax, kIntMax, 0},
       }) {
    SCOPED_TRACE(c.name);
    CompactMesh mesh;
    constructArc({1, 0, 0}, 2, c.start, c.end, 2, c.perPi, mesh);
    ASSERT_EQ(mesh.getNumLines(), c.segments);
    ASSERT_EQ(mesh.getNumVertices(), c.segments ? c.segments + 1 : 0);
    if (c.segments == 0) continue;
    EXPECT_EQ(vertexOf(mesh, 0)[0], static_cast<float>(1 + 2 * std::cos(double{c.start})));
    EXPECT_EQ(vertexOf(mesh, c.segments)[1], static_cast<float>(2 * std::sin(double{c.end})));
    EXPECT_EQ(mesh.getLines()[c.segments - 1][1], c.segments);
    const double chord = distance(vertexOf(mesh, 0), vertexOf(mesh, 1));
    EXPECT_NEAR(distance(vertexOf(mesh, c.segments - 1), vertexOf(mesh, c.segments)), chord, 1e-5);
  }
}

TEST(AnnularArc, FacesAgainstItsTurn) {
  CompactMesh mesh;
  NoticeLog notices(mesh);
  constructAnnularArc(1, 3, kPi / 2, 3, mesh);
  const float r = static_cast<float>(std::sqrt(0.5));
  expectNear(positionsOf(mesh), {1, 0, 0, 3, 0, 0, r, r, 0, 3 * r, 3 * r, 0, 0, 1, 0, 0, 3, 0});
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 2, 1, 1, 2, 3, 2, 4, 3, 3, 4, 5}));
  EXPECT_EQ(uvsOf(mesh), (Floats{0, 0, 0, 1, 0.5f, 0, 0.5f, 1, 1, 0, 1, 1}));
  EXPECT_EQ(mesh.getNormals()[5].z, -1);
  expectNormalsMatchTriangles(mesh);
  EXPECT_TRUE(notices.sent.empty());

  updateAnnularArc(2, 5, -kPi, mesh);
  EXPECT_EQ(mesh.getNormals()[5].z, 1);
  expectNormalsMatchTriangles(mesh);
  expectNear(floatsOf(&mesh.getVertices()[5].x, 3), {-5, 0, 0});
  EXPECT_EQ(notices.sent, (Notices{{MeshModification::GeometryModified, MeshModification::NormalsModified}}));

  const Floats before = positionsOf(mesh);
  updateAnnularArc(kNan, 5, 1, mesh);
  updateAnnularArc(1, 5, double{kInf}, mesh);
  mesh.resizeTriangleArray(3);
  updateAnnularArc(1, 3, 1, mesh);
  EXPECT_EQ(positionsOf(mesh), before);
  EXPECT_EQ(notices.sent.size(), 1u);

  constructAnnularArc(1, 3, 1, 1, mesh);
  updateAnnularArc(1, 4, 1, mesh);
  EXPECT_EQ(positionsOf(mesh), (Floats{1, 0, 0, 4, 0, 0}));
  EXPECT_EQ(uvsOf(mesh), (Floats{0, 0, 0, 1}));
  CompactMesh odd = shapes::make({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
  updateAnnularArc(1, 4, 1, odd);
  EXPECT_FALSE(odd.getNormals());
}

TEST(Sphere, IsClosedAndOutward) {
  CompactMesh mesh;
  constructSphere({0, 0, 0}, 1, 1, mesh);
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 2, 5, 0, 3, 2, 0, 4, 3, 0, 5, 4, 2, 1, 5, 3, 1, 2, 4, 1, 3, 5, 1, 4}));
  expectNear(positionsOf(mesh), {0, 0, 1, 0, 0, -1, 0, 1, 0, 1, 0, 0, 0, -1, 0, -1, 0, 0});
  for (const int n : {2, 3, 16}) {
    SCOPED_TRACE(n);
    constructSphere({5, -2, 1}, 2, n, mesh);
    const int l = 4 * n, rings = 2 * n - 1;
    EXPECT_EQ(mesh.getNumVertices(), l * rings + 2);
    EXPECT_EQ(mesh.getNumTriangles(), 2 * l * rings);
    expectClosedAndOriented(mesh);
    expectNormalsMatchTriangles(mesh);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
      ASSERT_NEAR(distance(vertexOf(mesh, v) + -2.0 * mesh.getNormals()[v].asVector(), Point(5, -2, 1)), 0,
                  1e-6);
    EXPECT_NEAR(volumeOf(mesh), 32 * kPi / 3, 50.0 / (n * n));
  }
  constructSphere({0, 0, 0}, -1, 3, mesh);
  EXPECT_LT(volumeOf(mesh), -3) << "a negative radius turns it inside out";
}

TEST(Octahedron, SubdividesIntoASphereInTheFrameOfThePlane) {
  const ParamPlane plane{{5, -2, 1}, {0, 3, 0}, {0, 1, 0.5}};
  for (int levels = 1; levels <= 4; ++levels) {
    SCOPED_TRACE(levels);
    const auto mesh = constructSubdividedOctahedron(plane, levels, 2);
    ASSERT_TRUE(mesh);
    EXPECT_EQ(test::countsOf(*mesh),
              (test::Counts{(4 << 2 * levels) + 2, 12 << 2 * levels, 8 << 2 * levels}));
    EXPECT_TRUE(test::isSimplicialSurface(*mesh));
    for (auto e = mesh->firstEdge(); e; e = e.nextInMesh()) ASSERT_TRUE(e.twin());
    for (auto f = mesh->firstFace(); f; f = f.nextInMesh()) {
      const auto e = f.firstEdge();
      const auto at = [&](TopoMeshEdge corner) { return corner.start().point() - plane.origin; };
      ASSERT_GT(dot(at(e), cross(at(e.next()), at(e.prev()))), 0) << "outward";
    }
    for (auto v = mesh->firstVertex(); v; v = v.nextInMesh())
      ASSERT_NEAR(distance(v.point(), plane.origin), 2, 1e-12);
  }
  const auto mesh = constructSubdividedOctahedron(plane, 1, 2);
  const Point corners[] = {{5, 0, 1}, {5, -2, 3}, {5, -4, 1}, {5, -2, -1}, {7, -2, 1}, {3, -2, 1}};
  auto v = mesh->firstVertex();
  for (const Point& corner : corners) {
    EXPECT_LT(distance(v.point(), corner), 1e-12);
    v = v.nextInMesh();
  }
  for (const int levels : {0, -1, 14, kIntMax, kIntMin})
    EXPECT_FALSE(constructSubdividedOctahedron(plane, levels, 1));
  EXPECT_FALSE(constructSubdividedOctahedron(plane, 13, double{kNan}));
  EXPECT_FALSE(constructSubdividedOctahedron({{}, {1, 0, 0}, {-2, 0, 0}}, 1, 1)) << "no plane";
  EXPECT_FALSE(constructSubdividedOctahedron({{double{kInf}, 0, 0}, {1, 0, 0}, {0, 1, 0}}, 1, 1));
}

TEST(Lines, RunThroughTheirPoints) {
  CompactMesh mesh;
  constructLineSegment({1, 2, 3}, {4, 5, 6}, mesh);
  EXPECT_EQ(positionsOf(mesh), (Floats{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(linesOf(mesh), (Ints{0, 1}));
  constructLineSegment(qvLinear::ParamLine({1, 2, 3}, {1, 0, -1}), mesh, -2, 9);
  EXPECT_EQ(positionsOf(mesh), (Floats{1, 2, 3, 2, 2, 2}));
  ASSERT_TRUE(mesh.getAttributes("T") && mesh.getAttributes("T")->asFloat1());
  EXPECT_EQ(floatsOf(mesh.getAttributes("T")->asFloat(), 2), (Floats{-2, 9}));

  const auto infinite = constructInfiniteLine({{1, 1, 1}, {0, 0, 2}});
  EXPECT_EQ(positionsOf(*infinite), (Floats{1, 1, -1, 1, 1, 1, 1, 1, 3}));
  EXPECT_EQ(linesOf(*infinite), (Ints{0, 1, 1, 2}));
  EXPECT_EQ(floatsOf(infinite->getAttributes("T")->asFloat(), 3), (Floats{0, 1, 0}));
  EXPECT_FALSE(constructInfiniteLine({{1, 1, 1}, {0, 0, 1e39}}));

  const auto closed = constructLineStrip(qv::vector<qvLinear::Point2>{{0, 1}, {2, 3}, {4, 5}}, true);
  EXPECT_EQ(positionsOf(*closed), (Floats{0, 1, 0, 2, 3, 0, 4, 5, 0, 0, 1, 0}));
  EXPECT_EQ(stripPointsOf(*closed), (Ints{0, 1, 2, 0}));
  EXPECT_EQ(closed->getLineStripLengths()[0], 4);
  const auto open = constructLineStrip(qv::vector<qvLinear::Point2Flt>{{0, 1}, {2, 3}}, false);
  EXPECT_EQ(positionsOf(*open), (Floats{0, 1, 0, 2, 3, 0}));
  EXPECT_EQ(stripPointsOf(*open), (Ints{0, 1}));
  EXPECT_EQ(constructLineStrip(qv::vector<Point>{{0, 1, 2}, {3, 4, 5}}, false)->getVertices()[1].z, 5);
  EXPECT_FALSE(constructLineStrip(qv::vector<Point>{{0, 1, 2}}, true));
  EXPECT_FALSE(constructLineStrip(qv::vector<Point>{{0, 1, 2}, {0, double{kNan}, 0}}, true));
}

TEST(Polygon, CountsARepeatedFirstVertexOnce) {
  Polyline2d boundary;
  for (int i = 0; i < 5; ++i) boundary.append({std::cos(2 * kPi * i / 5), std::sin(2 * kPi * i / 5)}, i);
  const auto open = constructPolygonFromConvexBoundary(boundary);
  boundary.append(boundary.getVertex(0), 5);
  const auto closed = constructPolygonFromConvexBoundary(boundary);
  for (const auto& mesh : {open, closed}) {
    EXPECT_EQ(mesh->getNumVertices(), 5);
    EXPECT_EQ(indicesOf(*mesh), (Ints{0, 1, 2, 0, 2, 3, 0, 3, 4}));
    EXPECT_NEAR(meshArea({{}, mesh.get()}, MeshChannel::vertices), 2.377641, 1e-5);
    EXPECT_FALSE(mesh->getNormals());
  }
  Polyline2d thin;
  thin.append({0, 0}, 0);
  thin.append({1, 0}, 1);
  EXPECT_FALSE(constructPolygonFromConvexBoundary(thin));
  thin.append({1, double{kInf}}, 2);
  EXPECT_FALSE(constructPolygonFromConvexBoundary(thin));
}

TEST(UniformNormals, AreNormalisedAndLeaveTheRestAlone) {
  CompactMesh mesh = cluttered();
  addUniformNormals(mesh, {0, 0, 0});
  addUniformNormals(mesh, {0, double{kInf}, 0});
  EXPECT_TRUE(mesh.getNormalsComputed()) << "refused";
  addUniformNormals(mesh, {0, -3, 4});
  EXPECT_FALSE(mesh.getNormalsComputed());
  for (int v = 0; v < 9; ++v) expectNear(floatsOf(&mesh.getNormals()[v].x, 3), {0, -0.6f, 0.8f});
  EXPECT_EQ(mesh.getNumTriangles(), 18);
  EXPECT_TRUE(mesh.getAttributes("heat") && mesh.getUVs());
}

using M = CompactMesh;
using Construct = std::function<void(CompactMesh&)>;

TEST(Primitives, LeaveNothingOfTheOldMeshAndSendNothing) {
  const std::map<std::string, Construct> shapes = {
      {"box edges", [](M& m) { constructBoxEdgeLineStrips(BoundingBox(kBox[0], 1), m); }},
      {"arc", [](M& m) { constructArc({}, 1, 0, 2, 0, 5, m); }},
      {"sphere", [](M& m) { constructSphere({}, 1, 2, m); }},
      {"parametric", [](M& m) { constructLineSegment(qvLinear::ParamLine(), m, 0, 1); }},
  };
  for (const auto& [name, construct] : shapes) {
    SCOPED_TRACE(name);
    CompactMesh fresh, reused = cluttered();
    NoticeLog notices(reused);
    DebugLog log;
    construct(fresh);
    construct(reused);
    EXPECT_TRUE(notices.sent.empty() && log.messages.empty());
    EXPECT_GT(fresh.getNumVertices(), 0);
    expectSound(reused);
    EXPECT_EQ(positionsOf(reused), positionsOf(fresh));
    EXPECT_EQ(indicesOf(reused), indicesOf(fresh));
    EXPECT_EQ(linesOf(reused), linesOf(fresh));
    EXPECT_EQ(stripPointsOf(reused), stripPointsOf(fresh));
    EXPECT_EQ(reused.getNumAttributes(), fresh.getNumAttributes());
    EXPECT_FALSE(reused.getNormalsComputed() || reused.getTriangleNormals() || reused.getAttributes("heat"));
    EXPECT_EQ(reused.getNumTriStrips() + reused.getNumTriFans() + reused.getNumTriFanPoints(), 0);
    EXPECT_EQ(reused.getSelectedVertices().numSetBits + reused.getSelectedTriangles().numSetBits, 0);
  }
}

TEST(Primitives, RefuseWhatHasNoFiniteShape) {
  const float nanRange[] = {0, kNan}, infBox[3][2] = {{0, 1}, {0, kInf}, {0, 1}};
  const std::map<std::string, Construct> refused = {
      {"axis -1", [](M& m) { constructRectangle(kU, kV, 0, -1, m, false); }},
      {"level", [](M& m) { constructSquare(kU, kInf, 0, m, true); }},
      {"null u", [](M& m) { constructRectangle(nullptr, kV, 0, 1, m, false); }},
      {"NaN range", [&](M& m) { constructRectangle(kU, kV, 0, 1, m, true, nanRange, kV); }},
      {"NaN corner", [&](M& m) { constructRectangularCorner(kU, nanRange, kV, m, true); }},
      {"infinite cuboid", [&](M& m) { constructCuboid(infBox, m); }},
      {"null cube", [](M& m) { constructCube(nullptr, m); }},
      {"circle of too many", [](M& m) { constructCircle({}, 1, 0, kIntMax, m); }},
      {"circle centre", [](M& m) { constructCircle(Point(0, 1e39, 0), 1, 0, 9, m); }},
      {"disk of too many", [](M& m) { constructDisk({}, 1, 0, kIntMax / 3, m); }},
      {"annulus of none", [](M& m) { constructAnnularArc(1, 2, 3, 0, m); }},
      {"annulus of too many", [](M& m) { constructAnnularArc(1, 2, 3, kIntMax / 2, m); }},
      {"sphere of too many", [](M& m) { constructSphere({}, 1, 6689, m); }},
      {"sphere radius", [](M& m) { constructSphere({}, kNan, 2, m); }},
      {"sphere past the floats", [](M& m) { constructSphere(Point(3e38, 0, 0), 1e38f, 2, m); }},
      {"parameter", [](M& m) { constructLineSegment(qvLinear::ParamLine(), m, 0, kNan); }},
  };
  const CompactMesh before = cluttered();
  CompactMesh mesh = before;
  for (const auto& [name, construct] : refused) {
    SCOPED_TRACE(name);
    construct(mesh);
    ASSERT_EQ(mesh.getNumVertices(), 9);
    ASSERT_EQ(mesh.getNumTriangles(), 18);
  }
  EXPECT_EQ(positionsOf(mesh), positionsOf(before));
  EXPECT_EQ(normalsOf(mesh), normalsOf(before));
  EXPECT_TRUE(mesh.getNormalsComputed() && mesh.getTriangleNormals() && mesh.getAttributes("heat"));
}

}  // namespace
}  // namespace qvGeom
