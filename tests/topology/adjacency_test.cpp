#include "geom/topology/adjacency.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <set>

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

TEST(Adjacency, ListsOncePerCornerAndNeighboursInOrderOfDiscovery) {
  const CompactMesh mesh = shapes::make({{2, 1, 0}, {0, 0, 1}, {0, 3, 2}});
  DebugLog log;
  const Adjacency a(mesh);
  EXPECT_EQ(trisOf(a.tris, 0), (Ints{0, 1, 1, 2})) << "a repeated corner counts twice";
  EXPECT_EQ(neighboursOf(a.vertices, 0), (Ints{2, 1, 3}));
  int copied[12];
  a.tris.copyTriangles(0, copied, mesh.getTrianglesRaw());
  EXPECT_EQ(intsOf(copied, 12), (Ints{2, 1, 0, 0, 0, 1, 0, 0, 1, 0, 3, 2}));
  EXPECT_THAT(
      log.messages,
      testing::ElementsAre(testing::MatchesRegex("MeshAdjTris: 4 vertices 3 triangles [0-9.]+\n"),
                           testing::MatchesRegex("MeshAdjVertices: 4 vertices, 3 triangles: [0-9.]+ s\n"),
                           testing::MatchesRegex("meshComputeBoundary: 1 boundaries: [0-9.]+ s\n")));
  const Adjacency none{CompactMesh()};
  EXPECT_EQ(none.vertices.maxValence() + none.boundaries.size(), 0);
}

TEST(Adjacency, AgreesWithSetsOnRandomSoups) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const CompactMesh mesh = shapes::soup(40, 60, random);
    const Adjacency a(mesh);
    int largest = 0;
    for (int v = 0; v < 40; ++v) {
      Ints tris;
      std::set<int> neighbours;
      for (int t = 0; t < 60; ++t)
        for (int k = 0; k < 3; ++k) {
          if (mesh.getTriangles()[t][k] != v) continue;
          tris.push_back(t);
          neighbours.insert(mesh.getTriangles()[t].v, mesh.getTriangles()[t].v + 3);
        }
      neighbours.erase(v);
      EXPECT_EQ(trisOf(a.tris, v), tris);
      Ints found = neighboursOf(a.vertices, v);
      std::sort(found.begin(), found.end());
      EXPECT_EQ(found, Ints(neighbours.begin(), neighbours.end()));
      largest = std::max(largest, static_cast<int>(neighbours.size()));
    }
    EXPECT_EQ(a.vertices.maxValence(), largest);
  }
}

Ints sorted(int v, const shapes::Tris& tris, const Ints& order) {
  qv::vector<int> out;
  sortAdjTris(v, static_cast<int>(order.size()), order.data(), shapes::make(tris).getTriangles(), out);
  return out;
}

TEST(SortAdjTris, FollowsTheWindingAndStartsANewFanAtABreak) {
  const shapes::Tris fan = {{0, 1, 2}, {0, 3, 1}, {0, 2, 3}};
  EXPECT_EQ(sorted(0, fan, {0, 1, 2}), (Ints{0, 2, 1}));
  EXPECT_EQ(sorted(0, fan, {1, 0, 2}), (Ints{1, 0, 2})) << "the first stays first";
  // Turned over, triangle 1 lets no fan go on; the next remaining one in input order takes its place.
  EXPECT_EQ(sorted(0, {{0, 1, 2}, {0, 3, 2}, {4, 5, 0}, {0, 3, 4}}, {0, 1, 2, 3}), (Ints{0, 1, 2, 3}));
  EXPECT_EQ(sorted(0, {{0, 1, 2}, {5, 0, 6}, {2, 3, 0}}, {0, 1, 2}), (Ints{0, 2, 1}));
}

TEST(SortAdjTris, PutsLongFansInOrder) {
  // Two fans, shuffled: the second one begins where the first has come round.
  shapes::Tris tris;
  for (int i = 0; i < 300; ++i) tris.push_back({1 + i, i == 299 ? 201 : i == 199 ? 1 : i + 2, 0});
  Ints order(tris.size());
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(1));
  const Ints found = sorted(0, tris, order);
  EXPECT_TRUE(std::is_permutation(found.begin(), found.end(), order.begin()));
  int breaks = 0;
  for (std::size_t i = 1; i < found.size(); ++i) breaks += tris[found[i]][0] != tris[found[i - 1]][1];
  EXPECT_EQ(breaks, 1);
}

TEST(SharedEdge, TakesTheFirstOtherTriangleWithTheFarCorner) {
  const CompactMesh mesh = shapes::make({{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
  const Adjacency a(mesh);
  int other = 77, edge = 88;
  EXPECT_TRUE(getSharedEdgeAdjacentTriangle(0, 0, mesh.getTriangles(), a.tris, other, edge));
  EXPECT_EQ(std::pair(other, edge), std::pair(1, 0));
  // Winding plays no part: in triangle 0 corner 1 is found although its edge runs the same way.
  EXPECT_TRUE(getSharedEdgeAdjacentTriangle(2, 0, mesh.getTriangles(), a.tris, other, edge));
  EXPECT_EQ(std::pair(other, edge), std::pair(0, 1));
  EXPECT_FALSE(getSharedEdgeAdjacentTriangle(0, 1, mesh.getTriangles(), a.tris, other, edge));
  EXPECT_EQ(std::pair(other, edge), std::pair(0, -1)) << "the triangle unchanged when there is none";
  other = 1;
  EXPECT_TRUE(getSharedEdgeAdjacentTriangle(other, 0, mesh.getTriangles(), a.tris, other, edge));
  EXPECT_EQ(other, 0) << "input and output may be one variable";
}

}  // namespace
}  // namespace qvGeom
