#include "geom/construct/primitives.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <tuple>

#include "geom/topology/measures.h"
#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using qvLinear::ParamPlane;
using qvLinear::Point;
using M = CompactMesh;

constexpr int kIntMax = std::numeric_limits<int>::max();
constexpr double kPi = std::numbers::pi;

// Positions and texture coordinates to six decimals, and the indices of triangles, lines and line strips.
using Arrays = std::tuple<Floats, Ints, Floats>;
Arrays arraysOf(const M& mesh) {
  Floats positions = positionsOf(mesh), uvs = uvsOf(mesh);
  for (Floats* all : {&positions, &uvs})
    for (float& x : *all) x = static_cast<float>(std::round(1e6 * double{x}) / 1e6);
  Ints all = indicesOf(mesh);
  for (int i = 0; i < mesh.getNumLines(); ++i)
    all.insert(all.end(), mesh.getLines()[i].v, mesh.getLines()[i].v + 2);
  all.insert(all.end(), mesh.getLineStripPoints(), mesh.getLineStripPoints() + mesh.getNumLineStripPoints());
  return {positions, all, uvs};
}

Point vertexOf(const M& mesh, int v) { return mesh.getVertices()[v].asPoint(); }
double areaOf(M& mesh) { return meshArea({{}, &mesh}, MeshChannel::vertices); }

// Signed; for any origin when the surface is closed.
double volumeOf(const M& mesh) {
  double sum = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const auto at = [&](int i) { return vertexOf(mesh, mesh.getTriangles()[t][i]) - Point(); };
    sum += dot(at(0), cross(at(1), at(2))) / 6;
  }
  return sum;
}

// Every triangle faces the side to which the unit normals of its corners point.
void expectNormalsMatchTriangles(const M& mesh) {
  for (int t = 0; mesh.getNormals() && t < mesh.getNumTriangles(); ++t)
    for (const int v : mesh.getTriangles()[t].v) {
      const auto normal = mesh.getNormals()[v].asVector();
      ASSERT_NEAR(length(normal), 1, 1e-6) << "vertex " << v;
      ASSERT_GT(dot(meshTriNormal(mesh.getVerticesRaw(), mesh.getTriangles()[t].v), normal), 0.5) << t;
    }
}

// A mesh that holds something of everything.
M cluttered() {
  M mesh = shapes::torus(3, 3);
  meshComputeNormals(mesh);
  meshComputeTriangleNormals(mesh);
  mesh.allocUVArray();
  mesh.allocAttributes("heat", 3);
  mesh.resizeTriStripArrays(1, 3);
  mesh.resizeTriFanArrays(1, 3);
  for (BitVector* selection : {&mesh.getSelectedVertices(), &mesh.getSelectedTriangles()}) {
    selection->resize(9);
    selection->setAllBits();
  }
  return mesh;
}

const float kU[] = {1, 4}, kV[] = {2, 3}, kW[] = {-1, 1};
const float kBox[3][2] = {{1, 4}, {2, 3}, {-1, 1}};
const Ints kQuad = {0, 1, 2, 3, 2, 1};

