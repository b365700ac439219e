#include "geom/topology/transforms.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/notice_log.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

using qvLinear::AffineMatrixFlt;
using qvUtil::Transform2d;
using Floats = std::vector<float>;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kMax = std::numeric_limits<float>::max();

AffineMatrixFlt rows(const Floats& entries) {
  AffineMatrixFlt m;
  std::copy(entries.begin(), entries.end(), &m.m[0][0]);
  return m;
}

// A triangle that leans, with both kinds of normals.
CompactMesh leaning() {
  CompactMesh mesh = shapes::make({{1, 0, 0}, {0, 1, 0}, {0, 1, 1}}, {{0, 1, 2}});
  meshComputeNormals(mesh);
  meshComputeTriangleNormals(mesh);
  return mesh;
}

TEST(Transform, TakesPointsByRowsInDouble) {
  float points[] = {1, 2, 3, 16777216, 1, -16777216};
  meshTransform(points, 2, rows({1, 0, 0, 0, 2, 0, 0, 0, 3, 10, 20, 30}));
  EXPECT_EQ(floatsOf(points, 3), (Floats{11, 24, 39}));
  float cancelling[] = {16777216, 1, -16777216};
  meshTransform(cancelling, 1, rows({1, 0, 0, 1, 1, 0, 1, 0, 1, 0, 0, 0}));
  EXPECT_EQ(cancelling[0], 1) << "a sum in float would lose the 1";
  float huge[] = {kMax, -kMax, 1};
  meshTransform(huge, 1, AffineMatrixFlt::scale(2, kMax, 1));
  EXPECT_EQ(floatsOf(huge, 3), (Floats{kMax, -kMax, 1})) << "finite stays finite";
}

TEST(Transform, KeepsNormalsPerpendicular) {
  struct Case {
    const char* name;
    AffineMatrixFlt matrix;
    Floats expected;  // image of (1, 1, 0) / sqrt 2
  };
  const float half = static_cast<float>(std::sqrt(0.5));
  for (const Case& c : {
           Case{"uniform", AffineMatrixFlt::scale(2, 2, 2), {half, half, 0}},
           Case{"stretched", AffineMatrixFlt::scale(2, 1, 1), {0.447214f, 0.894427f, 0}},
           Case{"huge", AffineMatrixFlt::scale(1e6f, 1e6f, 1e6f), {half, half, 0}},
           Case{"tiny", AffineMatrixFlt::scale(1e-12f, 1e-12f, 1e-12f), {half, half, 0}},
           Case{"mirrored", AffineMatrixFlt::scale(-1, 1, 1), {-half, half, 0}},
           Case{"moved", rows({1, 0, 0, 0, 1, 0, 0, 0, 1, 5, 6, 7}), {half, half, 0}},
           Case{"turned, with shear",
                rows({0, 1, 0, -1, 0, 0, 0, 3, 1, 0, 0, 0}),
                {-0.301511f, 0.301511f, -0.904534f}},
           Case{"flattened across", AffineMatrixFlt::scale(0, 1, 1), {1, 0, 0}},
           Case{"flattened along", AffineMatrixFlt::scale(1, 1, 0), {0, 0, 1}},
           Case{"crushed to a line", AffineMatrixFlt::scale(1, 0, 0), {half, half, 0}},
       }) {
    SCOPED_TRACE(c.name);
    float normal[] = {half, half, 0};
    meshTransformNormals(normal, 1, c.matrix);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(normal[k], c.expected[static_cast<std::size_t>(k)], 1e-6);
  }
  CompactMesh mesh = leaning();
  meshTransform(mesh, rows({2, 1, 0, 0, 3, 0.5f, 1, 0, -4, 9, 9, 9}));
  const qvLinear::Normal fresh = meshTriNormal(mesh.getVerticesRaw(), mesh.getTrianglesRaw());
  for (const MeshNormal* n : {&mesh.getNormals()[2], &mesh.getTriangleNormals()[0]})
    EXPECT_NEAR(dot(n->asVector(), fresh), -1, 1e-6) << "mirrored: the triangle's side has changed";
}

