#include "geom/repair/manifold.h"

#include <map>
#include <random>

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using M = MeshModification;

MeshManifoldResult manifoldOf(const CompactMesh& mesh) {
  MeshManifoldResult result;
  result.badEdges.emplace_back(-1, -1);  // replaced, not added to
  meshManifold(mesh, Adjacency(mesh).tris, result);
  return result;
}

// Compares all pairs around a vertex. A corner has two edges; with repeated corners a triangle comes up once
// for each, seen from the first.
MeshManifoldResult scan(const CompactMesh& mesh) {
  MeshManifoldResult result;
  result.badVertices.resize(mesh.getNumVertices());
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    std::vector<std::array<int, 3>> ends;  // and a label
    for (const int t : trisOf(Adjacency(mesh).tris, v)) {
      int const* c = mesh.getTriangles()[t].v;
      const auto first = std::find(c, c + 3, v) - c;
      ends.push_back({c[(first + 1) % 3], c[(first + 2) % 3], static_cast<int>(ends.size())});
    }
    std::map<int, int> uses;
    for (const auto& a : ends) ++uses[a[0]], ++uses[a[1]];
    for (const auto& [end, n] : uses)
      if (n > 2 && v <= end) result.badEdges.emplace_back(v, end);
    for (std::size_t round = 0; round < ends.size(); ++round)
      for (auto& a : ends)
        for (const auto& b : ends)
          if (a[0] == b[0] || a[0] == b[1] || a[1] == b[0] || a[1] == b[1]) a[2] = std::min(a[2], b[2]);
    for (const auto& a : ends)
      if (a[2] != 0) result.badVertices.setBit(v);
  }
  if (!result.badEdges.empty()) result.badVertices.clearBits();
  return result;
}

TEST(Manifold, IsWhatAScanFindsAndRepairComesToAnEnd) {
  int withEdges = 0, withVertices = 0;
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const int size = 3 + static_cast<int>(random() % 12);
    CompactMesh mesh = shapes::soup(size, static_cast<int>(random() % static_cast<unsigned>(size)), random);
    const MeshManifoldResult result = manifoldOf(mesh), expected = scan(mesh);
    ASSERT_EQ(result.badEdges, expected.badEdges);
    ASSERT_EQ(result.badVertices, expected.badVertices);
    withEdges += result.badEdges.empty() ? 0 : 1;
    withVertices += result.badVertices.numSetBits > 0 ? 1 : 0;
    meshMakeManifold(mesh);
    expectSound(mesh);
    ASSERT_EQ(manifoldOf(mesh).badVertices.numSetBits, 0);
    const Ints repaired = indicesOf(mesh);
    meshMakeManifold(mesh);
    ASSERT_EQ(indicesOf(mesh), repaired);
  }
  EXPECT_TRUE(withEdges > 100 && withVertices > 100);
}

TEST(MakeManifold, DecidesWhatGoesAndWhatGetsANewVertex) {
  // A long fan with surplus triangles on a spoke, whose triangles are looked up from its other end.
  shapes::Tris fan, crowded = {{0, 100, 50}, {0, 50, 0}};
  for (int i = 1; i < 99; ++i) fan.push_back({i, 0, i + 1});
  crowded.insert(crowded.end(), fan.begin(), fan.end());
  crowded.push_back({50, 0, 101});
  const std::tuple<shapes::Tris, qv::vector<std::pair<int, int>>, shapes::Tris> cases[] = {
      // The third vertex with the fewest triangles; among equal ones, such as copies, the first.
      {{{0, 1, 2}, {1, 0, 3}, {0, 1, 4}, {1, 5, 3}, {1, 4, 6}},
       {{0, 1}},
       {{1, 0, 2}, {0, 1, 3}, {1, 4, 2}, {1, 3, 5}}},
      {{{0, 1, 2}, {1, 2, 0}, {2, 1, 0}, {0, 1, 2}}, {{0, 1}, {0, 2}, {1, 2}}, {{2, 1, 0}, {0, 1, 2}}},
      {crowded, {{0, 50}}, fan},
      // A bow tie; groups at both ends of an edge, one joined late.
      {{{0, 1, 2}, {0, 3, 4}}, {}, {{0, 1, 2}, {5, 3, 4}}},
      {{{8, 0, 1}, {0, 2, 3}, {5, 4, 0}, {6, 7, 0}, {4, 0, 3}, {8, 9, 10}},
       {},
       {{8, 0, 1}, {11, 2, 3}, {5, 4, 11}, {6, 7, 12}, {4, 11, 3}, {13, 9, 10}}},
      // Points and needles go, sound triangles around them stay; where none is to spare, nothing goes.
      {{{0, 0, 0}}, {{0, 0}}, {}},
      {{{0, 1, 3}, {0, 2, 1}, {0, 0, 1}, {0, 0, 0}}, {{0, 0}, {0, 1}}, {{0, 1, 3}, {0, 2, 1}}},
      {{{0, 1, 1}, {0, 1, 2}, {0, 3, 4}}, {{0, 1}}, {{0, 1, 1}, {0, 1, 2}, {0, 3, 4}}},
  };
  for (const auto& [in, badEdges, out] : cases) {
    CompactMesh mesh = shapes::make(in);
    EXPECT_EQ(manifoldOf(mesh).badEdges, badEdges);
    meshMakeManifold(mesh);
    EXPECT_EQ(indicesOf(mesh), indicesOf(shapes::make(out)));
  }
}

TEST(MakeManifold, TellsOnceAndTouchesOnlyWhatIsBad) {
  CompactMesh mesh = shapes::make({{7, 7, 7}, {}, {}, {}, {}}, {{0, 1, 2}, {0, 3, 4}});
  mesh.getSelectedTriangles().resize(1);
  mesh.getSelectedTriangles().setAllBits();  // left over: must not be deleted
  const Adjacency adjacency(mesh);
  NoticeLog notices(mesh);
  DebugLog log;
  MeshManifoldResult result;
  meshManifold(mesh, adjacency.tris, result);
  EXPECT_THAT(log.messages[0], testing::MatchesRegex("meshManifold:  vertices 5  triangles 2: [0-9.]+ s\n"
                                                     " {15}badVertexAdj\\(1\\) badEdgeAdj\\(0\\)\n"));
  meshMakeManifold(mesh, adjacency.tris, {{}, {{0, 1}}});  // is fine
  EXPECT_TRUE(notices.sent.empty() && mesh.getNumTriangles() == 2);
  result.badVertices.setBit(1);  // is fine
  meshMakeManifold(mesh, adjacency.tris, result);
  EXPECT_EQ(notices.sent, (Notices{{M::TopologyModified, 0}}));
  EXPECT_TRUE(mesh.getNumVertices() == 6 && mesh.getVertices()[5].x == 7);
}

}  // namespace
}  // namespace qvGeom
