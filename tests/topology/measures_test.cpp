#include "geom/topology/measures.h"

#include <cmath>
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace qvGeom