TEST(Transform, SendsOneNoticeThatNamesWhatThereIs) {
  using M = MeshModification;
  const AffineMatrixFlt shift = AffineMatrixFlt::translation({1, 2, 3});
  CompactMesh mesh = leaning();
  NoticeLog notices(mesh);
  DebugLog log;
  meshTransform(mesh, shift);
  EXPECT_EQ(positionsOf(mesh), (Floats{2, 2, 3, 1, 3, 3, 1, 3, 4}));
  mesh.deleteNormals();
  meshTransform(mesh, shift);
  mesh.deleteTriangleNormals();
  meshTransform(mesh, shift);
  mesh.allocNormalArray();
  mesh.allocTriangleNormalArray();
  meshTransform(static_cast<PointMesh&>(mesh), shift);
  EXPECT_EQ(mesh.getVertices()[0].z, 12);
  EXPECT_EQ(notices.sent, (Notices{{M::GeometryModified, M::NormalsModified | M::TriangleNormalsModified},
                                   {M::GeometryModified, M::TriangleNormalsModified},
                                   {M::GeometryModified, 0},
                                   {M::GeometryModified, M::NormalsModified}}));
  EXPECT_TRUE(log.messages.empty());
}

TEST(Transform, LeavesEverythingAloneWhenNextToTheIdentityOrNotFinite) {
  CompactMesh mesh = leaning();
  NoticeLog notices(mesh);
  const Floats positions = positionsOf(mesh), normals = normalsOf(mesh);
  for (int i = 0; i < 12; ++i) {
    for (const float change : {qvLinear::epsilonTolFlt, -qvLinear::epsilonTolFlt, kNan, kInf, -kInf}) {
      AffineMatrixFlt matrix;
      float& entry = (&matrix.m[0][0])[i];
      if (entry == 1 && std::isfinite(change)) continue;  // rounding takes 1 - 1e-6 past the tolerance
      entry += change;
      meshTransform(mesh, matrix);
      meshTransform(static_cast<PointMesh&>(mesh), matrix);
      if (std::isfinite(change)) continue;
      meshTransform(mesh.getVerticesRaw(), 3, matrix);
      float unscaled[] = {0, 3, 4};
      meshTransformNormals(unscaled, 1, matrix);
      EXPECT_EQ(unscaled[1], 3) << "not even normalised";
    }
  }
  EXPECT_EQ(positionsOf(mesh), positions);
  EXPECT_EQ(normalsOf(mesh), normals);
  EXPECT_TRUE(notices.sent.empty());
  AffineMatrixFlt justPast;
  justPast[3][0] = 1.01e-6f;
  meshTransform(mesh, justPast);
  EXPECT_EQ(notices.sent.size(), 1u);
  meshTransform(nullptr, 3, justPast);
  meshTransform(mesh.getVerticesRaw(), -1, justPast);
  meshTransformNormals(nullptr, 3, justPast);
}

TEST(Transform2d, NamesOnlyTheBuiltInChannels) {
  using M = MeshModification;
  CompactMesh mesh = leaning();
  mesh.allocUVArray();
  for (int i = 0; i < 3; ++i) mesh.getUVs()[i].set(static_cast<float>(i), 1.0f);
  mesh.allocAttributes("paint", 2);
  mesh.allocAttributes("heat", 3);
  NoticeLog notices(mesh);
  const Transform2d t{2, -1, 10, 0.5f, 1};
  const unsigned before = mesh.getAttributes("paint")->version();
  for (const char* name : {"uvs", "sts", "paint", "heat", "none", "vertices"}) meshTransform2d(mesh, name, t);
  EXPECT_EQ(floatsOf(mesh.getUVsRaw(), 6), (Floats{10, -0.5f, 12, -0.5f, 14, -0.5f}));
  EXPECT_EQ(floatsOf(mesh.getAttributes("paint")->asFloat(), 2), (Floats{10, 0.5f}));
  EXPECT_GT(mesh.getAttributes("paint")->version(), before);
  EXPECT_EQ(mesh.getAttributes("heat")->asFloat()[0], 0) << "three components";
  EXPECT_EQ(positionsOf(mesh), positionsOf(leaning()));
  EXPECT_EQ(notices.sent,
            (Notices{{M::AttributesModified, M::UVsModified}, {M::AttributesModified, M::STsModified}}));

  const Floats uvs = floatsOf(mesh.getUVsRaw(), 6);
  for (const Transform2d& refused :
       {Transform2d(), Transform2d{kNan, 1, 0, 0, 1}, Transform2d{1, 1, 0, kInf, 1}})
    meshTransform2d(mesh, "uvs", refused);
  EXPECT_EQ(floatsOf(mesh.getUVsRaw(), 6), uvs);
  EXPECT_EQ(notices.sent.size(), 2u);
  float pair[] = {kMax, 16777216};
  meshTransform2d(pair, 1, {4, 1, 0, 1, 0});
  EXPECT_EQ(floatsOf(pair, 2), (Floats{kMax, 16777216})) << "single precision, and finite";
  meshTransform2d(nullptr, 1, t);
  meshTransform2d(pair, -3, t);
}

