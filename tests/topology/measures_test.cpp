#include "geom/topology/measures.h"

#include <cmath>
#include <gtest/gtest.h>

#include "geom/construct/primitives.h"
#include "geom/repair/winding.h"
#include "geom/topology/mass_properties.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

CompactMesh rightTriangle() { return shapes::make({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}); }

TEST(Area, FollowsTheLinearPartOfThePlacement) {
  CompactMesh mesh = rightTriangle();
  MeshPlacement placement{qvLinear::AffineMatrixFlt::scale(2, 2, 2), &mesh};
  placement.transform[3][0] = 100;
  EXPECT_EQ(meshArea({{}, &mesh}, MeshChannel::vertices), 0.5f);
  qv::vector<float> fractions{9, 9, 9};
  EXPECT_EQ(meshArea({placement, placement}, MeshChannel::vertices, fractions), 4);
  EXPECT_EQ(fractions, (Floats{0.5f, 0.5f}));

  EXPECT_EQ(meshArea(placement, MeshChannel::uvs), 0) << "none yet";
  mesh.allocUVArray();
  mesh.getUVs()[1].set(0.0f, 1.0f);
  mesh.getUVs()[2].set(4.0f, 0.0f);
  EXPECT_EQ(meshArea(placement, MeshChannel::uvs), 2) << "without sign, and not placed";
  EXPECT_EQ(meshArea(placement, MeshChannel::sts), 0);
  mesh.allocSTArray();
  std::copy_n(mesh.getUVs(), 3, mesh.getSTs());
  EXPECT_EQ(meshArea(placement, MeshChannel::sts), 2);

  EXPECT_EQ(meshArea({placement}, static_cast<MeshChannel>(1), fractions), 0);
  EXPECT_TRUE(fractions.empty());
  // Below the tolerance the areas themselves remain.
  placement.transform = qvLinear::AffineMatrixFlt::scale(1e-3f, 1e-3f, 1);
  EXPECT_EQ(meshArea({placement, {{}, nullptr}}, MeshChannel::vertices, fractions), 0);
  EXPECT_THAT(fractions, testing::ElementsAre(testing::FloatEq(5e-7f), 0));

  // Beyond floats, and not numbers.
  mesh.resizeTriangleArray(2);
  mesh.resizeVertexArray(4);
  mesh.getTriangles()[1] = {{0, 1, 3}};
  mesh.getVertices()[3].x = mesh.getUVs()[3].u = kNan;
  EXPECT_EQ(meshArea({{}, &mesh}, MeshChannel::vertices), 0.5f);
  EXPECT_EQ(meshArea({{}, &mesh}, MeshChannel::uvs), 2);
  placement.transform = qvLinear::AffineMatrixFlt::scale(kMax, kMax, 1);
  EXPECT_EQ(meshArea({placement, placement}, MeshChannel::vertices, fractions), kMax);
  EXPECT_THAT(fractions, testing::Each(testing::FloatNear(1, 1e-6f)));
}

TEST(Boxes, CoverFiniteCoordinatesOnly) {
  const CompactMesh mesh = shapes::make({{1, kNan, 3}, {-1, 2, kNan}, {5, 5, 5}}, {});
  BoundingBox box;
  DebugLog log;
  meshBoundingBox(mesh, box);
  EXPECT_EQ(floatsOf(box.min, 6), (Floats{-1, 2, 3, 5, 5, 5}));
  EXPECT_THAT(log.messages.at(0), testing::MatchesRegex("meshBoundingBox: 3 vertices  [0-9.]+ s\n"));

  BitVector selection(2);  // shorter than the mesh: what lies past its end is not selected
  selection.setBit(0);
  meshBoundingBox(mesh, &selection, box);
  EXPECT_EQ(box.max[0], 1);
  EXPECT_EQ(box.max[1], -BoundingBox::kEmpty);
  double min[3], max[3];
  meshBoundingBox(CompactMesh(), min, max);
  EXPECT_EQ(min[2], double{BoundingBox::kEmpty});
  EXPECT_EQ(max[2], -double{BoundingBox::kEmpty});
}

TEST(Boxes, OfArrangementsSkipEmptyAndMissingMeshes) {
  CompactMesh mesh = rightTriangle(), empty;
  const auto shift = qvLinear::AffineMatrixFlt::translation({0, 10, 0});
  BoundingBox box;
  DebugLog log;
  arrangementBoundingBox({{shift, &mesh}, {shift, &empty}, {shift, nullptr}}, box);
  EXPECT_EQ(floatsOf(box.min, 6), (Floats{0, 10, 0, 1, 11, 0}));
  box.transform(qvLinear::AffineMatrix::scale(1e39, -1e39, 1));
  EXPECT_EQ(floatsOf(box.min, 6), (Floats{0, -kMax, 0, kMax, -kMax, 0}));
  EXPECT_THAT(log.messages.back(), testing::MatchesRegex("arrangementBoundingBox: 3 meshes  [0-9.]+ s\n"));
}

TEST(LongestEdge, LooksAtAllThreeSidesInFloat) {
  EXPECT_EQ(meshLongestEdge(CompactMesh()), 0);
  for (const auto& tri : shapes::Tris{{0, 1, 2}, {1, 2, 0}, {2, 0, 1}})
    EXPECT_EQ(meshLongestEdge(shapes::make({{0, 0, 0}, {3, 0, 0}, {0, 4, 0}}, {tri})), 5);
  const float uvs[] = {0, 0, 0.5f, 0, 0, 1.2f};
  const double expected = std::sqrt(static_cast<double>(0.5f * 0.5f + 1.2f * 1.2f));
  EXPECT_EQ(meshLongestEdge2D(rightTriangle(), uvs), expected);
}

