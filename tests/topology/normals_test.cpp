#include "geom/topology/normals.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "tests/support/mesh_checks.h"
#include "tests/support/notice_log.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using Floats = std::vector<float>;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kMax = std::numeric_limits<float>::max();
constexpr float kTiny = std::numeric_limits<float>::denorm_min();

Floats triangleNormalsOf(const CompactMesh& mesh) {
  return floatsOf(mesh.getTriangleNormalsRaw(), 3 * mesh.getNumTriangles());
}

TEST(TriNormal, PointsWhereTheCornersRunCounterClockwise) {
  struct Case {
    const char* name;
    shapes::Points corners;
    qvLinear::Vector expected;
  };
  for (const Case& c : {
           Case{"in the plane z = 0", {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 0, 1}},
           Case{"turned round", {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}}, {0, 0, -1}},
           Case{"facing x", {{5, 0, 0}, {5, 1, 0}, {5, 0, 1}}, {1, 0, 0}},
           Case{"as small as floats go", {{0, 0, 0}, {0, 0, kTiny}, {kTiny, 0, 0}}, {0, 1, 0}},
           Case{"as large", {{-kMax, 0, 0}, {-kMax, kMax, 0}, {-kMax, 0, kMax}}, {1, 0, 0}},
           Case{"collinear", {{0, 0, 0}, {1, 2, 3}, {2, 4, 6}}, {0, 0, 1}},
           Case{"a corner twice", {{0, 1, 0}, {0, 1, 0}, {2, 0, 0}}, {0, 0, 1}},
           Case{"not a number", {{0, 0, 0}, {kNan, 0, 0}, {2, 5, 0}}, {0, 0, 1}},
           Case{"infinite", {{0, 0, 0}, {kInf, 0, 0}, {2, 5, 0}}, {0, 0, 1}},
       }) {
    SCOPED_TRACE(c.name);
    const CompactMesh mesh = shapes::make(c.corners, {{0, 1, 2}});
    EXPECT_EQ(meshTriNormal(mesh.getVerticesRaw(), mesh.getTrianglesRaw()), c.expected);
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
  EXPECT_EQ(log.messages, std::vector<std::string>{"meshComputeNormals:  vertices 6  triangles 2\n"});
  EXPECT_EQ(notices.sent,
            (Notices{{MeshModification::AttributesModified, MeshModification::NormalsModified}}));

  // The degenerate triangle counts (0, 0, 1) twice at vertex 0, against one wall that faces x.
  mesh = shapes::make({{0, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 1, 2}, {0, 0, 1}});
  meshComputeNormals(mesh);
  EXPECT_FLOAT_EQ(mesh.getNormals()[0].x, std::sqrt(0.2f));
  EXPECT_FLOAT_EQ(mesh.getNormals()[0].z, std::sqrt(0.8f));

  // Opposite triangles cancel; old normals leave no trace.
  mesh = shapes::make({{0, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 1, 2}, {0, 2, 1}});
  mesh.allocNormalArray();
  mesh.getNormals()[1] = {kNan, 5, 5};
  meshComputeNormals(mesh);
  EXPECT_EQ(normalsOf(mesh), (Floats{0, 0, 1, 0, 0, 1, 0, 0, 1}));
}

TEST(TriangleNormals, AreReportedInTwoLinesAndOneNotice) {
  CompactMesh mesh = shapes::make({{0, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 1, 2}, {1, 1, 2}, {2, 1, 0}});
  DebugLog log;
  NoticeLog notices(mesh);
  meshComputeTriangleNormals(mesh);
  EXPECT_EQ(triangleNormalsOf(mesh), (Floats{1, 0, 0, 0, 0, 1, -1, 0, 0}));
  EXPECT_FALSE(mesh.getNormals());
  ASSERT_EQ(log.messages.size(), 2u);
  EXPECT_EQ(log.messages[0], "meshComputeTriangleNormals:  vertices 3  triangles 3\n");
  EXPECT_THAT(log.messages[1], testing::MatchesRegex("  normalized: [0-9.]+ s\n"));
  EXPECT_EQ(notices.sent,
            (Notices{{MeshModification::AttributesModified, MeshModification::TriangleNormalsModified}}));
}