TEST(Transform2d, ChangesBasis) {
  using qvLinear::Range2d;
  struct Case {
    const char* name;
    Range2d from, to;
    Transform2d expected;
  };
  for (const Case& c : {
           Case{"worked", {{0, 0}, {2, 4}}, {{1, 1}, {2, 2}}, {0.5f, 0.25f, 1, 1, 1}},
           Case{"offset source", {{1, -1}, {3, 0}}, {{0, 10}, {1, 14}}, {0.5f, 4, -0.5f, 14, 1}},
           Case{"no width", {{3, 0}, {3, 1}}, {{5, 6}, {7, 8}}, {0, 2, 5, 6, 1}},
           Case{"empty source", {}, {{5, 6}, {7, 8}}, {0, 0, 5, 6, 1}},
           Case{"beyond floats", {{0, 0}, {1e-300, 1}}, {{0, -1e300}, {1, 0}}, {kMax, kMax, 0, -kMax, 1}},
       }) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(changeOfBasis2d(c.from, c.to) == c.expected);
  }
}

TEST(TriBoundingBox, CoversTheThreeCorners) {
  const CompactMesh mesh =
      shapes::make({{0, 5, 0}, {1, -2, 0}, {9, 9, 9}, {-1, 0, 3}, {kNan, 0, 0}}, {{0, 1, 3}, {2, 2, 4}});
  BoundingBox boxes[3];
  boxes[0].zero();
  boxes[2].zero();
  meshTriBoundingBoxes(mesh.getVertices(), mesh.getTriangles(), 2, boxes);
  EXPECT_EQ(floatsOf(boxes[0].min, 6), (Floats{-1, -2, 0, 1, 5, 3}));
  EXPECT_EQ(floatsOf(boxes[1].min, 6), (Floats{9, 0, 0, 9, 9, 9}));
  EXPECT_EQ(boxes[2].max[0], 0);
  BoundingBox alone(mesh.getVerticesRaw(), 50);  // its old extent counts for nothing
  meshTriBoundingBox(mesh.getVertices(), mesh.getTriangles()[0], alone);
  EXPECT_TRUE(equivalent(alone, boxes[0], 0));
}

TEST(Transform, IsTheSameForEveryNumberOfThreads) {
  CompactMesh source = shapes::torus(101, 100);  // enough vertices for the shared pool
  source.allocUVArray();
  for (int v = 0; v < source.getNumVertices(); ++v) source.getUVs()[v].set(source.getVertices()[v].x, 1.0f);
  meshComputeNormals(source);
  const auto transformed = [&source] {
    CompactMesh mesh = source;
    meshTransform(mesh, rows({2, 1, 0, 0, 3, 0.5f, 1, 0, 4, 9, 9, 9}));
    meshTransform2d(mesh, "uvs", {3, 1, 0.1f, 0, 1});
    return mesh;
  };
  const CompactMesh first = transformed();
  EXPECT_EQ(first.getVertices()[10099].x,
            2 * source.getVertices()[10099].x + source.getVertices()[10099].z + 9);
  forThreadCounts([&] {
    const CompactMesh mesh = transformed();
    EXPECT_TRUE(positionsOf(mesh) == positionsOf(first));
    EXPECT_TRUE(normalsOf(mesh) == normalsOf(first));
    EXPECT_TRUE(floatsOf(mesh.getUVsRaw(), 20200) == floatsOf(first.getUVsRaw(), 20200));
  });
}

}  // namespace
}  // namespace qvGeom