TEST(Measures, AreTheSameForEveryNumberOfThreads) {
  CompactMesh mesh = shapes::torus(40, 30), one = rightTriangle();  // fewer items than threads
  const float exact = meshArea({{}, &mesh}, MeshChannel::vertices);
  BoundingBox whole, box;
  meshBoundingBox(mesh, whole);
  forThreadCounts([&] {
    EXPECT_FLOAT_EQ(meshArea({{}, &mesh}, MeshChannel::vertices), exact);
    meshBoundingBox(mesh, box);
    EXPECT_TRUE(equivalent(box, whole, 0));
    EXPECT_EQ(meshArea({{}, &one}, MeshChannel::vertices), 0.5f);
  });
}

using Meshes = qv::list<qv::Reference<CompactMesh>>;
using Numbers = std::vector<double>;

qv::Reference<CompactMesh> counted(const CompactMesh& mesh) {
  return qv::Reference<CompactMesh>(new CompactMesh(mesh));
}
CompactMesh box(float x0, float x1, float y0, float y1, float z0, float z1) {
  const float sides[3][2] = {{x0, x1}, {y0, y1}, {z0, z1}};
  CompactMesh mesh;
  constructCuboid(sides, mesh);
  return mesh;
}

// Area, volume, the six moments along an axis, and the centroid.
Numbers allOf(Meshes meshes, int axis) {
  const MeshMassCalculator calculator(meshes);
  Numbers m(11, 7);
  m[0] = calculator.calculateArea();
  m[1] = calculator.calculateVolume();
  calculator.calculateFirstMom(m[2], m[3], m[4], static_cast<MeshMassCalculator::Axis>(axis));
  calculator.calculateSecondMom(m[5], m[6], m[7], static_cast<MeshMassCalculator::Axis>(axis));
  calculator.calculateCentroid(m[8], m[9], m[10]);
  return m;
}
auto areNear(const Numbers& expected) { return testing::Pointwise(testing::DoubleNear(1e-9), expected); }

TEST(MassProperties, AgreeWithClosedFormsAndSumsOfTetrahedra) {
  CompactMesh cube = box(1, 2, 2, 3, 3, 4), reversed = cube;
  meshReverseWinding(reversed, false);
  const CompactMesh torus = shapes::torus(13, 9);
  Numbers sums(11);  // of tetrahedra over the origin
  for (int t = 0; t < torus.getNumTriangles(); ++t) {
    MeshTriangle const& tri = torus.getTriangles()[t];
    qvLinear::Vector p[3];
    for (int i = 0; i < 3; ++i) p[i] = torus.getVertices()[tri[i]].asPoint() - qvLinear::Point();
    const double v = dot(p[0], cross(p[1], p[2])) / 6;
    sums[1] += v;
    for (int k = 0; k < 3; ++k) {
      const double sum = p[0][k] + p[1][k] + p[2][k];
      sums[2 + k] += v * sum / 4;
      sums[5 + k] += v * (p[0][k] * p[0][k] + p[1][k] * p[1][k] + p[2][k] * p[2][k] + sum * sum) / 20;
    }
  }
  for (const int axis : {0, 1, 2}) {
    EXPECT_THAT(allOf({counted(cube)}, axis),
                areNear({6, 1, 1.5, 2.5, 3.5, 7.0 / 3, 19.0 / 3, 37.0 / 3, 1.5, 2.5, 3.5}));
    EXPECT_DOUBLE_EQ(allOf({counted(reversed)}, axis)[6], -19.0 / 3);
    const Numbers found = allOf({counted(torus)}, axis);
    for (int i = 1; i < 8; ++i) EXPECT_NEAR(found[i], sums[i], 1e-9) << i;
    const Numbers both = allOf({counted(cube), nullptr, counted(box(10, 14, 0, 2, 0, 4))}, axis);
    EXPECT_DOUBLE_EQ(both[1], 33);
    EXPECT_DOUBLE_EQ(both[5], 7.0 / 3 + 32 * (144 + 4.0 / 3));
    EXPECT_EQ(both[8], 6.75) << "the mean of the centroids";
  }
}

TEST(MassProperties, OfWhatHasNone) {
  const CompactMesh flat = shapes::make({{1, 2, 3}, {1, 2, 3}, {4, 5, 6}}, {{0, 1, 2}});
  EXPECT_EQ(allOf({}, 0), Numbers(11, 0));
  EXPECT_EQ(allOf({counted(flat), counted(CompactMesh())}, 0), Numbers(11, 0));
  EXPECT_EQ(allOf({counted(box(1, 2, 1, 2, 1, 2))}, 3)[5], 0) << "there is no such axis";
  EXPECT_EQ(allOf({counted(box(-3e38f, 3e38f, -3e38f, 3e38f, -3e38f, 3e38f))}, 2)[0], double{kMax});
  // An open mesh: its volume is counted from the middle of the last box.
  const CompactMesh wall = shapes::make({{2, 0, 0}, {2, 3, 0}, {2, 0, 3}}, {{0, 1, 2}});
  EXPECT_DOUBLE_EQ(allOf({counted(wall), counted(box(0, 2, 0, 1, 0, 1))}, 0)[1], 4.5 + 2);
}

}  // namespace
}  // namespace qvGeom