TEST(Normals, DoNothingWhereThereIsNothing) {
  CompactMesh mesh;
  mesh.allocNormalArray();
  CompactMesh bare = shapes::make({{0, 0, 0}}, {});
  DebugLog log;
  NoticeLog notices(mesh), bareNotices(bare);
  meshComputeNormals(mesh);
  meshComputeTriangleNormals(mesh);
  meshNormalize(mesh);
  meshNormalize(bare);
  meshComputeTriangleNormals(bare);
  meshNormalize(nullptr, 5);
  float untouched[] = {3, 0, 0};
  meshNormalize(untouched, 0);
  meshNormalize(untouched, std::numeric_limits<int>::min());
  EXPECT_EQ(untouched[0], 3);
  EXPECT_TRUE(log.messages.empty() && notices.sent.empty() && bareNotices.sent.empty());
  EXPECT_FALSE(mesh.getNormalsComputed());
}

TEST(Normalize, IsExactAboutItsTolerance) {
  // 9.99e-11 and 1.001e-10 lie on either side of the root of the tolerance.
  CompactMesh mesh = shapes::make(shapes::Points(7), {});
  mesh.allocNormalArray();
  const Floats in = {0, 3, 4,    9.99e-11f, 0, 0,     1.001e-10f, 0, 0,      0, 0,
                     0, 0, kMax, 0,         0, kTiny, 0,          0, -2e30f, 0};
  std::copy(in.begin(), in.end(), mesh.getNormalsRaw());
  NoticeLog notices(mesh);
  DebugLog log;
  meshNormalize(mesh);
  const Floats expected = {0, 0.6f, 0.8f, 0, 0, 1, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 1, 0, -1, 0};
  for (std::size_t i = 0; i < expected.size(); ++i)
    EXPECT_NEAR(mesh.getNormalsRaw()[i], expected[i], 1e-6) << "component " << i;
  EXPECT_EQ(notices.sent,
            (Notices{{MeshModification::AttributesModified, MeshModification::NormalsModified}}));
  EXPECT_TRUE(log.messages.empty());
  EXPECT_FALSE(mesh.getNormalsComputed()) << "normalising does not derive them";
  float bad[] = {kNan, 0, 0};
  meshNormalize(bad, 1);
  EXPECT_TRUE(std::isnan(bad[0])) << "an invalid normal is not made to look valid";
}

TEST(Normals, AreTheSameForEveryNumberOfThreads) {
  // Enough vertices for the shared pool.
  const CompactMesh source = shapes::torus(101, 100);
  CompactMesh first = source;
  meshComputeNormals(first);
  meshComputeTriangleNormals(first);
  for (int v = 0; v < first.getNumVertices(); ++v) {
    const Point p = first.getVertices()[v].asPoint();
    const Point circle = Point() + 2 * qvLinear::Normal(p[0], p[1], 0);
    ASSERT_GT(dot(first.getNormals()[v].asVector(), p - circle), 0.999) << "outward from the tube";
  }
  forThreadCounts([&] {
    CompactMesh mesh = source;
    meshComputeNormals(mesh);
    meshComputeTriangleNormals(mesh);
    EXPECT_TRUE(normalsOf(mesh) == normalsOf(first));
    EXPECT_TRUE(triangleNormalsOf(mesh) == triangleNormalsOf(first));
  });
}

// Triangles are worked on in blocks; one that cannot be normalised plainly must not change its neighbours.
TEST(TriangleNormals, AreThoseOfTheSingleTriangleInEveryBlock) {
  for (const float odd : {1.0f, 0.0f, 1e-30f, 3e38f}) {
    CompactMesh mesh = shapes::torus(20, 20);
    for (const int v : {3, 4, 23}) {
      MeshVertex& p = mesh.getVertices()[v];
      p = {p.x * odd, p.y * odd, p.z * odd};
    }
    meshComputeTriangleNormals(mesh);
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
      MeshNormal expected;
      expected.set(meshTriNormal(mesh.getVerticesRaw(), mesh.getTriangles()[t].v).data());
      EXPECT_EQ(floatsOf(&mesh.getTriangleNormals()[t].x, 3), floatsOf(&expected.x, 3)) << odd << ' ' << t;
    }
  }
}

}  // namespace
}  // namespace qvGeom
