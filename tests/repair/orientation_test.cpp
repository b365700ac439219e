#include "geom/repair/orientation.h"

#include <random>

#include "geom/topology/components.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using M = MeshModification;

bool runs(const MeshTriangle& t, int a, int b) {
  return (t[0] == a && t[1] == b) || (t[1] == a && t[2] == b) || (t[2] == a && t[0] == b);
}

// The same search in its plainest form: every edge of a triangle walks all triangles of its first vertex.
struct PlainSearch {
  explicit PlainSearch(const CompactMesh& m) : mesh(m), visited(m.getNumTriangles()) {
    meshAdjTris(m, adjTris);
  }

  template <typename Visit>
  bool neighbours(int t, const Visit& visit) {
    for (int i = 0; i < 3; ++i) {
      const int a = mesh.getTriangles()[t][i], b = mesh.getTriangles()[t][(i + 1) % 3];
      for (const int u : trisOf(adjTris, a)) {
        const MeshTriangle& other = mesh.getTriangles()[u];
        if (u != t && (runs(other, a, b) || runs(other, b, a)) && !visit(u, runs(other, a, b))) return false;
      }
    }
    return true;
  }
  bool oriented() {
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
      if (!neighbours(t, [](int, bool same) { return !same; })) return false;
    return true;
  }
  bool search(int seed) {
    visited.setBit(seed);
    Ints queue = {seed};
    for (std::size_t head = 0; head < queue.size(); ++head)
      if (!neighbours(queue[head], [&](int u, bool same) {
            if (same && visited.test(u)) return conflict = u, false;
            if (same) std::swap(mesh.getTriangles()[u][1], mesh.getTriangles()[u][2]);
            changed |= same;
            if (!visited.test(u)) queue.push_back(u);
            visited.setBit(u);
            return true;
          }))
        return false;
    return true;
  }
  bool orient() {
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
      if (!visited.test(t) && !search(t)) {
        visited.clearBits();
        search(conflict);
        return false;
      }
    return true;
  }

  CompactMesh mesh;
  MeshAdjTris adjTris;
  BitVector visited;
  int conflict = -1;
  bool changed = false;
};

void turnSome(CompactMesh& mesh, std::mt19937& random) {
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    if (random() % 2 != 0) std::swap(mesh.getTriangles()[t][0], mesh.getTriangles()[t][2]);
}

// Soups with repeated corners and copies, and umbrellas with some more triangles around their crowded tip.
TEST(Orientation, IsThatOfThePlainSearch) {
  int orientable = 0, contradictory = 0, umbrellas = 0;
  for (unsigned seed = 0; seed < 900; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    CompactMesh mesh = shapes::soup(50, static_cast<int>(random() % 30), random);
    if (seed % 3 == 0) mesh = shapes::soup(9, static_cast<int>(random() % 9), random);
    if (seed % 3 == 1) {
      const int n = mesh.getNumTriangles() / 10;
      mesh.resizeTriangleArray(n + 47);
      for (int i = 0; i < 47; ++i) mesh.getTriangles()[n + i] = {{i + 1, 0, i + 2}};
      for (int t = 0; t < n; ++t)
        if (random() % 2 != 0)
          mesh.getTriangles()[t][1] = mesh.getTriangles()[t][static_cast<int>(random() % 2) * 2];
      for (int t = 0; t < n; ++t) mesh.getTriangles()[t][0] = 0;
    }
    turnSome(mesh, random);
    PlainSearch plain(mesh);
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    NoticeLog notices(mesh);
    MeshOrient orient(mesh, adjTris);
    const bool oriented = plain.oriented();
    ASSERT_EQ(orient.isOriented(), oriented);
    ASSERT_EQ(orient.isOrientable(), oriented);
    ASSERT_EQ(meshOriented(mesh, adjTris), oriented);
    ASSERT_EQ(orient.getAffectedTriangles().numSetBits, 0);
    orient.orient();
    if (!oriented) {
      const bool success = plain.orient();
      ASSERT_EQ(orient.isOriented(), success);
      ASSERT_EQ(orient.isOrientable(), success);
      ASSERT_EQ(meshOriented(mesh, adjTris), success);
      ASSERT_TRUE(orient.getAffectedTriangles() == plain.visited);
      (success ? orientable : contradictory)++;
      umbrellas += success && seed % 3 == 1;
    }
    ASSERT_EQ(indicesOf(mesh), indicesOf(plain.mesh));
    const auto notice = std::pair(M::TopologyModified, unsigned{M::UVsValid | M::STsValid | M::ColoursValid});
    ASSERT_EQ(notices.sent, Notices(plain.changed ? 1 : 0, notice));
  }
  EXPECT_TRUE(orientable > 50 && contradictory > 50 && umbrellas > 20)
      << orientable << ' ' << contradictory << ' ' << umbrellas;
}

// Two closed pieces and an open one.
TEST(Orientation, OfEachPieceFollowsItsLowestTriangle) {
  CompactMesh mesh = shapes::torus(20, 15);
  const int vertices = mesh.getNumVertices(), triangles = mesh.getNumTriangles();
  mesh.resizeVertexArray(2 * vertices + 3);
  mesh.resizeTriangleArray(2 * triangles + 1);
  for (int i = 0; i < 3 * triangles; ++i)
    mesh.getTrianglesRaw()[3 * triangles + i] = vertices + mesh.getTrianglesRaw()[i];
  mesh.getTriangles()[2 * triangles] = {{2 * vertices, 2 * vertices + 1, 2 * vertices + 2}};
  const CompactMesh sound = mesh;
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    mesh = sound;
    turnSome(mesh, random);
    const CompactMesh turned = mesh;
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    ASSERT_TRUE(meshMakeOriented(mesh, adjTris));
    ASSERT_TRUE(meshOriented(mesh, adjTris));
    for (const int t : {0, triangles, 2 * triangles})
      for (int k = 0; k < 3; ++k) ASSERT_EQ(mesh.getTriangles()[t][k], turned.getTriangles()[t][k]) << t;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
      ASSERT_EQ(mesh.getTriangles()[t][0], turned.getTriangles()[t][0]);
  }
}

TEST(Orientation, OfOneSidedAndOverfullMeshesFails) {
  // A Moebius strip of five triangles; three triangles on an edge; the same triangle three times.
  for (const shapes::Tris& tris :
       {shapes::Tris{{0, 1, 2}, {2, 1, 3}, {2, 3, 4}, {4, 3, 0}, {4, 0, 1}},
        shapes::Tris{{0, 1, 2}, {0, 1, 3}, {0, 1, 4}}, shapes::Tris{{0, 1, 2}, {0, 1, 2}, {0, 1, 2}}}) {
    CompactMesh mesh = shapes::make(tris);
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshOrient orient(mesh, adjTris);
    orient.orient();
    EXPECT_TRUE(!orient.isOriented() && !orient.isOrientable());
    EXPECT_GT(orient.getAffectedTriangles().numSetBits, 0);
    EXPECT_FALSE(meshMakeOriented(mesh, adjTris));
  }
}

}  // namespace
}  // namespace qvGeom
