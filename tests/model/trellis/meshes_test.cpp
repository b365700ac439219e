#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>

#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/mesh_coord.h"
#include "geom/model/trellis/remap.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

using qvLinear::Point;

TEST(CompactMesh, PerVertexArraysFollowTheVertexCount) {
  CompactMesh mesh = shapes::grid(1, 1);
  mesh.allocUVArray();
  mesh.allocTriangleNormalArray();
  MeshAttributes* heat = mesh.allocAttributes("heat", 1);
  mesh.getUVs()[3].set(0.5f, 0.25f);
  heat->asFloat()[3] = 7;
  mesh.getSelectedVertices().resize(4);
  mesh.resizeVertexArray(6);
  mesh.resizeTriangleArray(3);
  expectSound(mesh);
  EXPECT_EQ(mesh.getAttributes("heat"), heat) << "a channel stays where it is";
  EXPECT_TRUE(heat->asFloat()[3] == 7 && heat->asFloat()[5] == 0 && mesh.getUVs()[3].u == 0.5f);
  EXPECT_EQ(mesh.getTriangleNormals()[2].z, 0);
  EXPECT_EQ(mesh.getSelectedVertices().size(), 4) << "the selection does not follow";
  mesh.resizeVertexArray(2);
  mesh.resizeVertexArray(4);
  EXPECT_EQ(heat->asFloat()[3], 0) << "new values are zero, not what once stood there";
  EXPECT_THROW(mesh.resizeVertexArray(std::numeric_limits<int>::max()), std::bad_alloc);
  expectSound(mesh);
}

TEST(CompactMesh, BuiltInArraysAreChannelsByName) {
  CompactMesh mesh = shapes::grid(1, 1);
  EXPECT_EQ(mesh.getAttributes(PointMesh::VerticesName)->asFloat(), mesh.getVerticesRaw());
  EXPECT_EQ(mesh.allocAttributes("sts", 3), nullptr) << "a built-in name has its own width";
  EXPECT_EQ(mesh.allocAttributes("heat", 5), nullptr);
  EXPECT_TRUE(mesh.getAttributes("uvs") == nullptr &&
              mesh.allocAttributes("uvs", 2)->asMeshUV() == mesh.getUVs());
  EXPECT_EQ(mesh.getAttributes("uvs")->asFloat3(), nullptr);
  mesh.deleteAttributes(PointMesh::VerticesName);
  mesh.deleteUVs();
  EXPECT_TRUE(mesh.getUVs() == nullptr && mesh.getNumVertices() == 4);
  mesh.allocNormalArray();
  mesh.setNormalsComputed(true);
  mesh.deleteNormals();
  EXPECT_FALSE(mesh.getNormalsComputed()) << "normals supplied later must not pass for derived ones";
}

TEST(CompactMesh, CopiesContentsButNeitherOwnersNorListeners) {
  int notices = 0, ends = 0;
  qvRTB::SignalBase client;
  qv::Reference<CompactMesh> mesh(new CompactMesh(shapes::grid(2, 1)));
  mesh->changeSignal().connect(client,
                               [&](EntityModification& m) { notices += m.getEntity() == mesh.get(); });
  mesh->destructionSignal().connect(client, [&](Entity*) { ++ends; });
  mesh->getSelectedTriangles().resize(4);
  mesh->getSelectedTriangles().setBit(1);
  {
    CompactMesh copy(*mesh);
    EXPECT_TRUE(copy.count == 0 && copy.changeSignal().empty() && copy.getSelectedTriangles().test(1));
    EXPECT_EQ(indicesOf(copy), indicesOf(*mesh));
    copy = CompactMesh();
    *mesh = copy;
    mesh->swap(copy);
  }
  EXPECT_TRUE(mesh->count == 1 && notices == 0) << "assignment says nothing";
  MeshModification message(mesh.get(), MeshModification::TopologyModified, nullptr);
  message.linesModified();
  mesh->modified(message);
  EXPECT_TRUE(notices == 1 && message.flags() == MeshModification::LinesModified);
  mesh = nullptr;
  EXPECT_TRUE(ends == 1 && client.numConnections() == 0);
}

TEST(CompactMesh, TakesItsStorageFromTheHost) {
  static std::size_t open = 0;
  struct Counting : ArrayAllocator {
    void* allocate(std::size_t n) override { return open += n, std::aligned_alloc(64, (n + 63) / 64 * 64); }
    void deallocate(void* p, std::size_t n) noexcept override { open -= n, std::free(p); }
  };
  {
    CompactMesh mesh = shapes::grid(2, 2);
    const std::vector<float> before = positionsOf(mesh);
    mesh.setArrayAllocator(new Counting);
    EXPECT_EQ(positionsOf(mesh), before);
    const std::size_t without = open;
    mesh.allocUVArray();
    EXPECT_TRUE(without >= 4 * (9 * 3 + 8 * 3) && open > without);
    CompactMesh copy = mesh;
    copy.resizeVertexArray(1000);
  }
  EXPECT_EQ(open, 0u);
}

