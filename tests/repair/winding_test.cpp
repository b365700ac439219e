#include "geom/repair/winding.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <tuple>

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using M = MeshModification;

// Two triangles that share vertex 2, and a third one apart, all facing up.
CompactMesh piecesWithNormals() {
  CompactMesh mesh = shapes::make({{0, 1, 2}, {2, 3, 4}, {5, 6, 7}});
  mesh.allocNormalArray();
  mesh.allocTriangleNormalArray();
  std::fill_n(mesh.getNormals(), 8, MeshNormal{0, 0, 1});
  std::fill_n(mesh.getTriangleNormals(), 3, MeshNormal{0, 0, 1});
  return mesh;
}

Floats zOf(MeshNormal const* normals, int n) {
  Floats z;
  std::transform(normals, normals + n, std::back_inserter(z),
                 [](const MeshNormal& normal) { return normal.z; });
  return z;
}

TEST(ReverseWinding, TurnsEverythingAndNegatesVertexNormalsOnRequest) {
  CompactMesh mesh = piecesWithNormals();
  const Ints before = indicesOf(mesh);
  DebugLog log;
  NoticeLog notices(mesh);
  meshReverseWinding(mesh, false);
  EXPECT_EQ(indicesOf(mesh), (Ints{1, 0, 2, 3, 2, 4, 6, 5, 7}));
  EXPECT_EQ(zOf(mesh.getNormals(), 8), Floats(8, 1));
  EXPECT_EQ(zOf(mesh.getTriangleNormals(), 3), Floats(3, -1));
  meshReverseWinding(mesh, true);
  EXPECT_EQ(indicesOf(mesh), before);
  EXPECT_EQ(zOf(mesh.getNormals(), 8), Floats(8, -1));
  EXPECT_EQ(zOf(mesh.getTriangleNormals(), 3), Floats(3, 1));
  const unsigned both = M::TriangleNormalsModified | M::UVsValid | M::StripsAndFansModified;
  EXPECT_EQ(notices.sent, (Notices{{M::TopologyModified, both | M::NormalsValid},
                                   {M::TopologyModified, both | M::NormalsModified}}));
  EXPECT_EQ(log.messages.size(), 4u);
  EXPECT_EQ(log.messages[0], "meshReverseWinding: 3 triangles\n");
  EXPECT_THAT(log.messages[1], testing::MatchesRegex("  remapped triangle indices: [0-9.]+ s\n"));
}

TEST(ReverseWinding, TurnsStripsAndFans) {
  const auto turned = [](const std::vector<Ints>& strips) {
    CompactMesh mesh;
    Ints lengths, points;
    for (const Ints& strip : strips) {
      lengths.push_back(static_cast<int>(strip.size()));
      points.insert(points.end(), strip.begin(), strip.end());
    }
    const int n = static_cast<int>(lengths.size()), total = static_cast<int>(points.size());
    mesh.resizeTriStripArrays(n, total);
    mesh.resizeTriFanArrays(n, total);
    std::copy(lengths.begin(), lengths.end(), mesh.getTriStripLengths());
    std::copy(points.begin(), points.end(), mesh.getTriStripPoints());
    std::copy(lengths.begin(), lengths.end(), mesh.getTriFanLengths());
    std::copy(points.begin(), points.end(), mesh.getTriFanPoints());
    meshReverseWinding(mesh, false);
    EXPECT_EQ(intsOf(mesh.getTriFanLengths(), n), lengths);
    return std::tuple(intsOf(mesh.getTriStripLengths(), mesh.getNumTriStrips()),
                      intsOf(mesh.getTriStripPoints(), mesh.getNumTriStripPoints()),
                      intsOf(mesh.getTriFanPoints(), mesh.getNumTriFanPoints()));
  };
  EXPECT_EQ(turned({{0, 1, 2, 3, 4}, {}, {5, 6}, {7}, {0, 1, 2, 3}}),
            std::tuple(Ints{5, 0, 2, 1, 4}, Ints{4, 3, 2, 1, 0, 5, 6, 7, 0, 2, 1, 3},
                       Ints{0, 4, 3, 2, 1, 5, 6, 7, 0, 3, 2, 1}));
  EXPECT_EQ(turned({{7, 8}, {0, 1, 2, 3, 4, 5}, {6, 7, 8}, {9, 8, 7, 6}, {0, 1, 2, 3, 4, 5, 6, 7}}),
            std::tuple(Ints{2, 3, 5, 3, 4, 3, 7},
                       Ints{7, 8, 2, 1, 0, 1, 2, 3, 4, 5, 8, 7, 6, 9, 7, 8, 6, 2, 1, 0, 1, 2, 3, 4, 5, 6, 7},
                       Ints{7, 8, 0, 5, 4, 3, 2, 1, 6, 8, 7, 9, 6, 7, 8, 0, 7, 6, 5, 4, 3, 2, 1}));
}

TEST(ReverseSelectedWinding, TurnsTheSelectionOrAWholePiece) {
  CompactMesh mesh = piecesWithNormals();
  mesh.resizeTriStripArrays(1, 3);
  std::iota(mesh.getTriStripPoints(), mesh.getTriStripPoints() + 3, 0);
  mesh.getTriStripLengths()[0] = 3;
  DebugLog log;
  NoticeLog notices(mesh);
  mesh.getSelectedTriangles().resize(2);  // shorter than the mesh: the third is not selected
  mesh.getSelectedTriangles().setAllBits();
  meshReverseSelectedWinding(mesh);
  EXPECT_EQ(indicesOf(mesh), (Ints{1, 0, 2, 3, 2, 4, 5, 6, 7}));
  EXPECT_EQ(zOf(mesh.getNormals(), 8), (Floats{-1, -1, -1, -1, -1, 1, 1, 1})) << "vertex 2 once";
  EXPECT_EQ(zOf(mesh.getTriangleNormals(), 3), (Floats{-1, -1, 1}));
  EXPECT_EQ(intsOf(mesh.getTriStripPoints(), 3), (Ints{0, 1, 2}));
  EXPECT_EQ(log.messages.size(), 2u);
  EXPECT_EQ(log.messages[0], "meshReverseSelectedWinding: 3 triangles\n");
  EXPECT_THAT(log.messages[1], testing::MatchesRegex("  remapped triangle indices: [0-9.]+ s\n"));

  MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  meshReverseWinding(mesh, adjTris, 2);  // alone: what was selected before is not turned again
  EXPECT_EQ(indicesOf(mesh), (Ints{1, 0, 2, 3, 2, 4, 6, 5, 7}));
  meshReverseWinding(mesh, adjTris, 1);
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 1, 2, 2, 3, 4, 6, 5, 7}));
  for (const int none : {-1, 3}) meshReverseWinding(mesh, adjTris, none);
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 1, 2, 2, 3, 4, 6, 5, 7}));
  const std::pair notice(M::TopologyModified,
                         unsigned{M::NormalsModified | M::TriangleNormalsModified | M::UVsValid});
  EXPECT_EQ(notices.sent, Notices(5, notice));
}

}  // namespace
}  // namespace qvGeom
