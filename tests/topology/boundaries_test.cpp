#include "geom/topology/boundaries.h"

#include <gtest/gtest.h>
#include <numeric>
#include <random>

#include "geom/topology/components.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

TEST(Boundaries, LoopsFollowTheirEdgesFromTheLowestVertex) {
  const std::pair<shapes::Tris, std::vector<Ints>> cases[] = {
      {{{0, 2, 1}}, {{0, 2, 1}}},
      {{{0, 1, 2}, {0, 3, 4}}, {{0, 1, 2}, {3, 4}}},
      {{{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}}, {}},
      {{{3, 4, 5}, {0, 1, 2}}, {{0, 1, 2}, {3, 4, 5}}},
      // Vertex 2 has two triangles and, by the doubled one, two neighbours: it looks inner, so nothing leads
      // to it, and the walk from it stays within its reach.
      {{{0, 1, 2}, {0, 1, 2}}, {}},
      {{{0, 0, 1}}, {}},  // every edge has its reverse
  };
  for (const auto& [tris, loops] : cases) EXPECT_EQ(loopsOf(Adjacency(shapes::make(tris)).boundaries), loops);
}

TEST(Boundaries, OfAGridAreOneLoopWhateverTheNumbering) {
  CompactMesh mesh = shapes::grid(7, 5);
  Ints order(static_cast<std::size_t>(mesh.getNumVertices()));
  std::iota(order.begin(), order.end(), 0);
  std::mt19937 random(3);
  for (int round = 0; round < 10; ++round) {
    std::shuffle(order.begin(), order.end(), random);
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
      int& v = mesh.getTriangles()[i / 3][i % 3];
      v = order[v];
    }
    const Adjacency a(mesh);
    ASSERT_TRUE(a.boundaries.size() == 1 && a.boundaries.getLength(0) == 24);
    int const* loop = a.boundaries.getStart(0);
    for (int i = 0; i < 24; ++i) {
      EXPECT_TRUE(Boundary::hasEdge(mesh, a.tris, loop[i], loop[(i + 1) % 24]));
      EXPECT_FALSE(Boundary::hasEdge(mesh, a.tris, loop[(i + 1) % 24], loop[i]));
      EXPECT_GE(loop[i], loop[0]);
    }
  }
  EXPECT_EQ(Adjacency(shapes::torus(5, 4)).boundaries.size(), 0);
}

TEST(Boundaries, StepsReportTheLastCandidateWhenTheyFail) {
  const CompactMesh mesh = shapes::make({{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}});
  const Adjacency a(mesh);
  int next = -7;
  EXPECT_FALSE(Boundary::walkBoundary(0, next, mesh, a.tris, a.vertices));
  EXPECT_EQ(next, 3) << "the follower of 0 in its last triangle";
  const int triangle[] = {4, 4, 6};  // the first corner decides
  EXPECT_TRUE(Boundary::findEdge(4, triangle) == 4 && Boundary::findEdge(5, triangle) == -1);
}

TEST(Components, SayWhatTheyCounted) {
  CompactMesh mesh = shapes::make({{5, 6, 7}, {0, 1, 2}, {2, 3, 4}, {8, 8, 8}});
  mesh.resizeVertexArray(10);
  DebugLog log;
  Array<int> component;
  EXPECT_EQ(meshComponents(mesh, {}, &component), 3);
  EXPECT_EQ(intsOf(component.data(), component.size()), (Ints{1, 1, 1, 1, 1, 0, 0, 0, 2, -1}));
  EXPECT_THAT(log.messages, testing::ElementsAre("meshComponents(): 4 triangles\n",
                                                 testing::MatchesRegex("3 components: [0-9.]+ s\n")));
}

// The reference floods over triangles from the lowest unvisited one.
TEST(Components, NumberLikeAFlood) {
  for (unsigned seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const CompactMesh mesh = shapes::soup(120, 45, random);
    const Adjacency a(mesh);
    Ints expected(120, -1);
    int count = 0;
    for (int t = 0; t < 45; ++t) {
      if (expected[mesh.getTriangles()[t][0]] >= 0) continue;
      Ints stack{t};
      while (!stack.empty()) {
        const MeshTriangle tri = mesh.getTriangles()[stack.back()];
        stack.pop_back();
        for (const int v : tri.v) {
          if (std::exchange(expected[v], count) >= 0) continue;
          for (const int other : trisOf(a.tris, v)) stack.push_back(other);
        }
      }
      ++count;
    }
    Array<int> component;
    EXPECT_EQ(meshComponents(mesh, a.tris, &component), count);
    EXPECT_EQ(intsOf(component.data(), component.size()), expected);
  }
}

}  // namespace
}  // namespace qvGeom
