#include "geom/repair/repair.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <numbers>
#include <random>
#include <set>

#include "geom/repair/topo_verify.h"
#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/shapes.h"
#include "tests/support/spatial.h"
#include "tests/support/topo_build.h"

namespace qvGeom {
namespace {

using Check = MeshCharacteristics::Test;

// A strip of triangles around an axis, closed with half a turn: one-sided.
CompactMesh moebius(int n) {
  shapes::Tris tris;
  for (int i = 0; i < n; ++i) {
    const int a = 2 * i, b = a + 1, c = i + 1 < n ? a + 2 : 1, d = i + 1 < n ? a + 3 : 0;
    tris.push_back({a, b, c});
    tris.push_back({b, d, c});
  }
  CompactMesh mesh = shapes::make(tris);
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    const double u = 2 * std::numbers::pi * (v / 2) / n, r = 3 + (v % 2 ? 1 : -1) * std::cos(u / 2);
    const double p[] = {r * std::cos(u), r * std::sin(u), (v % 2 ? 1 : -1) * std::sin(u / 2)};
    mesh.getVertices()[v].set(p);
  }
  return mesh;
}

CompactMesh joined(const CompactMesh& a, const CompactMesh& b) {
  CompactMesh mesh = a;
  mesh.resizeVertexArray(a.getNumVertices() + b.getNumVertices());
  mesh.resizeTriangleArray(a.getNumTriangles() + b.getNumTriangles());
  std::copy_n(b.getVertices(), b.getNumVertices(), mesh.getVertices() + a.getNumVertices());
  for (int t = 0; t < b.getNumTriangles(); ++t)
    for (int k = 0; k < 3; ++k)
      mesh.getTriangles()[a.getNumTriangles() + t][k] = b.getTriangles()[t][k] + a.getNumVertices();
  return mesh;
}

TEST(DuplicateTris, AreFoundAsByBruteForce) {
  std::mt19937 random(5);
  for (int round = 0; round < 200; ++round) {
    CompactMesh mesh = shapes::soup(4 + round % 9, 1 + round % 40, random);
    for (int v = 0; v < mesh.getNumVertices(); v += 3) mesh.getVertices()[v] = mesh.getVertices()[0];
    MeshDuplicateTrisResult expected, result;
    std::map<std::set<int>, std::vector<int>> seen;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
      const MeshTriangle& tri = mesh.getTriangles()[t];
      std::multiset<int> corners{tri[0], tri[1], tri[2]};
      const std::set<int> distinct(corners.begin(), corners.end());
      int atOrigin = 0;
      for (const int v : tri.v) atOrigin += v % 3 == 0;
      if (distinct.size() < 3) {
        expected.repeatedIndices.push_back(t);
      } else if (atOrigin > 1) {
        expected.coincidentCorners.push_back(t);
      }
      // (a, a, b) is no copy of (a, b, b).
      if (distinct.size() == 3) seen[distinct].push_back(t);
    }
    std::vector<int> extra;
    for (const auto& [corners, list] : seen) extra.insert(extra.end(), list.begin() + 1, list.end());
    DebugLog log;
    EXPECT_TRUE(meshDuplicateTris(mesh, result) == static_cast<bool>(result));
    EXPECT_EQ(result.repeatedIndices, expected.repeatedIndices);
    EXPECT_EQ(result.coincidentCorners, expected.coincidentCorners);
    std::vector<int> found;
    for (const int t : result.duplicates)
      if (!std::count(result.repeatedIndices.begin(), result.repeatedIndices.end(), t)) found.push_back(t);
    EXPECT_EQ(found, extra) << round;
    EXPECT_EQ(log.messages.at(0).find("meshDuplicateTris:  verts(" + std::to_string(mesh.getNumVertices()) +
                                      ") tris("),
              0u);
  }
  CompactMesh copies =
      shapes::make(shapes::Tris{{0, 1, 2}, {1, 2, 3}, {2, 3, 4}, {3, 4, 5}, {3, 2, 1}, {4, 5, 6}, {2, 1, 3}});
  for (int v = 0; v < 7; ++v) copies.getVertices()[v].x = static_cast<float>(v);
  MeshDuplicateTrisResult result;
  meshDuplicateTris(copies, result);
  EXPECT_EQ(result.duplicates, (std::vector<int>{4, 6}));
  const Adjacency adjacency(copies);
  DebugLog log;
  meshRemoveDuplicateTris(copies, adjacency.tris);
  EXPECT_EQ(copies.getNumTriangles(), 5);
  EXPECT_EQ(log.messages.at(1), "qvGeom::meshRemoveDuplicateTris\n");
  EXPECT_EQ(log.messages.at(2), "           vertices(7) triangles(7)\n");
  log.messages.clear();
  meshRemoveDuplicateTris(copies, Adjacency(copies).tris, MeshDuplicateTrisResult());
  EXPECT_EQ(log.messages.size(), 3u) << "of the adjacency";
}

