#include "geom/topology/boundaries.h"

#include <gtest/gtest.h>
#include <numeric>
#include <random>

#include "geom/topology/components.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

using Loops = std::vector<std::vector<int>>;

TEST(Boundaries, LoopsFollowTheirEdgesFromTheLowestVertex) {
  struct Case {
    const char* name;
    shapes::Tris tris;
    Loops loops;
  };
  for (const Case& c : {
           Case{"one triangle", {{0, 1, 2}}, {{0, 1, 2}}},
           Case{"turned over", {{0, 2, 1}}, {{0, 2, 1}}},
           Case{"two triangles touching at a vertex", {{0, 1, 2}, {0, 3, 4}}, {{0, 1, 2}, {3, 4}}},
           Case{"closed", {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}}, {}},
           Case{"two pieces", {{3, 4, 5}, {0, 1, 2}}, {{0, 1, 2}, {3, 4, 5}}},
           // Vertex 2 has two triangles and, by the doubled one, two neighbours: it looks inner, so nothing
           // leads to it, and the walk from it stays within its reach.
           Case{"the same triangle twice", {{0, 1, 2}, {0, 1, 2}}, {}},
           Case{"repeated corner: every edge has its reverse", {{0, 0, 1}}, {}},
       }) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(loopsOf(Adjacency(shapes::make(c.tris)).boundaries), c.loops);
  }
}

TEST(Boundaries, OfAGridAreOneLoopWhateverTheNumbering) {
  const CompactMesh grid = shapes::grid(7, 5);
  std::vector<int> order(static_cast<std::size_t>(grid.getNumVertices()));
  std::iota(order.begin(), order.end(), 0);
  std::mt19937 random(3);
  for (int round = 0; round < 10; ++round) {
    const CompactMesh mesh = shapes::renumbered(grid, order);
    const Adjacency a(mesh);
    ASSERT_EQ(a.boundaries.size(), 1);
    ASSERT_EQ(a.boundaries.getLength(0), 24);
    int const* loop = a.boundaries.getStart(0);
    for (int i = 0; i < 24; ++i) {
      EXPECT_TRUE(Boundary::hasEdge(mesh, a.tris, loop[i], loop[(i + 1) % 24]));
      EXPECT_FALSE(Boundary::hasEdge(mesh, a.tris, loop[(i + 1) % 24], loop[i]));
      EXPECT_GE(loop[i], loop[0]);
    }
    std::shuffle(order.begin(), order.end(), random);
  }
  EXPECT_EQ(Adjacency(shapes::torus(5, 4)).boundaries.size(), 0);
}

TEST(Boundaries, StepsReportTheLastCandidateWhenTheyFail) {
  const CompactMesh mesh = shapes::make({{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}});
  const Adjacency a(mesh);
  int next = -7;
  EXPECT_FALSE(Boundary::walkBoundary(0, next, mesh, a.tris, a.vertices));
  EXPECT_EQ(next, 3) << "the follower of 0 in its last triangle";
  const int triangle[] = {4, 4, 6};
  EXPECT_EQ(Boundary::findEdge(4, triangle), 4) << "the first corner decides";
  EXPECT_EQ(Boundary::findEdge(6, triangle), 4);
  EXPECT_EQ(Boundary::findEdge(5, triangle), -1);
}

TEST(Components, CountTrianglesJoinedByVerticesOrByTwins) {
  const CompactMesh mesh = shapes::make({{5, 6, 7}, {0, 1, 2}, {2, 3, 4}, {8, 8, 8}});
  const Adjacency a(mesh);
  Array<int> component;
  EXPECT_EQ(meshComponents(mesh, a.tris, &component), 3);
  EXPECT_EQ(std::vector<int>(component.begin(), component.end()),
            (std::vector<int>{1, 1, 1, 1, 1, 0, 0, 0, 2}));
  CompactMesh withSpare = mesh;
  withSpare.resizeVertexArray(11);
  DebugLog log;
  EXPECT_EQ(meshComponents(withSpare, a.tris, &component), 3);
  EXPECT_EQ(component[9], -1);
  ASSERT_EQ(log.messages.size(), 2u);
  EXPECT_EQ(log.messages[0], "meshComponents(): 4 triangles\n");
  EXPECT_THAT(log.messages[1], testing::MatchesRegex("3 components: [0-9.]+ s\n"));
}

// The reference floods over triangles from the lowest unvisited one.
TEST(Components, NumberLikeAFlood) {
  for (unsigned seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const CompactMesh mesh = shapes::soup(120, 45, random);
    const Adjacency a(mesh);
    std::vector<int> expected(120, -1);
    int count = 0;
    for (int t = 0; t < 45; ++t) {
      if (expected[static_cast<std::size_t>(mesh.getTriangles()[t][0])] >= 0) continue;
      std::vector<int> stack{t};
      while (!stack.empty()) {
        const MeshTriangle tri = mesh.getTriangles()[stack.back()];
        stack.pop_back();
        for (const int v : tri.v) {
          if (expected[static_cast<std::size_t>(v)] >= 0) continue;
          expected[static_cast<std::size_t>(v)] = count;
          for (const int other : trisOf(a.tris, v)) stack.push_back(other);
        }
      }
      ++count;
    }
    Array<int> component;
    EXPECT_EQ(meshComponents(mesh, a.tris, &component), count);
    EXPECT_EQ(std::vector<int>(component.begin(), component.end()), expected);
  }
}

}  // namespace
}  // namespace qvGeom
