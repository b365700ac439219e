#include "geom/topology/selection.h"

#include <gtest/gtest.h>

#include "geom/topology/deletion.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

std::vector<int> setBits(const BitVector& bits) {
  std::vector<int> result;
  for (int i = 0; i < bits.size(); ++i)
    if (bits.test(i)) result.push_back(i);
  EXPECT_EQ(bits.numSetBits, static_cast<int>(result.size()));
  return result;
}

TEST(MeshSelect, DerivesAndGrowsSelections) {
  // Four by four squares, and a triangle apart from them.
  CompactMesh mesh = shapes::grid(4, 4);
  mesh.resizeVertexArray(28);
  mesh.resizeTriangleArray(33);
  mesh.getTriangles()[32] = {{25, 26, 27}};
  MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  mesh.getSelectedTriangles().resize(3);  // of another mesh
  MeshSelect select(mesh, adjTris);
  BitVector &triangles = select.getSelectedTriangles(), &vertices = select.getSelectedVertices();
  EXPECT_EQ(&triangles, &mesh.getSelectedTriangles());
  DebugLog log;
  triangles.setBit(0);  // corners 0, 1, 6
  vertices.setBit(20);
  select.selectVerticesFromTriangles();
  EXPECT_EQ(setBits(vertices), (std::vector<int>{0, 1, 6}));
  triangles.setBit(30);
  select.selectTrianglesFromVertices(3);
  EXPECT_EQ(setBits(triangles), (std::vector<int>{0}));
  select.selectTrianglesFromVertices(2);
  EXPECT_EQ(setBits(triangles), (std::vector<int>{0, 1, 3}));
  select.selectAllTrianglesFromVertices();
  const std::vector<int> ring = setBits(triangles);
  EXPECT_EQ(ring, (std::vector<int>{0, 1, 2, 3, 8, 10, 11}));
  triangles.clearBits();
  triangles.setBit(0);
  select.selectTrianglesRecursive(true);
  EXPECT_EQ(setBits(triangles), ring) << "one ring of a triangle is what its corners touch";
  select.selectTrianglesRecursive(false);
  EXPECT_TRUE(triangles.numSetBits == 32 && !triangles.test(32)) << "the piece, not the mesh";
  select.invertTriangleSelection();
  EXPECT_EQ(setBits(triangles), (std::vector<int>{32}));
  const char* heads[] = {"MeshSelect::selectVerticesFromTriangles()\n",    "  selected vertices(3): ",
                         "MeshSelect::selectedTrianglesFromVertices()\n",  "  selected triangles(1): ",
                         "MeshSelect::selectedTrianglesFromVertices()\n",  "  selected triangles(3): ",
                         "MeshSelect::selectAllTrianglesFromVertices()\n", "  selected triangles(",
                         "MeshSelect::selectTrianglesRecursive()\n",       "   ",
                         "MeshSelect::selectTrianglesRecursive()\n",       "   "};
  ASSERT_EQ(log.messages.size(), std::size(heads));
  for (std::size_t i = 0; i < std::size(heads); ++i)
    EXPECT_EQ(log.messages[i].find(heads[i]), 0u) << log.messages[i];

  // Around a corner, an edge and the inside of triangle 0; nothing is cleared.
  const auto count = [&](double a, double b, double c, int tri) {
    triangles.clearBits();
    select.selectAffectedTriangles({MeshCoord{{{a, b, c}, tri}}}, 1e-3);
    return triangles.numSetBits;
  };
  EXPECT_EQ(count(0, 0, 1, 0), adjTris.numTris(6));
  EXPECT_EQ(count(0.5, 0.5, 0, 0), 4) << "around 0 and 1";
  EXPECT_EQ(count(0.4, 0.3, 0.3, 0), static_cast<int>(ring.size()));
  EXPECT_TRUE(count(0.4, 0.3, 0.3, 33) == 0 && count(NAN, 0, 0, 0) == 0 && count(1, 0, 0, -1) == 0);
}

