#include "geom/repair/orientation.h"

#include <random>

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using M = MeshModification;

bool runs(const MeshTriangle& t, int a, int b) {
  return (t[0] == a && t[1] == b) || (t[1] == a && t[2] == b) || (t[2] == a && t[0] == b);
}

// The search in its plainest form: every edge of a triangle walks all triangles of its first vertex.
struct PlainSearch {
  bool search(int seed) {
    visited.setBit(seed);
    Ints queue = {seed};
    for (std::size_t i = 0; i < 3 * queue.size(); ++i) {
      const MeshTriangle& t = mesh.getTriangles()[queue[i / 3]];
      const int a = t[static_cast<int>(i % 3)], b = t[static_cast<int>((i + 1) % 3)];
      for (const int u : trisOf(adjTris, a)) {
        MeshTriangle& other = mesh.getTriangles()[u];
        const bool same = runs(other, a, b);
        if (u == queue[i / 3] || (!same && !runs(other, b, a))) continue;
        if (same && visited.test(u)) return conflict = u, false;
        if (same) changed = true, std::swap(other[1], other[2]);
        if (!visited.test(u)) queue.push_back(u);
        visited.setBit(u);
      }
    }
    return true;
  }
  bool orient() {
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
      if (visited.test(t) || search(t)) continue;
      visited.clearBits();
      search(conflict);
      return false;
    }
    return true;
  }

  CompactMesh mesh;
  const MeshAdjTris& adjTris;
  BitVector visited = BitVector(mesh.getNumTriangles());
  int conflict = -1;
  bool changed = false;
};

TEST(Orientation, IsThatOfThePlainSearch) {
  int oriented = 0, orientable = 0, contradictory = 0;
  for (unsigned seed = 0; seed < 900; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    // Soups with repeated corners and copies, and umbrellas with some needles at their crowded tip.
    const int n = static_cast<int>(random() % 10);
    CompactMesh mesh = seed % 3 == 0 ? shapes::soup(9, n, random) : shapes::soup(50, 3 * n, random);
    if (seed % 3 == 1) {
      mesh.resizeTriangleArray(n / 3 + 47);
      for (int i = 0; i < 47; ++i) mesh.getTriangles()[n / 3 + i] = {{i + 1, 0, i + 2}};
      for (int t = 0; t < n / 3; ++t) mesh.getTriangles()[t][0] = mesh.getTriangles()[t][1] = 0;
    }
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
      if (random() % 2 != 0) std::swap(mesh.getTriangles()[t][0], mesh.getTriangles()[t][2]);
    const Adjacency adjacency(mesh);
    PlainSearch plain{mesh, adjacency.tris};
    NoticeLog notices(mesh);
    MeshOrient orient(mesh, adjacency.tris);
    const bool success = plain.orient(), before = success && !plain.changed;
    ASSERT_TRUE(orient.isOriented() == before && orient.isOrientable() == before);
    orient.orient();
    ASSERT_TRUE(orient.isOriented() == success && orient.isOrientable() == success);
    ASSERT_EQ(meshOriented(mesh, adjacency.tris), success);
    ASSERT_EQ(orient.getAffectedTriangles(), before ? BitVector(mesh.getNumTriangles()) : plain.visited);
    ++(before ? oriented : success ? orientable : contradictory);
    ASSERT_EQ(indicesOf(mesh), indicesOf(plain.mesh));
    const std::pair notice(M::TopologyModified, unsigned{M::UVsValid | M::STsValid | M::ColoursValid});
    ASSERT_EQ(notices.sent, Notices(plain.changed ? 1 : 0, notice));
  }
  EXPECT_TRUE(oriented > 50 && orientable > 50 && contradictory > 50);
}

TEST(Orientation, IsRestoredInClosedMeshesAndFailsInOneSidedOnes) {
  CompactMesh torus = shapes::torus(20, 15);
  const Ints sound = indicesOf(torus);
  const Adjacency adjacency(torus);
  for (int t = 1; t < torus.getNumTriangles(); t += 3)
    std::swap(torus.getTriangles()[t][1], torus.getTriangles()[t][2]);
  EXPECT_TRUE(meshMakeOriented(torus, adjacency.tris));
  EXPECT_EQ(indicesOf(torus), sound);
  for (const shapes::Tris& tris : {shapes::Tris{{0, 1, 2}, {2, 1, 3}, {2, 3, 4}, {4, 3, 0}, {4, 0, 1}},
                                   shapes::Tris{{0, 1, 2}, {0, 1, 3}, {0, 1, 4}}}) {
    CompactMesh mesh = shapes::make(tris);
    EXPECT_FALSE(meshMakeOriented(mesh, Adjacency(mesh).tris));
  }
}

}  // namespace
}  // namespace qvGeom