// Two triangles on the edge 0 1 whose normals are so many degrees apart.
CompactMesh folded(double degrees) {
  const double a = degrees * std::numbers::pi / 180;
  CompactMesh mesh = shapes::make({{0, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {1, 0, 0}}, {{1, 0, 3}, {0, 1, 2}});
  const double p[] = {-std::cos(a), 0, std::sin(a)};
  mesh.getVertices()[2].set(p);
  return mesh;
}

TEST(DihedralAngles, ListEachFoldOnceForEveryNumberOfThreads) {
  struct Case {
    double apart, minimum;
    bool listed;
  };
  for (const Case& c : {Case{170, 15, true}, Case{160, 15, false}, Case{90, 90, true}, Case{90, 89.9, false},
                        Case{0, 180, true}, Case{0, 200, true}}) {
    const CompactMesh mesh = folded(c.apart);
    MeshDihedralAnglesResult result;
    meshFindAnglesLessThan(mesh, Adjacency(mesh).tris, c.minimum, result);
    ASSERT_EQ(result.foldedEdges.size(), c.listed ? 1u : 0u) << c.apart << " " << c.minimum;
    EXPECT_TRUE(!c.listed || result.foldedEdges[0] == std::pair(1, 0));
    EXPECT_NEAR(meshMaxDihedralAngle(mesh, Adjacency(mesh).tris), c.apart * std::numbers::pi / 180, 1e-6);
  }
  std::mt19937 random(3);
  const CompactMesh soup = shapes::soup(40, 300, random);
  const Adjacency adjacency(soup);
  std::vector<std::pair<int, int>> expected;
  for (int t = 0; t < 300; ++t)
    for (int k = 0; k < 3; ++k)
      for (const int u : trisOf(adjacency.tris, soup.getTriangles()[t][k]))
        for (int j = 0; u > t && j < 3; ++j) {
          const int v = soup.getTriangles()[t][k], w = soup.getTriangles()[t][(k + 1) % 3];
          const MeshTriangle& other = soup.getTriangles()[u];
          // The first corner at v counts.
          if (other[j] != v || (j > 0 && other[0] == v) || (j > 1 && other[1] == v) ||
              other[(j + 2) % 3] != w)
            continue;
          const auto normal = [&](int i) {
            return meshTriNormal(soup.getVerticesRaw(), soup.getTriangles()[i].v);
          };
          if (qvLinear::angle(normal(t), normal(u)) >= std::numbers::pi * (1 - 60.0 / 180))
            expected.emplace_back(v, w);
        }
  EXPECT_GT(expected.size(), 10u);
  forThreadCounts([&] {
    MeshDihedralAnglesResult result;
    meshFindAnglesLessThan(soup, adjacency.tris, 60, result);
    EXPECT_EQ(result.foldedEdges, expected);
  });
}

TEST(MeshCharacteristics, TestOnceAndRememberUntilReset) {
  CompactMesh mesh = shapes::torus(8, 6);
  MeshCharacteristics c(mesh);
  EXPECT_TRUE(c.getTestsPerformed() == 0 && c.getNumBadTriangles() == 0 && !c.getManifoldResult());
  EXPECT_EQ(c.check(MeshCharacteristics::AllTests), MeshCharacteristics::AllTests);
  mesh.getTriangles()[7] = mesh.getTriangles()[9];
  mesh.getTriangles()[3][2] = mesh.getTriangles()[3][1];
  EXPECT_EQ(c.check(MeshCharacteristics::AllTests), MeshCharacteristics::AllTests)
      << "nobody said that it changed";
  MeshModification modification(&mesh, MeshModification::TopologyModified, nullptr);
  mesh.modified(modification);
  c.reset(Check::GoodTriangles | Check::TopoGoodTriangles);
  EXPECT_FALSE(c.checkGoodTriangles() || c.checkTopoGoodTriangles());
  EXPECT_EQ(c.getNumBadTriangles(), 2);
  EXPECT_EQ(c.getTestsPassed() & (Check::Manifold | Check::Oriented), Check::Manifold | Check::Oriented);

  // Corners that coincide are topologically good, in whichever order it is asked.
  CompactMesh flat = shapes::make({{0, 0, 0}, {1, 0, 0}, {0, 0, 0}}, {{0, 1, 2}});
  for (const bool topoFirst : {false, true}) {
    MeshCharacteristics of(flat);
    EXPECT_TRUE(!topoFirst || of.checkTopoGoodTriangles());
    EXPECT_FALSE(of.checkGoodTriangles());
    EXPECT_TRUE(of.checkTopoGoodTriangles());
  }
  // Another angle is tested anew.
  const CompactMesh fold = folded(160);
  MeshCharacteristics angles(fold);
  EXPECT_TRUE(angles.checkGoodAngles(15) && !angles.checkGoodAngles(25) &&
              angles.getNumFoldedTriangles() == 2);
  EXPECT_TRUE(angles.checkGoodAngles(15));

  const CompactMesh crossed =
      joined(shapes::torus(8, 6), shapes::mapped(shapes::torus(8, 6), [](MeshVertex v) {
               return MeshVertex{v.x + 0.9f, v.y + 0.1f, v.z};
             }));
  MeshCharacteristics crossing(crossed);
  EXPECT_FALSE(crossing.checkNonIntersecting());
  EXPECT_GT(crossing.getIntersectingTriangles().numSetBits, 4);
  crossing.reset(Check::NonIntersecting);
  EXPECT_EQ(crossing.getIntersectingTriangles().size(), 0);
}

TEST(MeshRepair, MakesItsStepsInOrder) {
  CompactMesh clean = shapes::torus(8, 6);
  const auto before = indicesOf(clean);
  MeshRepair cleanRepair(clean);
  bool isClean = false;
  EXPECT_FALSE(cleanRepair.needsRepair() || cleanRepair.repairOnce() || cleanRepair.repairAll(&isClean));
  EXPECT_TRUE(isClean && indicesOf(clean) == before);

  // A fin on an edge, a copy, and triangles turned round: one step each.
  CompactMesh mesh = shapes::torus(8, 6);
  const int n = mesh.getNumTriangles();
  mesh.resizeVertexArray(49);
  mesh.getVertices()[48] = {5, 5, 5};
  mesh.resizeTriangleArray(n + 2);
  mesh.getTriangles()[n] = mesh.getTriangles()[5];
  mesh.getTriangles()[n + 1] = {{mesh.getTriangles()[8][0], mesh.getTriangles()[8][1], 48}};
  std::swap(mesh.getTriangles()[20].v[1], mesh.getTriangles()[20].v[2]);
  MeshRepair repair(mesh);
  EXPECT_TRUE(repair.repairOnce() && mesh.getNumTriangles() == n + 1);
  EXPECT_TRUE(repair.repairOnce() && mesh.getNumTriangles() == n && mesh.getNumVertices() == 48);
  EXPECT_TRUE(repair.repairOnce() && !repair.needsRepair() && !repair.hasMobiusStrip());
  EXPECT_EQ(indicesOf(mesh), before);

  // The test that is forgotten shares its result with one that is not.
  mesh.resizeTriangleArray(n + 1);
  mesh.getTriangles()[n] = mesh.getTriangles()[5];
  MeshRepair half(mesh);
  EXPECT_TRUE(half.needsRepair());
  half.getCharacteristics()->reset(Check::TopoGoodTriangles);
  EXPECT_TRUE(half.repairOnce() && indicesOf(mesh) == before);

  // A one-sided piece goes where there is another; alone it cannot be mended.
  CompactMesh strip = moebius(12), both = joined(shapes::torus(8, 6), strip);
  MeshRepair ofBoth(both);
  EXPECT_TRUE(ofBoth.repairOnce() && ofBoth.hasMobiusStrip() && ofBoth.isMobiusStripRemovable());
  ofBoth.selectMobiusStrip();
  EXPECT_EQ(both.getSelectedTriangles().numSetBits, 24);
  EXPECT_TRUE(ofBoth.repairAll(&isClean) && isClean && both.getNumTriangles() == 96);
  MeshRepair ofStrip(strip);
  EXPECT_TRUE(ofStrip.repairAll(&isClean) && !isClean && ofStrip.hasMobiusStrip() && !ofStrip.canRepair());

  // Crossings and folds are defects only if they are asked for.
  CompactMesh fold = folded(175),
              crossed = joined(shapes::torus(8, 6),
                               shapes::make({{2, 0, -9}, {2, 0.3f, 9}, {4, 0, 0}}, {{0, 1, 2}}));
  MeshRepair ofFold(fold), ofCrossed(crossed);
  EXPECT_FALSE(ofFold.needsRepair() || ofCrossed.needsRepair());
  ofFold.checkGoodAngles(true);
  ofFold.setMinGoodAngle(10);
  ofCrossed.checkSelfIntersection(true);
  EXPECT_TRUE(ofFold.repairAll(&isClean) && isClean && fold.getNumTriangles() == 0);
  EXPECT_TRUE(ofCrossed.repairAll(&isClean) && isClean && crossed.getNumTriangles() < 97);
}

TEST(MeshRepair, AlwaysEndsAndLeavesCleanMeshesAlone) {
  std::mt19937 random(11);
  int mended = 0;
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    CompactMesh mesh = shapes::soup(3 + round % 20, 1 + round % 60, random);
    if (round % 7 == 0 && mesh.getNumVertices() > 3) mesh.getVertices()[1].x = NAN;
    MeshRepair repair(mesh);
    repair.checkSelfIntersection(round % 2);
    repair.checkGoodAngles(round % 3 == 0);
    repair.setMinGoodAngle(20);
    bool clean = false;
    repair.repairAll(&clean);
    expectSound(mesh);
    if (!clean) continue;
    ++mended;
    const auto triangles = indicesOf(mesh);
    const auto positions = positionsOf(mesh);
    MeshRepair again(mesh);
    again.checkSelfIntersection(round % 2);
    again.checkGoodAngles(round % 3 == 0);
    again.setMinGoodAngle(20);
    EXPECT_FALSE(again.repairAll(&clean));
    EXPECT_EQ(indicesOf(mesh), triangles);
    EXPECT_EQ(positionsOf(mesh).size(), positions.size());
  }
  EXPECT_GT(mended, 100);
}

