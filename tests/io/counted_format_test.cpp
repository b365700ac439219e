#include "geom/io/counted_format.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

#include "tests/support/mesh_checks.h"
#include "tests/support/scratch_folder.h"

namespace qvGeom {
namespace {

template <typename Mesh>
std::string textOf(const Mesh& mesh) {
  std::string text;
  EXPECT_TRUE(meshFormat(mesh, [&](std::string_view piece) {
    text += piece;
    return true;
  }));
  return text;
}

const std::string kTriangle = "3 1\n0 0 0\n1 0 0\n0 0.1000000015 0\n3 0 1 2\n";

TEST(CountedFormat, WritesTenDigitsAndReadsThemBack) {
  const CompactMesh mesh = shapes::make({{0, 0, 0}, {1, 0, 0}, {0, 0.1f, 0}}, {{0, 1, 2}});
  EXPECT_EQ(textOf(mesh), kTriangle);
  const CompactMesh torus = shapes::torus(8, 5);
  CompactMesh back;
  EXPECT_EQ(textOf(CompactMesh()), "0 0\n");
  EXPECT_TRUE(meshParse(back, "0 0\n"));
  const ScratchFolder folder;
  meshWrite(torus, folder / "torus.qvm");
  meshRead(back, folder / "torus.qvm");
  meshRead(back, folder / "missing.qvm");
  meshWrite(torus, folder / "no/folder.qvm");
  EXPECT_EQ(positionsOf(back), positionsOf(torus));
  EXPECT_EQ(indicesOf(back), indicesOf(torus));
}

TEST(CountedFormat, IsFreeInItsWhiteSpaceAndItsNumbers) {
  CompactMesh mesh;
  ASSERT_TRUE(meshParse(mesh, "2\r\n1 0x1p-1 inf\tnan 1e1-2+3   99 1\n0 +1 trailing junk"));
  EXPECT_EQ(indicesOf(mesh), (Ints{1, 0, 1})) << "a face is a triangle whatever its count says";
  EXPECT_TRUE(std::isnan(mesh.getVertices()[0].z));
  mesh.getVertices()[0].z = 0;
  EXPECT_EQ(positionsOf(mesh), (Floats{0.5f, kInf, 0, 10, -2, 3}));
}

TEST(CountedFormat, RefusesWholeFilesAndTouchesNothing) {
  for (const std::string text : {"", "3", "x", "-1 0\n", "0 -1\n", "2147483647 0\n", "0 2147483647\n",
                                 "99999999999 1\n", "0 1\n3 0 0 0\n", "3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n",
                                 "3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 -1\n", "1 0\n1 2 x\n", "1 0\n1 2      \n",
                                 "3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1   \n", "1 1\n0 0 0\n3.5 0 0 0\n"}) {
    SCOPED_TRACE(text);
    CompactMesh mesh = shapes::grid(1, 1);
    EXPECT_FALSE(meshParse(mesh, text));
    EXPECT_EQ(mesh.getNumTriangles(), 2);
    TopoMesh topo;
    EXPECT_FALSE(meshParse(topo, text));
    EXPECT_EQ(topo.numVertices() + topo.numFaces(), 0);
  }
  qvUtil::Progress progress;
  progress.cancel();
  CompactMesh mesh;
  TopoMesh topo;
  EXPECT_FALSE(meshParse(mesh, kTriangle, &progress));
  EXPECT_FALSE(meshParse(topo, kTriangle, &progress));
  EXPECT_FALSE(meshFormat(
      shapes::grid(2, 2), [](std::string_view) { return true; }, &progress));
  EXPECT_FALSE(meshParse(topo, "3 2\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n2 0 1    \n")) << "a face of two corners";
  EXPECT_FALSE(meshParse(topo, "3 1\n0 0 0\n1 0 0\n0 1 0\n2147483647 0 1 2\n"));
  EXPECT_EQ(topo.numVertices() + mesh.getNumVertices(), 0);
}

TEST(CountedFormat, KeepsPolygonsAndNumberingOfHalfEdgeMeshes) {
  const std::string text =
      "6 3\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n0.3333333333 0 1\n-2 1e-20 1e+20\n4 0 1 2 3\n3 1 0 4\n5 5 4 3 2 1\n";
  TopoMesh mesh;
  ASSERT_TRUE(meshParse(mesh, text));
  EXPECT_TRUE(mesh.validate());
  EXPECT_EQ(mesh.firstFace().numVertices(), 4);
  EXPECT_EQ(mesh.firstFace().firstEdge().twin(), mesh.firstFace().nextInMesh().firstEdge());
  EXPECT_EQ(textOf(mesh), text);

  // Added behind what there is, indices counting from the file's own first vertex.
  const ScratchFolder folder;
  meshWrite(mesh, folder / "mesh.qvm");
  meshRead(mesh, folder / "mesh.qvm");
  EXPECT_EQ(mesh.numVertices(), 12);
  EXPECT_EQ(mesh.numFaces(), 6);
  EXPECT_TRUE(mesh.validate());
}

// Every prefix, and every file with one byte changed, is read or refused; nothing else may happen.
TEST(CountedFormat, SurvivesDamage) {
  const std::string whole = textOf(shapes::torus(4, 3));
  const CompactMesh kept = shapes::grid(1, 1);
  std::mt19937 random(5);
  const auto attempt = [&](const std::string& text) {
    CompactMesh mesh = kept;
    ASSERT_TRUE(meshParse(mesh, text) || indicesOf(mesh) == indicesOf(kept)) << text;
    expectSound(mesh);
    TopoMesh topo;
    ASSERT_TRUE(meshParse(topo, text) || topo.numVertices() == 0) << text;
    ASSERT_TRUE(topo.validate());
  };
  for (std::size_t n = 0; n < whole.size(); ++n) attempt(whole.substr(0, n));
  for (int i = 0; i < 3000; ++i) {
    std::string text = whole;
    text[random() % text.size()] = i % 2 ? static_cast<char>(random()) : "0123456789-+.eEx \n"[random() % 18];
    attempt(text);
  }
}

}  // namespace
}  // namespace qvGeom