TEST(Primitives, HaveTheArraysPromised) {
  M mesh;
  constructRectangle(kU, kV, 7, 2, mesh, false);
  EXPECT_EQ(arraysOf(mesh), Arrays({1, 2, 7, 4, 2, 7, 1, 3, 7, 4, 3, 7}, kQuad, {}));
  constructRectangle(kU, kV, 7, 0, mesh, true, kU, kW);
  EXPECT_EQ(arraysOf(mesh), Arrays({7, 1, 2, 7, 4, 2, 7, 1, 3, 7, 4, 3}, kQuad, {1, -1, 4, -1, 1, 1, 4, 1}));
  constructRectangle(ParamPlane{{1, 1, 1}, {0, 2, 0}, {0, 0, 3}}, mesh);
  EXPECT_EQ(arraysOf(mesh), Arrays({1, 1, 1, 1, 3, 1, 1, 1, 4, 1, 3, 4}, kQuad, {0, 0, 1, 0, 0, 1, 1, 1}));
  expectNormalsMatchTriangles(mesh);
  constructRectangle(ParamPlane{{1, 1, 1}, {0, 2, 0}, {0, -4, 0}}, mesh);
  EXPECT_EQ(normalsOf(mesh), (Floats{0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1})) << "no direction";
  constructRectangularCorner(kU, kV, kW, mesh, true, kU, kV);
  EXPECT_EQ(arraysOf(mesh),
            Arrays({1, 2, 1, 4, 2, 1, 1, 2, -1, 4, 2, -1, 1, 3, -1, 4, 3, -1},
                   {0, 1, 2, 3, 2, 1, 2, 3, 4, 5, 4, 3}, {1, 2, 4, 2, 1, 2.5f, 4, 2.5f, 1, 3, 4, 3}));
  expectNormalsMatchTriangles(mesh);
  constructDisk({1, 2, 3}, 2, 2, 4, mesh);
  EXPECT_EQ(arraysOf(mesh),
            Arrays({1, 2, 3, 1, 4, 3, -1, 2, 3, 1, 0, 3, 3, 2, 3}, {0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 4, 1},
                   {0.5f, 0.5f, 0.5f, 1, 0, 0.5f, 0.5f, 0, 1, 0.5f}));
  constructCircle({1, 2, 3}, 2, 0, 4, mesh);
  EXPECT_EQ(arraysOf(mesh), Arrays({1, 4, 3, 1, 2, 5, 1, 0, 3, 1, 2, 1, 1, 4, 3}, {0, 1, 2, 3, 4},
                                   {1, 0.5f, 0.5f, 1, 0, 0.5f, 0.5f, 0, 1, 0.5f}));
  constructAnnularArc(1, 3, kPi, 3, mesh);
  EXPECT_EQ(arraysOf(mesh),
            Arrays({1, 0, 0, 3, 0, 0, 0, 1, 0, 0, 3, 0, -1, 0, 0, -3, 0, 0},
                   {0, 2, 1, 1, 2, 3, 2, 4, 3, 3, 4, 5}, {0, 0, 0, 1, 0.5f, 0, 0.5f, 1, 1, 0, 1, 1}));
  expectNormalsMatchTriangles(mesh);
  constructAnnularArc(1, 4, 1, 1, mesh);
  EXPECT_EQ(arraysOf(mesh), Arrays({1, 0, 0, 4, 0, 0}, {}, {0, 0, 0, 1}));
  constructSphere({}, 1, 1, mesh);
  EXPECT_EQ(arraysOf(mesh),
            Arrays({0, 0, 1, 0, 0, -1, 0, 1, 0, 1, 0, 0, 0, -1, 0, -1, 0, 0},
                   {0, 2, 5, 0, 3, 2, 0, 4, 3, 0, 5, 4, 2, 1, 5, 3, 1, 2, 4, 1, 3, 5, 1, 4}, {}));
  constructLineSegment(qvLinear::ParamLine({1, 2, 3}, {1, 0, -1}), mesh, -2, 9);
  EXPECT_EQ(arraysOf(mesh), Arrays({1, 2, 3, 2, 2, 2}, {0, 1}, {}));
  ASSERT_TRUE(mesh.getAttributes("T") && mesh.getAttributes("T")->asFloat1());
  EXPECT_EQ(floatsOf(mesh.getAttributes("T")->asFloat(), 2), (Floats{-2, 9}));
  const auto infinite = constructInfiniteLine({{1, 1, 1}, {0, 0, 2}});
  EXPECT_EQ(arraysOf(*infinite), Arrays({1, 1, -1, 1, 1, 1, 1, 1, 3}, {0, 1, 1, 2}, {}));
  EXPECT_EQ(floatsOf(infinite->getAttributes("T")->asFloat(), 3), (Floats{0, 1, 0}));
  const auto closed = constructLineStrip(qv::vector<qvLinear::Point2>{{0, 1}, {2, 3}, {4, 5}}, true);
  EXPECT_EQ(arraysOf(*closed), Arrays({0, 1, 0, 2, 3, 0, 4, 5, 0, 0, 1, 0}, {0, 1, 2, 0}, {}));
  const auto open = constructLineStrip(qv::vector<Point>{{0, 1, 2}, {3, 4, 5}}, false);
  EXPECT_EQ(arraysOf(*open), Arrays({0, 1, 2, 3, 4, 5}, {0, 1}, {}));
  Polyline2d boundary;  // the last vertex repeats the first and counts once
  for (const qvLinear::Point2& p : {qvLinear::Point2(0, 0), {1, 0}, {1, 2}, {0, 1}, {0, 0}}) {
    const auto fan = constructPolygonFromConvexBoundary(boundary);
    EXPECT_EQ(fan ? fan->getNumTriangles() : 0, std::max(0, boundary.getNumVertices() - 2));
    boundary.append(p, 0);
  }
  const auto fan = constructPolygonFromConvexBoundary(boundary);
  EXPECT_EQ(arraysOf(*fan), Arrays({0, 0, 0, 1, 0, 0, 1, 2, 0, 0, 1, 0}, {0, 1, 2, 0, 2, 3}, {}));
  boundary.append({1, double{kInf}}, 6);
  EXPECT_FALSE(constructPolygonFromConvexBoundary(boundary));
}