TEST(Remap, KeepsLeadingEntriesAndMarksTheDeleted) {
  Remap map(3, 3);
  map.set(0, 5);
  map.set(9, 5);
  map.resize(5, 7);
  EXPECT_TRUE(map(0) == 5 && map(1) == -1 && map(4) == -1 && map(5) == -1);
  BitVector deleted(5);
  deleted.setBit(1);
  deleted.setBit(4);
  map.setDeleteMap(deleted);
  std::vector<int> indices{0, 1, 2, 3, 4, -3, 12};
  map(indices.data(), 7);
  EXPECT_EQ(indices, (std::vector<int>{0, -1, 1, 2, -1, -1, -1}));
  EXPECT_EQ(map.getRangeSize(), 3);
}

double nearestBySampling(const Point& p, const Point (&c)[3]) {
  double best = std::numeric_limits<double>::max();
  constexpr int kSteps = 60;
  for (int i = 0; i <= kSteps; ++i)
    for (int j = 0; i + j <= kSteps; ++j) {
      const double u = double(i) / kSteps, v = double(j) / kSteps;
      best = std::min(best, distance(p, c[0] + u * (c[1] - c[0]) + v * (c[2] - c[0])));
    }
  return best;
}

TEST(MeshCoord, ProjectsToTheNearestPointOfTheClosedTriangle) {
  std::mt19937 random(4);
  std::uniform_real_distribution<double> coordinate(-1, 1);
  for (int i = 0; i < 600; ++i) {
    Point c[3], p;
    for (Point* q : {&c[0], &c[1], &c[2], &p})
      *q = {coordinate(random), coordinate(random), coordinate(random)};
    if (i % 3 == 1) c[2] = c[0] + 0.3 * (c[1] - c[0]);                                // collinear
    if (i % 3 == 2) c[2] = c[0] + 1.5 * (c[1] - c[0]) + 1e-9 * c[2][0] * (p - c[0]);  // a sliver
    MeshCoordBase coord;
    ASSERT_TRUE(coord.projectBase(p, c[0], c[1], c[2]));
    const Point q = coord.evaluateBase(c);
    for (const double w : coord.weight) ASSERT_GE(w, 0) << i;
    EXPECT_NEAR(coord.weight[0] + coord.weight[1] + coord.weight[2], 1, 1e-12);
    const double sampled = nearestBySampling(p, c);
    ASSERT_LE(distance(p, q), sampled + 1e-7) << i;
    ASSERT_GE(distance(p, q), sampled - 0.05) << i;
  }
}

TEST(MeshCoord, RefusesWhatIsNoTriangleAndTellsCornersFromEdges) {
  MeshCoord coord;
  const Point o(0, 0, 0), x(1, 0, 0);
  EXPECT_FALSE(coord.projectBase(x, o, o, o) || coord.projectBase(Point(NAN, 0, 0), o, x, Point(0, 1, 0)));
  EXPECT_FALSE(coord.projectBase(x, o, x, Point(0, INFINITY, 0)));
  EXPECT_EQ(coord.weight[0], 0);
  EXPECT_TRUE(coord.projectBase(Point(5, 0, 1), o, x, o)) << "two corners are enough";

  const CompactMesh mesh = shapes::make({{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}, {{0, 1, 2}});
  float const* v = mesh.getVerticesRaw();
  int const* t = mesh.getTrianglesRaw();
  int which = -5;
  ASSERT_TRUE(coord.setFromPoint(0, v, t, Point(2, 2, 0)));
  EXPECT_TRUE(coord.evaluate(v, t) == Point(2, 2, 0) && !coord.onVertex(v, t, 0.1, &which) && which == -5);
  EXPECT_TRUE(coord.onEdge(v, t, 0, &which) && which == 1);
  ASSERT_TRUE(coord.project(0, v, t, Point(3.5, 0.25, 9)));
  EXPECT_TRUE(coord.onVertex(v, t, std::sqrt(0.3125), &which) && which == 1) << "inclusive";
  EXPECT_TRUE(coord.onEdge(v, t, 0.25, &which) && which == 0) << "the first that fits";
}

}  // namespace
}  // namespace qvGeom
