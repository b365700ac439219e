#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>

#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/mesh_coord.h"
#include "geom/model/trellis/mesh_sequence.h"
#include "geom/model/trellis/remap.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

using qvLinear::Point;

TEST(CompactMesh, PerVertexArraysFollowTheVertexCount) {
  CompactMesh mesh = shapes::grid(1, 1);
  mesh.allocNormalArray();
  mesh.allocUVArray();
  mesh.allocTriangleNormalArray();
  MeshAttributes* heat = mesh.allocAttributes("heat", 1);
  ASSERT_NE(heat, nullptr);
  mesh.getUVs()[3].set(0.5f, 0.25f);
  heat->asFloat1()[3][0] = 7;
  mesh.getSelectedVertices().resize(4);
  mesh.getSelectedVertices().setBit(3);

  mesh.resizeVertexArray(6);
  mesh.resizeTriangleArray(3);
  expectSound(mesh);
  EXPECT_EQ(mesh.getAttributes("heat"), heat) << "a channel stays where it is";
  EXPECT_EQ(heat->asFloat()[3], 7);
  EXPECT_EQ(heat->asFloat()[5], 0);
  EXPECT_EQ(mesh.getUVs()[3].u, 0.5f);
  EXPECT_EQ(mesh.getTriangleNormals()[2].z, 0);
  EXPECT_EQ(mesh.getSelectedVertices().size(), 4) << "the selection does not follow";
  EXPECT_FALSE(mesh.getSelectedVertices().test(5));
  mesh.resizeVertexArray(2);
  mesh.resizeVertexArray(4);
  EXPECT_EQ(heat->asFloat()[3], 0) << "new values are zero, not what once stood there";
  mesh.clearSelection();
  EXPECT_EQ(mesh.getSelectedVertices().size(), 0);
  EXPECT_THROW(mesh.resizeVertexArray(std::numeric_limits<int>::max()), std::bad_alloc);
  expectSound(mesh);
}

TEST(CompactMesh, BuiltInArraysAreChannelsByName) {
  CompactMesh mesh = shapes::grid(1, 1);
  EXPECT_EQ(mesh.getAttributes(PointMesh::VerticesName)->asFloat(), mesh.getVerticesRaw());
  EXPECT_EQ(mesh.getAttributes("uvs"), nullptr);
  mesh.allocUVArray();
  EXPECT_EQ(mesh.getAttributes("uvs")->asMeshUV(), mesh.getUVs());
  EXPECT_EQ(mesh.getAttributes("uvs")->asFloat3(), nullptr);
  EXPECT_EQ(mesh.allocAttributes("sts", 3), nullptr) << "a built-in name has its own width";
  EXPECT_NE(mesh.allocAttributes("sts", 2), nullptr);
  EXPECT_NE(mesh.getSTs(), nullptr);
  EXPECT_EQ(mesh.allocAttributes("heat", 5), nullptr);
  EXPECT_EQ(mesh.allocAttributes("uvs", 2)->asMeshUV(), mesh.getUVs());
  qv::set<qvString::CString> names;
  mesh.getAttributeNames(names);
  EXPECT_EQ(names.size(), 3u);
  mesh.deleteAttributes(PointMesh::VerticesName);
  mesh.deleteUVs();
  EXPECT_EQ(mesh.getUVs(), nullptr);
  EXPECT_EQ(mesh.getNumVertices(), 4);
  mesh.setNormalsComputed(true);
  mesh.allocNormalArray();
  EXPECT_FALSE(mesh.getNormalsComputed());
  mesh.setNormalsComputed(true);
  mesh.deleteNormals();
  EXPECT_FALSE(mesh.getNormalsComputed()) << "normals supplied later must not pass for derived ones";
}

TEST(CompactMesh, CopiesContentsButNeitherOwnersNorListeners) {
  int notices = 0, ends = 0;
  qvRTB::SignalBase client;
  qv::Reference<CompactMesh> mesh(new CompactMesh(shapes::grid(2, 1)));
  mesh->changeSignal().connect(client, [&](EntityModification& m) {
    ++notices;
    EXPECT_EQ(m.getEntity(), mesh.get());
  });
  mesh->destructionSignal().connect(client, [&](Entity*) { ++ends; });
  mesh->getSelectedTriangles().resize(4);
  mesh->getSelectedTriangles().setBit(1);
  {
    CompactMesh copy(*mesh);
    EXPECT_EQ(copy.count, 0);
    EXPECT_TRUE(copy.changeSignal().empty());
    EXPECT_TRUE(copy.getSelectedTriangles().test(1));
    EXPECT_EQ(indicesOf(copy), indicesOf(*mesh));
    copy = CompactMesh();
    *mesh = copy;
    mesh->swap(copy);
  }
  EXPECT_EQ(mesh->count, 1);
  EXPECT_EQ(notices, 0) << "assignment says nothing";
  MeshModification message(mesh.get(), MeshModification::TopologyModified, nullptr);
  message.linesModified();
  message.vertexAttribsModified("heat");
  mesh->modified(message);
  EXPECT_EQ(notices, 1);
  EXPECT_TRUE(message.has(MeshModification::LinesModified));
  EXPECT_EQ(message.flags(), unsigned{MeshModification::LinesModified});
  EXPECT_EQ(message.modifiedVertexAttribs().count("heat"), 1u);
  mesh = nullptr;
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(client.numConnections(), 0);
}

