#include "geom/repair/manifold.h"

#include <algorithm>
#include <map>
#include <random>

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using M = MeshModification;
using Edges = qv::vector<std::pair<int, int>>;

MeshManifoldResult manifoldOf(const CompactMesh& mesh) {
  MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  MeshManifoldResult result;
  result.badEdges.emplace_back(-1, -1);  // replaced, not added to
  meshManifold(mesh, adjTris, result);
  return result;
}

Ints badVerticesOf(const MeshManifoldResult& result) {
  Ints bad;
  for (int v = 0; v < result.badVertices.size(); ++v)
    if (result.badVertices.test(v)) bad.push_back(v);
  return bad;
}

// Looks at every pair of triangles, and grows groups by comparing labels. With repeated corners too: a corner
// has two edges, and a triangle comes up at a vertex once for each of its corners there, seen from the first.
struct ScannedFan {
  ScannedFan(const CompactMesh& mesh, int v) {
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
      const MeshTriangle& c = mesh.getTriangles()[t];
      const auto first = std::find(c.v, c.v + 3, v) - c.v;
      for (auto n = std::count(c.v, c.v + 3, v); n > 0; --n)
        ends.push_back({c.v[(first + 1) % 3], c.v[(first + 2) % 3]});
    }
    for (const auto& [p, q] : ends) ++uses[p], ++uses[q];
    for (std::size_t k = 0; k < ends.size(); ++k) labels.push_back(static_cast<int>(k));
    for (std::size_t round = 0; round < ends.size(); ++round)
      for (std::size_t k = 0; k < ends.size(); ++k)
        for (std::size_t j = 0; j < ends.size(); ++j)
          for (const int end : ends[j])
            if (end == ends[k][0] || end == ends[k][1]) labels[k] = std::min(labels[k], labels[j]);
  }
  std::vector<std::array<int, 2>> ends;
  std::map<int, int> uses;
  Ints labels;
};

TEST(Manifold, FindsAndRepairsWhatAScanOfAllTrianglesFinds) {
  int withEdges = 0, withVertices = 0;
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const int size = 3 + static_cast<int>(random() % 12);
    CompactMesh mesh = shapes::soup(size, static_cast<int>(random() % static_cast<unsigned>(size)), random);
    Edges edges;
    Ints vertices;
    bool degenerate = false;
    for (int v = 0; v < size; ++v) {
      const ScannedFan fan(mesh, v);
      for (const auto& [end, uses] : fan.uses) {
        if (uses > 2 && v <= end) edges.emplace_back(v, end);
        degenerate |= v == end;
      }
      for (std::size_t k = 0; k < fan.labels.size(); ++k)
        if (fan.labels[k] != 0) {
          vertices.push_back(v);
          break;
        }
    }
    if (!edges.empty()) vertices.clear();
    const MeshManifoldResult result = manifoldOf(mesh);
    ASSERT_EQ(result.badEdges, edges);
    ASSERT_EQ(badVerticesOf(result), vertices);
    withEdges += edges.empty() ? 0 : 1;
    withVertices += vertices.empty() ? 0 : 1;

    const CompactMesh before = mesh;
    meshMakeManifold(mesh);
    expectSound(mesh);
    ASSERT_TRUE(degenerate || manifoldOf(mesh).isClean());
    // What is left are triangles that were there, in their order, corner for corner where they were.
    int from = 0;
    const auto at = [](const CompactMesh& m, int t, int k) {
      return m.getVertices()[m.getTriangles()[t][k]].asPointFlt();
    };
    for (int t = 0; t < mesh.getNumTriangles(); ++t, ++from) {
      const auto same = [&](int k) { return at(mesh, t, k) == at(before, from, k); };
      while (from < before.getNumTriangles() && !(same(0) && same(1) && same(2))) ++from;
      ASSERT_LT(from, before.getNumTriangles());
    }
    const bool fewer = mesh.getNumTriangles() < before.getNumTriangles();
    ASSERT_TRUE(edges.empty() ? !fewer : fewer || degenerate);
    const Ints repaired = indicesOf(mesh);
    meshMakeManifold(mesh);
    ASSERT_EQ(indicesOf(mesh), repaired) << "nothing is left to do";
  }
  EXPECT_TRUE(withEdges > 100 && withVertices > 100) << withEdges << ' ' << withVertices;
}

