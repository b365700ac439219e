#include "geom/topology/transforms.h"

#include <cmath>
#include <gtest/gtest.h>

#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::AffineMatrixFlt;
using qvUtil::Transform2d;
using M = MeshModification;

AffineMatrixFlt rows(const Floats& entries) {
  AffineMatrixFlt m;
  std::copy(entries.begin(), entries.end(), &m.m[0][0]);
  return m;
}

const AffineMatrixFlt kSkew = rows({2, 1, 0, 0, 3, 0.5f, 1, 0, -4, 9, 9, 9});

// A triangle that leans, with both kinds of normals.
CompactMesh leaning() {
  CompactMesh mesh = shapes::make({{1, 0, 0}, {0, 1, 0}, {0, 1, 1}}, {{0, 1, 2}});
  meshComputeNormals(mesh);
  meshComputeTriangleNormals(mesh);
  return mesh;
}

TEST(Transform, TakesPointsByRowsInDouble) {
  float points[] = {1, 2, 3, 16777216, 1, -16777216, kMax, -kMax, 1};
  meshTransform(points, 1, rows({1, 0, 0, 0, 2, 0, 0, 0, 3, 10, 20, 30}));
  meshTransform(points + 3, 1, rows({1, 0, 0, 1, 1, 0, 1, 0, 1, 0, 0, 0}));
  meshTransform(points + 6, 1, AffineMatrixFlt::scale(2, kMax, 1));
  EXPECT_EQ(floatsOf(points, 4), (Floats{11, 24, 39, 1})) << "a sum in float would lose the 1";
  EXPECT_EQ(floatsOf(points + 6, 3), (Floats{kMax, -kMax, 1})) << "finite stays finite";
}

TEST(Transform, KeepsNormalsPerpendicular) {
  const float half = static_cast<float>(std::sqrt(0.5));
  const std::pair<AffineMatrixFlt, Floats> cases[] = {
      // the image of (1, 1, 0) / sqrt 2
      {AffineMatrixFlt::scale(2, 1, 1), {0.447214f, 0.894427f, 0}},
      {AffineMatrixFlt::scale(1e6f, 1e6f, 1e6f), {half, half, 0}},
      {AffineMatrixFlt::scale(1e-12f, 1e-12f, 1e-12f), {half, half, 0}},
      {rows({0, 1, 0, -1, 0, 0, 0, 3, 1, 5, 6, 7}), {-0.301511f, 0.301511f, -0.904534f}},
      {AffineMatrixFlt::scale(0, 1, 1), {1, 0, 0}},  // flattened across, along, to a line
      {AffineMatrixFlt::scale(1, 1, 0), {0, 0, 1}},
      {AffineMatrixFlt::scale(1, 0, 0), {half, half, 0}},
  };
  for (const auto& [matrix, expected] : cases) {
    float normal[] = {half, half, 0};
    meshTransformNormals(normal, 1, matrix);
    EXPECT_THAT(floatsOf(normal, 3), areNear(expected));
  }
  CompactMesh mesh = leaning();
  meshTransform(mesh, kSkew);
  const qvLinear::Normal fresh = meshTriNormal(mesh.getVerticesRaw(), mesh.getTrianglesRaw());
  for (const MeshNormal* n : {&mesh.getNormals()[2], &mesh.getTriangleNormals()[0]})
    EXPECT_NEAR(dot(n->asVector(), fresh), -1, 1e-6) << "mirrored: the triangle's side has changed";
}

TEST(Transform, SendsOneNoticeThatNamesWhatThereIs) {
  CompactMesh mesh = leaning();
  NoticeLog notices(mesh);
  DebugLog log;
  const auto shift = [&](auto& what) { meshTransform(what, AffineMatrixFlt::translation({1, 2, 3})); };
  shift(mesh);
  mesh.deleteNormals();
  shift(mesh);
  mesh.allocNormalArray();
  shift(static_cast<PointMesh&>(mesh));
  EXPECT_EQ(positionsOf(mesh), (Floats{4, 6, 9, 3, 7, 9, 3, 7, 10}));
  EXPECT_EQ(notices.sent, (Notices{{M::GeometryModified, M::NormalsModified | M::TriangleNormalsModified},
                                   {M::GeometryModified, M::TriangleNormalsModified},
                                   {M::GeometryModified, M::NormalsModified}}));
  EXPECT_TRUE(log.messages.empty());
}

TEST(Transform, LeavesEverythingAloneWhenNextToTheIdentityOrNotFinite) {
  CompactMesh mesh = leaning();
  NoticeLog notices(mesh);
  for (int i = 0; i < 12; ++i)
    for (const float change : {qvLinear::epsilonTolFlt, -qvLinear::epsilonTolFlt, kNan, kInf, -kInf}) {
      AffineMatrixFlt matrix;
      float& entry = (&matrix.m[0][0])[i];
      if (entry == 1 && std::isfinite(change)) continue;  // rounding takes 1 - 1e-6 past the tolerance
      entry += change;
      meshTransform(mesh, matrix);
      meshTransform(static_cast<PointMesh&>(mesh), matrix);
      if (std::isfinite(change)) continue;
      meshTransform(mesh.getVerticesRaw(), 3, matrix);
      meshTransformNormals(mesh.getNormalsRaw(), 3, matrix);
    }
  EXPECT_EQ(positionsOf(mesh), positionsOf(leaning()));
  EXPECT_EQ(normalsOf(mesh), normalsOf(leaning()));
  EXPECT_TRUE(notices.sent.empty());
  AffineMatrixFlt justPast;
  justPast[3][0] = 1.01e-6f;
  meshTransform(mesh, justPast);
  EXPECT_EQ(notices.sent.size(), 1u);
  meshTransform(nullptr, 3, justPast);
  meshTransformNormals(nullptr, 3, justPast);
}

