#include "geom/topology/adjacency.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <set>

#include "tests/support/mesh_checks.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

TEST(Adjacency, ListsOncePerCornerAndNeighboursInOrderOfDiscovery) {
  const CompactMesh mesh = shapes::make({{2, 1, 0}, {0, 0, 1}, {0, 3, 2}});
  const Adjacency a(mesh);
  EXPECT_EQ(trisOf(a.tris, 0), (std::vector<int>{0, 1, 1, 2})) << "a repeated corner counts twice";
  EXPECT_EQ(trisOf(a.tris, 3), std::vector<int>{2});
  EXPECT_EQ(neighboursOf(a.vertices, 0), (std::vector<int>{2, 1, 3}));
  EXPECT_EQ(neighboursOf(a.vertices, 1), (std::vector<int>{2, 0}));
  EXPECT_EQ(a.vertices.maxValence(), 3);

  int copied[12];
  a.tris.copyTriangles(0, copied, mesh.getTrianglesRaw());
  EXPECT_EQ(std::vector<int>(copied, copied + 12), (std::vector<int>{2, 1, 0, 0, 0, 1, 0, 0, 1, 0, 3, 2}));
}

TEST(Adjacency, OfMeshesWithoutTrianglesOrVertices) {
  CompactMesh points;
  points.resizeVertexArray(3);
  const Adjacency a(points);
  for (int v = 0; v < 3; ++v) {
    EXPECT_EQ(a.tris.numTris(v), 0);
    EXPECT_EQ(a.vertices.numAdjVertices(v), 0);
  }
  EXPECT_EQ(a.boundaries.size(), 0);
  const Adjacency none{CompactMesh()};
  EXPECT_EQ(none.vertices.getNumVertices(), 0);
  EXPECT_EQ(none.vertices.maxValence(), 0);
}

TEST(Adjacency, AgreesWithSetsOnRandomSoups) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const CompactMesh mesh = shapes::soup(40, 60, random);
    const Adjacency a(mesh);
    int largest = 0;
    for (int v = 0; v < 40; ++v) {
      std::vector<int> tris;
      std::set<int> neighbours;
      for (int t = 0; t < 60; ++t)
        for (int k = 0; k < 3; ++k) {
          if (mesh.getTriangles()[t][k] != v) continue;
          tris.push_back(t);
          neighbours.insert(mesh.getTriangles()[t].v, mesh.getTriangles()[t].v + 3);
        }
      neighbours.erase(v);
      EXPECT_EQ(trisOf(a.tris, v), tris);
      std::vector<int> found = neighboursOf(a.vertices, v);
      std::sort(found.begin(), found.end());
      EXPECT_EQ(found, std::vector<int>(neighbours.begin(), neighbours.end()));
      largest = std::max(largest, static_cast<int>(neighbours.size()));
    }
    EXPECT_EQ(a.vertices.maxValence(), largest);
  }
}

std::vector<int> sorted(int v, const shapes::Tris& tris, const std::vector<int>& order) {
  qv::vector<int> out;
  sortAdjTris(v, static_cast<int>(order.size()), order.data(), shapes::make(tris).getTriangles(), out);
  return out;
}

TEST(SortAdjTris, FollowsTheWindingAndStartsANewFanAtABreak) {
  const shapes::Tris fan = {{0, 1, 2}, {0, 3, 1}, {0, 2, 3}};
  EXPECT_EQ(sorted(0, fan, {0, 1, 2}), (std::vector<int>{0, 2, 1}));
  EXPECT_EQ(sorted(0, fan, {1, 0, 2}), (std::vector<int>{1, 0, 2})) << "the first stays first";
  // Turned over, triangle 1 lets no fan go on; the next remaining one in input order takes its place.
  EXPECT_EQ(sorted(0, {{0, 1, 2}, {0, 3, 2}, {4, 5, 0}, {0, 3, 4}}, {0, 1, 2, 3}),
            (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(sorted(0, {{0, 1, 2}, {5, 0, 6}, {2, 3, 0}}, {0, 1, 2}), (std::vector<int>{0, 2, 1}));
  EXPECT_EQ(sorted(0, fan, {}), std::vector<int>());
}

TEST(SharedEdge, TakesTheFirstOtherTriangleWithTheFarCorner) {
  const CompactMesh mesh = shapes::make({{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
  const Adjacency a(mesh);
  int other = 77, edge = 88;
  EXPECT_TRUE(getSharedEdgeAdjacentTriangle(0, 0, mesh.getTriangles(), a.tris, other, edge));
  EXPECT_EQ(other, 1);
  EXPECT_EQ(edge, 0);
  // Winding plays no part: in triangle 0 corner 1 is found although its edge runs the same way.
  EXPECT_TRUE(getSharedEdgeAdjacentTriangle(2, 0, mesh.getTriangles(), a.tris, other, edge));
  EXPECT_EQ(other, 0);
  EXPECT_EQ(edge, 1);
  EXPECT_FALSE(getSharedEdgeAdjacentTriangle(0, 1, mesh.getTriangles(), a.tris, other, edge));
  EXPECT_EQ(other, 0) << "unchanged when there is none";
  EXPECT_EQ(edge, -1);
  int same = 1;
  EXPECT_TRUE(getSharedEdgeAdjacentTriangle(same, 0, mesh.getTriangles(), a.tris, same, edge));
  EXPECT_EQ(same, 0) << "input and output may be one variable";
}

TEST(Adjacency, SaysWhatItDid) {
  const CompactMesh mesh = shapes::grid(1, 1);
  DebugLog log;
  const Adjacency a(mesh);
  ASSERT_EQ(log.messages.size(), 3u);
  EXPECT_THAT(log.messages[0], testing::MatchesRegex("MeshAdjTris: 4 vertices 2 triangles [0-9.]+\n"));
  EXPECT_THAT(log.messages[1],
              testing::MatchesRegex("MeshAdjVertices: 4 vertices, 2 triangles: [0-9.]+ s\n"));
  EXPECT_THAT(log.messages[2], testing::MatchesRegex("meshComputeBoundary: 1 boundaries: [0-9.]+ s\n"));
}

}  // namespace
}  // namespace qvGeom