TEST(Primitives, LieInThePlaneOfTheirAxisAndFaceOutward) {
  M mesh;
  for (int axis = 0; axis < 3; ++axis) {
    constructSquare(kU, -2, axis, mesh, true);
    expectNormalsMatchTriangles(mesh);
    EXPECT_TRUE((&mesh.getNormals()[3].x)[axis] == 1 && (&mesh.getVertices()[3].x)[axis] == -2);
    constructDisk({1, 2, 3}, 2, axis, 100, mesh);
    expectNormalsMatchTriangles(mesh);
    EXPECT_EQ((&mesh.getNormals()[0].x)[axis], 1);
    EXPECT_NEAR(areaOf(mesh), 4 * kPi, 0.02);
  }
  constructCuboid(kBox, mesh);
  expectNormalsMatchTriangles(mesh);
  EXPECT_DOUBLE_EQ(volumeOf(mesh), 3 * 1 * 2);
  for (int v = 0; v < 24; ++v) EXPECT_EQ((&mesh.getNormals()[v].x)[v / 8], v % 8 < 4 ? 1 : -1) << v;
  constructCube(kU, mesh);
  EXPECT_DOUBLE_EQ(volumeOf(mesh), 27);

  const float center[] = {1, 2, 3};
  constructBoxEdgeLineStrips(BoundingBox(center, 4), mesh);
  EXPECT_EQ(std::get<1>(arraysOf(mesh)), (Ints{0, 1, 5, 7, 2, 0, 4, 5, 1, 3, 2, 6, 3, 7, 6, 4}));
}

TEST(Arc, EndsExactlyAtItsEnd) {
  const float pi = static_cast<float>(kPi);
  struct Case {
    float start, end;
    int perPi, segments;  // 0 segments: refused
  };
  for (const Case& c :
       {Case{0, pi, 8, 8}, Case{0, static_cast<float>(kPi * 5 / 6), 6, 5},  // whole only in float
        Case{0.5f, 0.5f + 0.99f * pi, 4, 3},                                // a rest that does not count
        Case{pi, 0, -6, 6}, Case{pi, 0, 6, 0}, Case{0, 0.9f * pi, 1, 0}, Case{kNan, 1, 8, 0},
        Case{0, kInf, 8, 0}, Case{0, 3 * pi, kIntMax, 0}, Case{-kMax, kMax, kIntMax, 0}}) {
    M mesh;
    constructArc({1, 0, 0}, 2, c.start, c.end, 2, c.perPi, mesh);
    ASSERT_EQ(mesh.getNumLines(), c.segments) << c.start << " to " << c.end;
    if (c.segments == 0) continue;
    ASSERT_EQ(mesh.getNumVertices(), c.segments + 1);
    EXPECT_EQ(vertexOf(mesh, 0)[0], static_cast<float>(1 + 2 * std::cos(double{c.start})));
    EXPECT_EQ(vertexOf(mesh, c.segments)[1], static_cast<float>(2 * std::sin(double{c.end})));
    EXPECT_EQ(mesh.getLines()[c.segments - 1][1], c.segments);
    EXPECT_NEAR(distance(vertexOf(mesh, c.segments - 1), vertexOf(mesh, c.segments)),
                distance(vertexOf(mesh, 0), vertexOf(mesh, 1)), 1e-5);
  }
}

TEST(AnnularArc, IsUpdatedInPlace) {
  M mesh;
  constructAnnularArc(1, 3, 1, 2, mesh);
  NoticeLog notices(mesh);
  updateAnnularArc(2, 5, -kPi, mesh);
  const Arrays updated({2, 0, 0, 5, 0, 0, -2, 0, 0, -5, 0, 0}, {0, 2, 1, 1, 2, 3}, {0, 0, 0, 1, 1, 0, 1, 1});
  EXPECT_EQ(arraysOf(mesh), updated);
  expectNormalsMatchTriangles(mesh);
  EXPECT_EQ(notices.sent, (Notices{{MeshModification::GeometryModified, MeshModification::NormalsModified}}));
  updateAnnularArc(kNan, 5, 1, mesh);
  updateAnnularArc(1, 5, double{kInf}, mesh);
  EXPECT_EQ(arraysOf(mesh), updated);
  mesh.resizeTriangleArray(3);
  updateAnnularArc(1, 3, 1, mesh);
  EXPECT_EQ(notices.sent.size(), 1u);
  M odd = shapes::make({{0, 1, 2}});
  updateAnnularArc(1, 4, 1, odd);
  EXPECT_FALSE(odd.getNormals());
}