TEST(MeshSelect, LassoAddsWhatItHolds) {
  CompactMesh mesh = shapes::grid(4, 4);
  MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  BitVector triangles, vertices;
  MeshSelect select(mesh, adjTris, triangles, vertices);
  qvLinear::ProjMatrix half;
  half.m[15] = 2;  // the screen shows half the size
  const qv::vector<qvLinear::Point> lasso{{-0.1, -0.1, 0}, {0.3, -0.1, 0}, {0.3, 0.06, 0}, {-0.1, 0.06, 0}};
  DebugLog log;
  vertices.setBit(24);
  select.selectVertices(half, lasso);
  EXPECT_EQ(setBits(vertices), (std::vector<int>{0, 1, 2, 24}));
  EXPECT_EQ(log.messages.at(0), "MeshSelect::selectVertices: vertices(25) triangles(32)\n");
  EXPECT_EQ(log.messages.size(), 2u);
  EXPECT_EQ(log.messages.back().find("  selected vertices(4): "), 0u);
  half.m[15] = 0;
  select.selectVertices(half, lasso);
  select.selectVertices(half, {});
  EXPECT_EQ(vertices.numSetBits, 4);
}

TEST(MeshDeleteSelected, KeepsWhatIsUsedAndSaysWhatWent) {
  const auto deleted = [](const shapes::Tris& tris, std::vector<int> triangles, std::vector<int> vertices,
                          const std::vector<int>& kept, const std::vector<int>& map, std::string head) {
    CompactMesh mesh = shapes::make(tris);
    const int n = mesh.getNumVertices();
    mesh.allocUVArray();
    for (int v = 0; v < n; ++v) mesh.getVertices()[v].x = mesh.getUVs()[v].u = static_cast<float>(v);
    mesh.getSelectedVertices().resize(vertices.empty() ? 0 : vertices.back() + 1);
    mesh.getSelectedVertices().setBits(static_cast<int>(vertices.size()), vertices.data());
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles() + 1);
    mesh.getSelectedTriangles().setBit(mesh.getNumTriangles());  // of a triangle that the mesh had once
    mesh.getSelectedTriangles().setBits(static_cast<int>(triangles.size()), triangles.data());
    qvRTB::SignalBase client;
    int notices = 0;
    mesh.changeSignal().connect(client, [&](EntityModification& m) {
      auto& modification = static_cast<MeshModification&>(m);
      EXPECT_EQ(modification.getType(), MeshModification::TopologyModified);
      EXPECT_EQ(modification.getRemap() != nullptr, !map.empty());
      EXPECT_EQ(modification.flags(), map.empty() ? 0u : unsigned{MeshModification::UVsValid});
      ++notices;
    });
    DebugLog log;
    MeshDeleteSelected run(mesh);
    run();
    EXPECT_EQ(indicesOf(mesh), kept);
    EXPECT_EQ(notices, head.empty() ? 0 : 1);
    if (head.empty()) return;
    EXPECT_EQ(log.messages.at(0), head);
    EXPECT_TRUE(mesh.getSelectedTriangles().size() == 0 && mesh.getSelectedVertices().size() == 0);
    EXPECT_EQ(static_cast<bool>(run.getVertexMap()), !map.empty());
    for (int v = 0; !map.empty() && v < n; ++v) {
      const int j = (*run.getVertexMap())(v);
      EXPECT_EQ(j, map[static_cast<std::size_t>(v)]);
      const float old = static_cast<float>(v);
      EXPECT_TRUE(j < 0 || (mesh.getVertices()[j].x == old && mesh.getUVs()[j].u == old));
    }
  };
  const shapes::Tris two{{0, 1, 2}, {2, 1, 3}};
  deleted(two, {0}, {0, 1, 2, 3, 40}, {1, 0, 2}, {-1, 0, 1, 2},
          "meshDeleteSelected:  vertices 4(4)  triangles 1(2)\n");
  deleted(two, {0}, {}, {2, 1, 3}, {0, 1, 2, 3}, "meshDeleteSelected:  vertices 0(4)  triangles 1(2)\n");
  deleted(two, {1}, {0, 1}, {0, 1, 2}, {0, 1, 2, 3}, "meshDeleteSelected:  vertices 2(4)  triangles 1(2)\n");
  deleted(two, {0, 1}, {1}, {}, {}, "meshDeleteSelected:  deleting all vertices(4) and triangles(2)\n");
  deleted(two, {}, {0, 1}, {0, 1, 2, 2, 1, 3}, {}, "");
  CompactMesh mesh = shapes::make(two);
  MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  mesh.getSelectedTriangles().resize(2);
  mesh.getSelectedTriangles().setBit(0);
  MeshDeleteSelected run(mesh);
  run(adjTris, {1, 7, -1});
  EXPECT_TRUE(indicesOf(mesh) == (std::vector<int>{0, 1, 2}) && mesh.getNumVertices() == 3);
}

}  // namespace
}  // namespace qvGeom