TEST(CompactMesh, TakesItsStorageFromTheHost) {
  struct Counting : ArrayAllocator {
    explicit Counting(long& open) : bytes(open) {}
    void* allocate(std::size_t n) override {
      bytes += static_cast<long>(n);
      return std::aligned_alloc(64, (n + 63) / 64 * 64);
    }
    void deallocate(void* p, std::size_t n) noexcept override {
      bytes -= static_cast<long>(n);
      std::free(p);
    }
    long& bytes;
  };
  long open = 0;
  {
    CompactMesh mesh = shapes::grid(2, 2);
    const std::vector<float> before = positionsOf(mesh);
    mesh.setArrayAllocator(new Counting(open));
    EXPECT_EQ(positionsOf(mesh), before);
    EXPECT_GE(open, 4 * (9 * 3 + 8 * 3));
    const long without = open;
    mesh.allocUVArray();
    EXPECT_GT(open, without);
    CompactMesh copy = mesh;
    copy.resizeVertexArray(1000);
    EXPECT_GT(mesh.getSizeInBytes(), 200u);
  }
  EXPECT_EQ(open, 0);
}

TEST(CompactMesh, LineStripStartsFollowTheLengths) {
  CompactMesh mesh;
  mesh.resizeLineStripArrays(3, 9);
  mesh.getLineStripLengths()[0] = 4;
  mesh.getLineStripLengths()[1] = 2;
  mesh.getLineStripLengths()[2] = 3;
  EXPECT_EQ(std::vector<int>(mesh.getLineStripStarts(), mesh.getLineStripStarts() + 3),
            (std::vector<int>{0, 4, 6}));
  const MeshNormal up{0, 0, 1};
  const MeshVertex origin;
  const CompactMesh one(1, &origin, &up, nullptr, nullptr);
  EXPECT_EQ(one.getNormals()[0].z, 1);
  EXPECT_EQ(one.getUVs(), nullptr);
}

TEST(Remap, KeepsLeadingEntriesAndMarksTheDeleted) {
  Remap map(3, 3);
  EXPECT_EQ(map(1), -1);
  map.set(0, 5);
  map.set(9, 5);
  map.resize(5, 7);
  EXPECT_EQ(map(0), 5);
  EXPECT_EQ(map(4), -1);
  EXPECT_EQ(map(5), -1) << "out of the domain";
  BitVector deleted(5);
  deleted.setBit(1);
  deleted.setBit(4);
  map.setDeleteMap(deleted);
  int indices[] = {0, 1, 2, 3, 4, -3, 12};
  map(indices, 7);
  EXPECT_EQ(std::vector<int>(indices, indices + 7), (std::vector<int>{0, -1, 1, 2, -1, -1, -1}));
  EXPECT_EQ(map.getRangeSize(), 3);
  map.setSequential();
  EXPECT_EQ(map(4), 4);
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
    double sum = 0;
    for (const double w : coord.weight) {
      ASSERT_GE(w, 0) << i;
      sum += w;
    }
    EXPECT_NEAR(sum, 1, 1e-12);
    const double sampled = nearestBySampling(p, c);
    ASSERT_LE(distance(p, q), sampled + 1e-7) << i;
    ASSERT_GE(distance(p, q), sampled - 0.05) << i;
  }
}

TEST(MeshCoord, RefusesWhatIsNoTriangleAndTellsCornersFromEdges) {
  MeshCoordBase base;
  EXPECT_FALSE(base.valid());
  const Point o(0, 0, 0), x(1, 0, 0), y(0, 1, 0);
  EXPECT_FALSE(base.projectBase(x, o, o, o));
  EXPECT_FALSE(base.projectBase(Point(NAN, 0, 0), o, x, y));
  EXPECT_FALSE(base.projectBase(x, o, x, Point(0, INFINITY, 0)));
  EXPECT_EQ(base.weight[0], 0);
  EXPECT_TRUE(base.projectBase(Point(5, 0, 1), o, x, o)) << "two corners are enough";

  const CompactMesh mesh = shapes::make({{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}, {{0, 1, 2}});
  float const* v = mesh.getVerticesRaw();
  int const* t = mesh.getTrianglesRaw();
  MeshCoord coord;
  ASSERT_TRUE(coord.setFromPoint(0, v, t, Point(2, 2, 0)));
  EXPECT_TRUE(coord.valid());
  EXPECT_EQ(coord.evaluate(v, t), Point(2, 2, 0));
  EXPECT_EQ(coord.evaluate(mesh.getVertices(), mesh.getTriangles()), Point(2, 2, 0));
  int which = -5;
  EXPECT_FALSE(coord.onVertex(v, t, 0.1, &which));
  EXPECT_EQ(which, -5);
  EXPECT_TRUE(coord.onEdge(v, t, 0, &which));
  EXPECT_EQ(which, 1);
  ASSERT_TRUE(coord.project(0, v, t, Point(3.5, 0.25, 9)));
  EXPECT_TRUE(coord.onVertex(v, t, std::sqrt(0.3125), &which)) << "inclusive";
  EXPECT_EQ(which, 1);
  EXPECT_TRUE(coord.onEdge(v, t, 0.25, &which));
  EXPECT_EQ(which, 0) << "the first that fits";
}

TEST(MeshSequence, HoldsRuns) {
  MeshSequence sequence;
  const MeshCoord coords[3];
  sequence.addRun(2, coords);
  sequence.addRun(0, nullptr);
  sequence.addRun(3, coords);
  EXPECT_EQ(sequence.getRunLength(0), 2);
  EXPECT_EQ(sequence.getRunLength(1), 0);
  EXPECT_EQ(sequence.getRunLength(2), 3);
  sequence.clearStartsAndOffsets();
  EXPECT_EQ(sequence.getNumRuns(), 1);
  EXPECT_EQ(sequence.getRunLength(0), 5);
}

}  // namespace
}  // namespace qvGeom