TEST(MeshVerify, SeesWhatHalfEdgesAllow) {
  using P = std::vector<qvLinear::Point>;
  struct Case {
    const char* name;
    test::TopoSoup soup;
    bool corner, edges, faces, shared, fans;
  };
  const P four{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, line{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
  const P five{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}};
  for (const Case& c :
       {Case{"sound", {four, {{0, 1, 2}, {1, 3, 2}}}, true, true, true, true, true},
        Case{"no angle", {line, {{0, 1, 2}}}, false, true, true, true, true},
        Case{"same edge twice", {four, {{0, 1, 2}, {0, 1, 3}}}, true, false, true, false, false},
        Case{"repeated vertex", {four, {{0, 1, 0, 2}}}, false, true, false, true, true},
        Case{"two fans", {five, {{0, 1, 2}, {0, 3, 4}}}, true, true, true, false, false}}) {
    TopoMesh mesh;
    test::buildTopo(mesh, c.soup);
    MeshVerify verify;
    const bool found[] = {verify(mesh, {.cornerAngles = true}), verify(mesh, {.distinctEdges = true}),
                          verify(mesh, {.faceCycles = true}), verify(mesh, {.sharedVertices = true}),
                          verify(mesh, {.vertexFans = true})};
    const bool expected[] = {c.corner, c.edges, c.faces, c.shared, c.fans};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(found[i], expected[i]) << c.name << ", switch " << i;
    EXPECT_TRUE(verify(mesh, {}));
  }
}

}  // namespace
}  // namespace qvGeom