TEST(Sphere, IsClosedAndOutward) {
  M mesh;
  for (const int n : {2, 3, 16}) {
    SCOPED_TRACE(n);
    const Point centre(5, -2, 1);
    constructSphere(centre, 2, n, mesh);
    EXPECT_EQ(mesh.getNumVertices(), 4 * n * (2 * n - 1) + 2);
    EXPECT_EQ(mesh.getNumTriangles(), 2 * mesh.getNumVertices() - 4);
    EXPECT_EQ(Adjacency(mesh).boundaries.size(), 0);
    expectNormalsMatchTriangles(mesh);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
      ASSERT_NEAR(distance(vertexOf(mesh, v), centre + 2.0 * mesh.getNormals()[v].asVector()), 0, 1e-6);
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
    ASSERT_TRUE(mesh && test::isSimplicialSurface(*mesh));
    EXPECT_EQ(test::countsOf(*mesh),
              (test::Counts{(4 << 2 * levels) + 2, 12 << 2 * levels, 8 << 2 * levels}));
    for (auto f = mesh->firstFace(); f; f = f.nextInMesh()) {
      const auto e = f.firstEdge();
      const auto at = [&](TopoMeshEdge corner) { return corner.start().point() - plane.origin; };
      ASSERT_GT(dot(at(e), cross(at(e.next()), at(e.prev()))), 0) << "outward";
      ASSERT_NEAR(length(at(e)), 2, 1e-12);
    }
    auto v = mesh->firstVertex();
    for (const Point& p : {Point(5, 0, 1), {5, -2, 3}, {5, -4, 1}, {5, -2, -1}, {7, -2, 1}, {3, -2, 1}}) {
      EXPECT_LT(distance(v.point(), p), 1e-12);
      v = v.nextInMesh();
    }
  }
  for (const int levels : {0, -1, 14, kIntMax, -kIntMax - 1})
    EXPECT_FALSE(constructSubdividedOctahedron(plane, levels, 1));
  EXPECT_FALSE(constructSubdividedOctahedron({{}, {1, 0, 0}, {-2, 0, 0}}, 1, 1)) << "no plane";
}

TEST(Primitives, RefuseWhatHasNoFiniteShape) {
  const float nanRange[] = {0, kNan}, infBox[3][2] = {{0, 1}, {0, kInf}, {0, 1}};
  M mesh = cluttered();
  NoticeLog notices(mesh);
  constructRectangle(kU, kV, 0, -1, mesh, false);
  constructRectangle(nullptr, kV, 0, 1, mesh, false);
  constructRectangle(kU, kV, 0, 1, mesh, true, nanRange, kV);
  constructRectangularCorner(kU, nanRange, kV, mesh, true);
  constructCuboid(infBox, mesh);
  constructBoxEdgeLineStrips(BoundingBox(), mesh);
  constructCircle({}, 1, 0, kIntMax, mesh);
  constructCircle(Point(0, 1e39, 0), 1, 0, 9, mesh);
  constructDisk({}, 1, 0, kIntMax / 3, mesh);
  constructAnnularArc(1, 2, 3, kIntMax / 2, mesh);
  constructSphere({}, 1, 6689, mesh);
  constructSphere(Point(3e38, 0, 0), 1e38f, 2, mesh);
  constructLineSegment(qvLinear::ParamLine(), mesh, 0, kNan);
  addUniformNormals(mesh, {0, 0, 0});
  addUniformNormals(mesh, {0, double{kInf}, 0});
  EXPECT_EQ(arraysOf(mesh), arraysOf(cluttered()));
  EXPECT_EQ(normalsOf(mesh), normalsOf(cluttered()));
  EXPECT_TRUE(mesh.getNormalsComputed() && mesh.getTriangleNormals() && mesh.getAttributes("heat"));
  EXPECT_FALSE(constructInfiniteLine({{1, 1, 1}, {0, 0, 1e39}}));
  EXPECT_FALSE(constructLineStrip(qv::vector<Point>{{0, 1, 2}}, true));
  EXPECT_FALSE(constructLineStrip(qv::vector<Point>{{0, 1, 2}, {0, double{kNan}, 0}}, true));

  addUniformNormals(mesh, {0, -3, 4});
  for (int v = 0; v < 9; ++v) EXPECT_THAT(floatsOf(&mesh.getNormals()[v].x, 3), areNear({0, -0.6f, 0.8f}));
  EXPECT_TRUE(!mesh.getNormalsComputed() && mesh.getNumTriangles() == 18 && mesh.getAttributes("heat"));
  const std::size_t sent = notices.sent.size();
  constructLineSegment({1, 2, 3}, {4, 5, 6}, mesh);
  EXPECT_EQ(arraysOf(mesh), Arrays({1, 2, 3, 4, 5, 6}, {0, 1}, {})) << "nothing old remains";
  EXPECT_EQ(mesh.getNumAttributes(), 1);
  EXPECT_EQ(mesh.getNumTriStrips() + mesh.getNumTriFans() + mesh.getNumTriFanPoints(), 0);
  EXPECT_EQ(mesh.getSelectedVertices().numSetBits + mesh.getSelectedTriangles().numSetBits, 0);
  EXPECT_FALSE(mesh.getTriangleNormals());
  EXPECT_EQ(notices.sent.size(), sent);
}

}  // namespace
}  // namespace qvGeom