TEST(MakeManifold, DecidesWhatGoesAndWhatGetsANewVertex) {
  const struct {
    char const* name;
    shapes::Tris in;
    Edges badEdges;
    Ints badVertices;
    shapes::Tris out;
    int vertices;
  } cases[] = {
      {"empty", {}, {}, {}, {}, 0},
      {"one triangle", {{0, 1, 2}}, {}, {}, {{0, 1, 2}}, 3},
      {"the third vertex with the fewest triangles",
       {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}, {1, 5, 3}, {1, 4, 6}},
       {{0, 1}},
       {},
       {{1, 0, 2}, {0, 1, 3}, {1, 4, 2}, {1, 3, 5}},
       6},
      {"equal ones: the first", {{0, 3, 1}, {2, 0, 1}, {0, 1, 4}}, {{0, 1}}, {}, {{2, 0, 1}, {0, 1, 3}}, 4},
      {"copies",
       {{0, 1, 2}, {1, 2, 0}, {2, 1, 0}, {0, 1, 2}},
       {{0, 1}, {0, 2}, {1, 2}},
       {},
       {{2, 1, 0}, {0, 1, 2}},
       3},
      {"bow tie", {{0, 1, 2}, {0, 3, 4}}, {}, {0}, {{0, 1, 2}, {5, 3, 4}}, 6},
      {"groups in order of their first, one joined late, and an edge of split vertices",
       {{8, 0, 1}, {0, 2, 3}, {5, 4, 0}, {6, 7, 0}, {4, 0, 3}, {8, 9, 10}},
       {},
       {0, 8},
       {{8, 0, 1}, {11, 2, 3}, {5, 4, 11}, {6, 7, 12}, {4, 11, 3}, {13, 9, 10}},
       14},
      {"a point as a triangle", {{0, 0, 0}}, {{0, 0}}, {}, {}, 0},
      {"a needle goes first, sound triangles around its tip stay",
       {{0, 1, 3}, {0, 2, 1}, {0, 0, 1}, {0, 0, 0}},
       {{0, 0}, {0, 1}},
       {},
       {{0, 1, 3}, {0, 2, 1}},
       4},
      {"bad by one triangle's two uses: nothing to spare",
       {{0, 1, 1}, {0, 1, 2}, {0, 3, 4}},
       {{0, 1}},
       {},
       {{0, 1, 1}, {0, 1, 2}, {0, 3, 4}},
       5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CompactMesh mesh = shapes::make(c.in);
    const MeshManifoldResult result = manifoldOf(mesh);
    EXPECT_EQ(result.badEdges, c.badEdges);
    EXPECT_EQ(badVerticesOf(result), c.badVertices);
    meshMakeManifold(mesh);
    EXPECT_EQ(indicesOf(mesh), indicesOf(shapes::make(c.out)));
    EXPECT_EQ(mesh.getNumVertices(), c.vertices);
  }
}

// Around a crowded vertex, triangles of an edge are looked up from its other end.
TEST(MakeManifold, FreesTheSpokesOfALongFan) {
  shapes::Tris fan;
  for (int i = 1; i < 99; ++i) fan.push_back({i, 0, i + 1});
  shapes::Tris crowded = fan;
  for (const int spoke : {50, 80}) {
    crowded.insert(crowded.begin() + spoke / 2, {spoke, 100 + spoke, 0});
    crowded.push_back({0, spoke, 200 + spoke});
    crowded.push_back({0, 0, spoke});
  }
  CompactMesh mesh = shapes::make(crowded);
  meshMakeManifold(mesh);
  EXPECT_EQ(indicesOf(mesh), indicesOf(shapes::make(fan)));
}

TEST(MakeManifold, TellsOnceAndTouchesOnlyWhatIsBad) {
  CompactMesh mesh =
      shapes::make({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {2, 0, 0}, {0, 2, 0}}, {{0, 1, 2}, {0, 3, 4}});
  mesh.getSelectedTriangles().resize(2);
  mesh.getSelectedTriangles().setAllBits();  // left over: must not be deleted
  MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  DebugLog log;
  NoticeLog notices(mesh);
  MeshManifoldResult result;
  meshMakeManifold(mesh, adjTris, result);
  result.badEdges.emplace_back(0, 1);
  meshMakeManifold(mesh, adjTris, result);
  EXPECT_TRUE(notices.sent.empty()) << "a clean result, and an edge that is fine";
  EXPECT_EQ(mesh.getNumTriangles(), 2);

  log.messages.clear();
  meshManifold(mesh, adjTris, result);
  EXPECT_THAT(log.messages, testing::ElementsAre(testing::MatchesRegex(
                                "meshManifold:  vertices 5  triangles 2: [0-9.]+ s\n        "
                                "       badVertexAdj\\(1\\) badEdgeAdj\\(0\\)\n")));
  result.badVertices.setBit(1);  // is fine
  meshMakeManifold(mesh, adjTris, result);
  EXPECT_EQ(notices.sent, (Notices{{M::TopologyModified, 0}}));
  EXPECT_EQ(mesh.getNumVertices(), 6);
}

}  // namespace
}  // namespace qvGeom
