#include "geom/repair/winding.h"

#include <tuple>

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using M = MeshModification;

// Two triangles that share vertex 2 and a third one apart, all facing up; every run is a strip and a fan.
CompactMesh pieces(const std::vector<Ints>& runs) {
  CompactMesh mesh = shapes::make({{0, 1, 2}, {2, 3, 4}, {5, 6, 7}});
  mesh.allocNormalArray();
  mesh.allocTriangleNormalArray();
  std::fill_n(mesh.getNormals(), 8, MeshNormal{0, 0, 1});
  std::fill_n(mesh.getTriangleNormals(), 3, MeshNormal{0, 0, 1});
  for (const Ints& run : runs) {
    const int n = mesh.getNumTriStrips(), end = mesh.getNumTriStripPoints(),
              size = static_cast<int>(run.size());
    mesh.resizeTriStripArrays(n + 1, end + size);
    mesh.resizeTriFanArrays(n + 1, end + size);
    mesh.getTriStripLengths()[n] = mesh.getTriFanLengths()[n] = size;
    for (int i = 0; i < size; ++i)
      mesh.getTriStripPoints()[end + i] = mesh.getTriFanPoints()[end + i] = run[i];
  }
  return mesh;
}

TEST(ReverseWinding, TurnsStripsAndFans) {
  CompactMesh mesh = pieces({{0, 1, 2, 3, 4}, {}, {5, 6}, {7}, {0, 1, 2, 3}});
  meshReverseWinding(mesh, false);
  EXPECT_EQ(intsOf(mesh.getTriStripLengths(), mesh.getNumTriStrips()), (Ints{5, 0, 2, 1, 4}));
  EXPECT_EQ(intsOf(mesh.getTriStripPoints(), 12), (Ints{4, 3, 2, 1, 0, 5, 6, 7, 0, 2, 1, 3}));
  EXPECT_EQ(intsOf(mesh.getTriFanPoints(), 12), (Ints{0, 4, 3, 2, 1, 5, 6, 7, 0, 3, 2, 1}));
  mesh = pieces({{7, 8}, {0, 1, 2, 3, 4, 5}, {6, 7, 8}, {9, 8, 7, 6}, {0, 1, 2, 3, 4, 5, 6, 7}});
  meshReverseWinding(mesh, false);
  EXPECT_EQ(intsOf(mesh.getTriStripLengths(), mesh.getNumTriStrips()), (Ints{2, 3, 5, 3, 4, 3, 7}));
  EXPECT_EQ(intsOf(mesh.getTriStripPoints(), mesh.getNumTriStripPoints()),
            (Ints{7, 8, 2, 1, 0, 1, 2, 3, 4, 5, 8, 7, 6, 9, 7, 8, 6, 2, 1, 0, 1, 2, 3, 4, 5, 6, 7}));
}

// Indices, and the third coordinates of vertex and triangle normals.
std::tuple<Ints, Ints, Ints> stateOf(const CompactMesh& mesh) {
  Ints ofVertices, ofTriangles;
  for (int v = 0; v < 8; ++v) ofVertices.push_back(static_cast<int>(mesh.getNormals()[v].z));
  for (int t = 0; t < 3; ++t) ofTriangles.push_back(static_cast<int>(mesh.getTriangleNormals()[t].z));
  return {indicesOf(mesh), ofVertices, ofTriangles};
}

TEST(ReverseWinding, TurnsAllOrTheSelectionOrOnePiece) {
  CompactMesh mesh = pieces({{0, 1, 2}});
  const Adjacency adjacency(mesh);
  DebugLog log;
  NoticeLog notices(mesh);
  meshReverseWinding(mesh, false);
  EXPECT_EQ(stateOf(mesh), std::tuple(Ints{1, 0, 2, 3, 2, 4, 6, 5, 7}, Ints(8, 1), Ints(3, -1)));
  meshReverseWinding(mesh, true);
  EXPECT_EQ(stateOf(mesh), std::tuple(Ints{0, 1, 2, 2, 3, 4, 5, 6, 7}, Ints(8, -1), Ints(3, 1)));
  const unsigned all = M::TriangleNormalsModified | M::UVsValid | M::StripsAndFansModified;
  EXPECT_EQ(notices.sent, (Notices{{M::TopologyModified, all | M::NormalsValid},
                                   {M::TopologyModified, all | M::NormalsModified}}));

  mesh.getSelectedTriangles().resize(2);  // shorter than the mesh: the third is not selected
  mesh.getSelectedTriangles().setAllBits();
  meshReverseSelectedWinding(mesh);
  EXPECT_EQ(stateOf(mesh),
            std::tuple(Ints{1, 0, 2, 3, 2, 4, 5, 6, 7}, Ints{1, 1, 1, 1, 1, -1, -1, -1}, Ints{-1, -1, 1}));
  EXPECT_EQ(intsOf(mesh.getTriStripPoints(), 3), (Ints{0, 1, 2})) << "turned twice, and left alone";
  const auto seconds = testing::MatchesRegex("  remapped triangle indices: [0-9.]+ s\n");
  EXPECT_THAT(log.messages,
              testing::ElementsAre("meshReverseWinding: 3 triangles\n", seconds, testing::_, testing::_,
                                   "meshReverseSelectedWinding: 3 triangles\n", seconds));
  for (const int t : {2, 1, -1, 3}) meshReverseWinding(mesh, adjacency.tris, t);  // no such triangle: nothing
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 1, 2, 2, 3, 4, 6, 5, 7}));
  const unsigned some = M::NormalsModified | M::TriangleNormalsModified | M::UVsValid;
  notices.sent.erase(notices.sent.begin(), notices.sent.begin() + 2);
  EXPECT_EQ(notices.sent, Notices(5, {M::TopologyModified, some}));
}

}  // namespace
}  // namespace qvGeom
