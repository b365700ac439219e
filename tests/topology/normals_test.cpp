#include "geom/topology/normals.h"

#include <cmath>
#include <gtest/gtest.h>

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using M = MeshModification;

Floats triangleNormalsOf(const CompactMesh& mesh) {
  return floatsOf(mesh.getTriangleNormalsRaw(), 3 * mesh.getNumTriangles());
}

TEST(TriNormal, PointsWhereTheCornersRunCounterClockwise) {
  const float tiny = std::numeric_limits<float>::denorm_min();
  const std::pair<shapes::Points, qvLinear::Vector> cases[] = {
      {{{0, 0, 0}, {0, 1, 0}, {1, 0, 0}}, {0, 0, -1}},
      {{{0, 0, 0}, {0, 0, tiny}, {tiny, 0, 0}}, {0, 1, 0}},
      {{{-kMax, 0, 0}, {-kMax, kMax, 0}, {-kMax, 0, kMax}}, {1, 0, 0}},
      {{{0, 0, 0}, {1, 2, 3}, {2, 4, 6}}, {0, 0, 1}},
      {{{0, 0, 0}, {kNan, 0, 0}, {2, 5, 0}}, {0, 0, 1}},
      {{{0, 0, 0}, {kInf, 0, 0}, {2, 5, 0}}, {0, 0, 1}},
  };
  for (const auto& [corners, expected] : cases) {
    const CompactMesh mesh = shapes::make(corners, {{0, 1, 2}});
    EXPECT_EQ(meshTriNormal(mesh.getVerticesRaw(), mesh.getTrianglesRaw()), expected);
  }
  EXPECT_EQ(triNormal(Point(1e300, 0, 0), Point(0, 1e300, 0), Point(0, 0, 1e300)), qvLinear::Vector::z)
      << "the product leaves the range of numbers";
}

TEST(VertexNormals, CountTrianglesOncePerCornerWhateverTheirSize) {
  const float half = static_cast<float>(std::sqrt(0.5));
  // A large floor and a tiny wall share vertex 0; nothing uses vertex 5.
  CompactMesh mesh =
      shapes::make({{0, 0, 0}, {1000, 0, 0}, {0, 1000, 0}, {0, 0, 1e-3f}, {0, 1e-3f, 0}, {7, 7, 7}},
                   {{0, 1, 2}, {0, 4, 3}});
  DebugLog log;
  NoticeLog notices(mesh);
  meshComputeNormals(mesh);
  EXPECT_EQ(normalsOf(mesh), (Floats{half, 0, half, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 0, 1}));
  EXPECT_TRUE(mesh.getNormalsComputed());
  meshComputeTriangleNormals(mesh);
  EXPECT_EQ(triangleNormalsOf(mesh), (Floats{0, 0, 1, 1, 0, 0}));
  EXPECT_THAT(log.messages, testing::ElementsAre("meshComputeNormals:  vertices 6  triangles 2\n",
                                                 "meshComputeTriangleNormals:  vertices 6  triangles 2\n",
                                                 testing::MatchesRegex("  normalized: [0-9.]+ s\n")));
  EXPECT_EQ(notices.sent, (Notices{{M::AttributesModified, M::NormalsModified},
                                   {M::AttributesModified, M::TriangleNormalsModified}}));

  // The degenerate triangle counts (0, 0, 1) twice at vertex 0, against one wall that faces x.
  mesh = shapes::make({{0, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 1, 2}, {0, 0, 1}});
  meshComputeNormals(mesh);
  EXPECT_THAT(floatsOf(mesh.getNormalsRaw(), 3), areNear({std::sqrt(0.2f), 0, std::sqrt(0.8f)}));

  // Opposite triangles cancel; old normals leave no trace.
  mesh = shapes::make({{0, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 1, 2}, {0, 2, 1}});
  mesh.allocNormalArray();
  mesh.getNormals()[1] = {kNan, 5, 5};
  meshComputeNormals(mesh);
  EXPECT_EQ(normalsOf(mesh), (Floats{0, 0, 1, 0, 0, 1, 0, 0, 1}));
}

TEST(Normals, DoNothingWhereThereIsNothing) {
  CompactMesh mesh, bare = shapes::make({{0, 0, 0}}, {});
  mesh.allocNormalArray();
  DebugLog log;
  NoticeLog notices(mesh), bareNotices(bare);
  meshComputeNormals(mesh);
  meshComputeTriangleNormals(bare);
  meshNormalize(bare);
  EXPECT_TRUE(log.messages.empty() && notices.sent.empty() && bareNotices.sent.empty());
  meshNormalize(nullptr, 5);
  float bad[] = {kNan, 0, 0, 3};
  meshNormalize(bad + 3, std::numeric_limits<int>::min());
  meshNormalize(bad, 1);
  EXPECT_TRUE(std::isnan(bad[0]) && bad[3] == 3) << "an invalid normal is not made to look valid";
}

TEST(Normalize, IsExactAboutItsTolerance) {
  // 9.99e-11 and 1.001e-10 lie on either side of the root of the tolerance.
  CompactMesh mesh = shapes::make(shapes::Points(5), {});
  mesh.allocNormalArray();
  const Floats in = {0, 3, 4, 9.99e-11f, 0, 0, 1.001e-10f, 0, 0, 0, kMax, 0, 0, -2e30f, 0};
  std::copy(in.begin(), in.end(), mesh.getNormalsRaw());
  NoticeLog notices(mesh);
  meshNormalize(mesh);
  EXPECT_THAT(normalsOf(mesh), areNear({0, 0.6f, 0.8f, 0, 0, 1, 1, 0, 0, 0, 1, 0, 0, -1, 0}));
  EXPECT_EQ(notices.sent, (Notices{{M::AttributesModified, M::NormalsModified}}));
  EXPECT_FALSE(mesh.getNormalsComputed());
}

// Enough triangles for several threads and blocks; one that cannot be normalised plainly must not change its
// neighbours.
TEST(Normals, AreThoseOfTheSingleTriangleForEveryNumberOfThreads) {
  for (const float odd : {1.0f, 0.0f, 1e-30f, 3e38f}) {
    SCOPED_TRACE(odd);
    CompactMesh mesh = shapes::torus(101, 100);
    for (const int v : {3, 4, 23}) {
      MeshVertex& p = mesh.getVertices()[v];
      p = {p.x * odd, p.y * odd, p.z * odd};
    }
    Floats normals, expected(3 * static_cast<std::size_t>(mesh.getNumTriangles()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
      const auto n = meshTriNormal(mesh.getVerticesRaw(), mesh.getTriangles()[t].v);
      reinterpret_cast<MeshNormal*>(expected.data())[t].set(n.data());
    }
    forThreadCounts([&] {
      meshComputeTriangleNormals(mesh);
      EXPECT_TRUE(triangleNormalsOf(mesh) == expected);
      meshComputeNormals(mesh);
      if (normals.empty()) normals = normalsOf(mesh);
      EXPECT_TRUE(normalsOf(mesh) == normals);
    });
    for (int v = 0; odd == 1 && v < mesh.getNumVertices(); ++v) {
      const Point p = mesh.getVertices()[v].asPoint(), circle = Point() + 2 * qvLinear::Normal(p[0], p[1], 0);
      ASSERT_GT(dot(mesh.getNormals()[v].asVector(), p - circle), 0.999) << "outward from the tube";
    }
  }
}

}  // namespace
}  // namespace qvGeom