TEST(Transform2d, NamesOnlyTheBuiltInChannels) {
  CompactMesh mesh = leaning();
  mesh.allocUVArray();
  for (int i = 0; i < 3; ++i) mesh.getUVs()[i].set(static_cast<float>(i), 1.0f);
  mesh.allocAttributes("paint", 2);
  mesh.allocAttributes("heat", 3);
  NoticeLog notices(mesh);
  const Transform2d t{2, -1, 10, 0.5f, 1};
  const unsigned before = mesh.getAttributes("paint")->version();
  for (const char* name : {"uvs", "sts", "paint", "heat", "none", "vertices"}) meshTransform2d(mesh, name, t);
  EXPECT_EQ(floatsOf(mesh.getAttributes("paint")->asFloat(), 2), (Floats{10, 0.5f}));
  EXPECT_GT(mesh.getAttributes("paint")->version(), before);
  EXPECT_EQ(mesh.getAttributes("heat")->asFloat()[0], 0) << "three components";
  for (const Transform2d& refused :
       {Transform2d(), Transform2d{kNan, 1, 0, 0, 1}, Transform2d{1, 1, 0, kInf, 1}})
    meshTransform2d(mesh, "uvs", refused);
  EXPECT_EQ(uvsOf(mesh), (Floats{10, -0.5f, 12, -0.5f, 14, -0.5f}));
  EXPECT_EQ(notices.sent,
            (Notices{{M::AttributesModified, M::UVsModified}, {M::AttributesModified, M::STsModified}}));
  float pair[] = {kMax, 16777216};
  meshTransform2d(pair, 1, {4, 1, 0, 1, 0});
  EXPECT_EQ(floatsOf(pair, 2), (Floats{kMax, 16777216})) << "single precision, and finite";
}

TEST(Transform2d, ChangesBasis) {
  EXPECT_TRUE(changeOfBasis2d({{1, -1}, {3, 0}}, {{0, 10}, {1, 14}}) == (Transform2d{0.5f, 4, -0.5f, 14, 1}));
  EXPECT_TRUE(changeOfBasis2d({{3, 0}, {3, 1}}, {{5, 6}, {7, 8}}) == (Transform2d{0, 2, 5, 6, 1}));
  EXPECT_TRUE(changeOfBasis2d({}, {{5, 6}, {7, 8}}) == (Transform2d{0, 0, 5, 6, 1})) << "empty source";
  EXPECT_TRUE(changeOfBasis2d({{0, 0}, {1e-300, 1}}, {{0, -1e300}, {1, 0}}) ==
              (Transform2d{kMax, kMax, 0, -kMax, 1}));
}

TEST(TriBoundingBox, CoversTheThreeCorners) {
  const CompactMesh mesh =
      shapes::make({{0, 5, 0}, {1, -2, 0}, {9, 9, 9}, {-1, 0, 3}, {kNan, 0, 0}}, {{0, 1, 3}, {2, 2, 4}});
  BoundingBox boxes[2];
  for (BoundingBox& box : boxes) box.zero();  // an old extent counts for nothing
  meshTriBoundingBoxes(mesh.getVertices(), mesh.getTriangles(), 2, boxes);
  EXPECT_EQ(floatsOf(boxes[0].min, 6), (Floats{-1, -2, 0, 1, 5, 3}));
  EXPECT_EQ(floatsOf(boxes[1].min, 6), (Floats{9, 0, 0, 9, 9, 9}));
}

TEST(Transform, IsTheSameForEveryNumberOfThreads) {
  CompactMesh source = shapes::torus(101, 100), first;  // enough vertices for the shared pool
  source.allocUVArray();
  for (int v = 0; v < source.getNumVertices(); ++v) source.getUVs()[v].set(source.getVertices()[v].x, 1.0f);
  meshComputeNormals(source);
  forThreadCounts([&] {
    CompactMesh mesh = source;
    meshTransform(mesh, kSkew);
    meshTransform2d(mesh, "uvs", {3, 1, 0.1f, 0, 1});
    if (first.getNumVertices() == 0) first = mesh;
    EXPECT_TRUE(positionsOf(mesh) == positionsOf(first));
    EXPECT_TRUE(normalsOf(mesh) == normalsOf(first));
    EXPECT_TRUE(uvsOf(mesh) == uvsOf(first));
  });
  const MeshVertex& last = source.getVertices()[10099];
  EXPECT_EQ(first.getVertices()[10099].x, 2 * last.x + last.z + 9);
}

}  // namespace
}  // namespace qvGeom
