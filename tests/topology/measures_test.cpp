#include "geom/topology/measures.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "tests/support/mesh_checks.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

CompactMesh rightTriangle() { return shapes::make({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}); }

TEST(Area, FollowsTheLinearPartOfThePlacement) {
  CompactMesh mesh = rightTriangle();
  MeshPlacement placement{{}, &mesh};
  EXPECT_EQ(meshArea(placement, MeshChannel::vertices), 0.5f);
  placement.transform = qvLinear::AffineMatrixFlt::scale(2, 2, 2);
  placement.transform[3][0] = 100;
  EXPECT_EQ(meshArea(placement, MeshChannel::vertices), 2);
  qv::vector<float> fractions{9, 9, 9};
  EXPECT_EQ(meshArea({placement, placement}, MeshChannel::vertices, fractions), 4);
  EXPECT_EQ(fractions, (std::vector<float>{0.5f, 0.5f}));
}

TEST(Area, OfTextureCoordinatesHasNoSign) {
  CompactMesh mesh = rightTriangle();
  const MeshPlacement placement{qvLinear::AffineMatrixFlt::scale(3, 3, 3), &mesh};
  EXPECT_EQ(meshArea(placement, MeshChannel::uvs), 0) << "none yet";
  mesh.allocUVArray();
  mesh.getUVs()[1].set(0.0f, 1.0f);
  mesh.getUVs()[2].set(4.0f, 0.0f);
  EXPECT_EQ(meshArea(placement, MeshChannel::uvs), 2);
  EXPECT_EQ(meshArea(placement, MeshChannel::sts), 0);
  mesh.allocSTArray();
  std::copy_n(mesh.getUVs(), 3, mesh.getSTs());
  EXPECT_EQ(meshArea(placement, MeshChannel::sts), 2);
}

TEST(Area, IsZeroWhereThereIsNothingToMeasure) {
  CompactMesh mesh = rightTriangle();
  EXPECT_EQ(meshArea({{}, nullptr}, MeshChannel::vertices), 0);
  EXPECT_EQ(meshArea({{}, &mesh}, static_cast<MeshChannel>(1)), 0);
  qv::vector<float> fractions{1};
  EXPECT_EQ(meshArea({{{}, &mesh}}, static_cast<MeshChannel>(1), fractions), 0);
  EXPECT_TRUE(fractions.empty());
  // Below the tolerance the areas themselves remain.
  const MeshPlacement tiny{qvLinear::AffineMatrixFlt::scale(1e-3f, 1e-3f, 1), &mesh};
  EXPECT_EQ(meshArea({tiny, {{}, nullptr}}, MeshChannel::vertices, fractions), 0);
  EXPECT_FLOAT_EQ(fractions[0], 5e-7f);
  EXPECT_EQ(fractions[1], 0);
}

TEST(Boxes, CoverFiniteCoordinatesOnly) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const CompactMesh mesh = shapes::make({{1, nan, 3}, {-1, 2, nan}, {5, 5, 5}}, {});
  BoundingBox box;
  DebugLog log;
  meshBoundingBox(mesh, box);
  EXPECT_EQ(floatsOf(box.min, 3), (std::vector<float>{-1, 2, 3}));
  EXPECT_EQ(floatsOf(box.max, 3), (std::vector<float>{5, 5, 5}));
  EXPECT_THAT(log.messages.at(0), testing::MatchesRegex("meshBoundingBox: 3 vertices  [0-9.]+ s\n"));

  BitVector selection(2);  // shorter than the mesh: what lies past its end is not selected
  selection.setBit(0);
  meshBoundingBox(mesh, &selection, box);
  EXPECT_EQ(box.max[0], 1);
  EXPECT_EQ(box.max[1], -BoundingBox::kEmpty);
  selection.resize(0);
  meshBoundingBox(mesh, &selection, box);
  EXPECT_FALSE(box.isValid());
  double min[3], max[3];
  meshBoundingBox(CompactMesh(), min, max);
  EXPECT_EQ(min[2], double{BoundingBox::kEmpty});
  EXPECT_EQ(max[2], -double{BoundingBox::kEmpty});
}

TEST(Boxes, OfArrangementsSkipEmptyAndMissingMeshes) {
  CompactMesh mesh = rightTriangle();
  CompactMesh empty;
  qvLinear::AffineMatrixFlt shift;
  shift[3][1] = 10;
  BoundingBox box;
  DebugLog log;
  arrangementBoundingBox({{shift, &mesh}, {shift, &empty}, {shift, nullptr}}, box);
  EXPECT_EQ(floatsOf(box.min, 3), (std::vector<float>{0, 10, 0}));
  EXPECT_EQ(floatsOf(box.max, 3), (std::vector<float>{1, 11, 0}));
  EXPECT_THAT(log.messages.back(), testing::MatchesRegex("arrangementBoundingBox: 3 meshes  [0-9.]+ s\n"));
}

TEST(LongestEdge, LooksAtAllThreeSidesInFloat) {
  EXPECT_EQ(meshLongestEdge(CompactMesh()), 0);
  for (int turn = 0; turn < 3; ++turn) {
    const CompactMesh mesh =
        shapes::make({{0, 0, 0}, {3, 0, 0}, {0, 4, 0}}, {{turn, (turn + 1) % 3, (turn + 2) % 3}});
    EXPECT_EQ(meshLongestEdge(mesh), 5);
  }
  const float uvs[] = {0, 0, 0.5f, 0, 0, 1.2f};
  const double expected = std::sqrt(static_cast<double>(0.5f * 0.5f + 1.2f * 1.2f));
  EXPECT_EQ(meshLongestEdge2D(rightTriangle(), uvs), expected);
}

TEST(Measures, AreTheSameForEveryNumberOfThreads) {
  CompactMesh mesh = shapes::torus(40, 30);
  const float exact = meshArea({{}, &mesh}, MeshChannel::vertices);
  BoundingBox whole;
  meshBoundingBox(mesh, whole);
  forThreadCounts([&] {
    EXPECT_FLOAT_EQ(meshArea({{}, &mesh}, MeshChannel::vertices), exact);
    BoundingBox box;
    meshBoundingBox(mesh, box);
    EXPECT_TRUE(equivalent(box, whole, 0));
    CompactMesh two = rightTriangle();  // fewer items than threads
    EXPECT_EQ(meshArea({{}, &two}, MeshChannel::vertices), 0.5f);
  });
}

}  // namespace
}  // namespace qvGeom
