#include "geom/io/obj_format.h"

#include <clocale>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <string>

#include "tests/support/mesh_checks.h"
#include "tests/support/scratch_folder.h"

namespace qvGeom {
namespace {

std::string objOf(const CompactMesh& mesh) {
  std::string text;
  EXPECT_TRUE(meshFormatObj(mesh, [&](std::string_view piece) {
    text += piece;
    return true;
  }));
  return text;
}

CompactMesh parsed(const std::string& text) {
  CompactMesh mesh;
  EXPECT_TRUE(meshParseObj(mesh, text));
  expectSound(mesh);
  return mesh;
}

const std::string kFourPoints = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n";

TEST(ReadObj, KeepsTheTrianglesThatItCan) {
  const CompactMesh mesh = parsed(
      "f 1/1/1 2/2/2 3/3/3 4/4/4\nf 1 2 3 9\nf 9 1 2\nf 0 1 2\nf -1 -2 -3\nf 1 2 x 3\nf 1 2\n"
      "f 2 3 4 99999999999 1 2\n  \t f 1/ 2 2// 3 4\r\nf\t2 3 4\n# f 1 2 3\ng f\nfo 1 2 3\nf 4 3 2\n" +
      kFourPoints);
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 1, 2, 0, 2, 3, 0, 1, 2, 1, 2, 3, 0, 1, 3, 3, 2, 1}));
}

TEST(ReadObj, ReadsWhatNumbersThereAre) {
  EXPECT_EQ(
      positionsOf(parsed("v 1 2\n v 3 x 4\nv 1e999 5 6\nv\t7 7 7\nv nan 1 1\nv 1 2 3 4 5\nv 0x10 1 1\nv ")),
      (Floats{1, 2, 0, 3, 0, 0, 3.4028235e38f, 0, 0, 0, 0, 0, 1, 2, 3, 0, 0, 0, 0, 0, 0}));
  const std::string spaced = "v " + std::string(100000, ' ') + "1" + std::string(5000, '0') + "e-5000 2 3";
  EXPECT_EQ(positionsOf(parsed(spaced)), (Floats{1, 2, 3}));
}

TEST(ReadObj, AveragesNormalsAndTextureCoordinatesByArea) {
  // Around vertex 1: area 1 with normal z, area 3 with normal x, area 2 without a valid one.
  const CompactMesh mesh = parsed(
      "v 0 0 0\nv 2 0 0\nv 0 1 0\nv 0 0 6\nv -4 0 0\nv 9 9 9\n"
      "vn 0 0 1\nvn 1 0 0\nvt 0 1\nvt 4 5 77\n"
      "f 1/1/1 2/1/1 3/1/1\nf 1/2/2 4/2/2 3/2/2\nf 1/9/9 5//3 3\n");
  ASSERT_TRUE(mesh.getNormals() && mesh.getUVs());
  EXPECT_FALSE(mesh.getNormalsComputed());
  EXPECT_THAT(floatsOf(mesh.getNormalsRaw(), 3), areNear({3 / std::sqrt(10.0f), 0, 1 / std::sqrt(10.0f)}));
  EXPECT_THAT(floatsOf(mesh.getUVsRaw(), 2), areNear({3, 4}));
  EXPECT_EQ(mesh.getNormals()[5].z, 1) << "nothing to normalise";
  EXPECT_EQ(mesh.getUVs()[5].v, 0);
  const CompactMesh plain = parsed(kFourPoints + "f 1/1/1 2/2/2 3/3/3\n");
  EXPECT_TRUE(!plain.getNormals() && !plain.getUVs());
  // A vertex at two corners of a triangle is met twice and speaks through the first.
  EXPECT_EQ(parsed("v 0 0 0\nv 1 0 0\nvt 1 1\nvt 5 5\nf 1/1 1/2 2/2\n").getUVs()[0].u, 0)
      << "no area, no weight";
}

TEST(ReadObj, ReplacesTheMeshOrLeavesIt) {
  CompactMesh mesh = shapes::grid(2, 2);
  mesh.allocNormalArray();
  const Floats before = positionsOf(mesh);
  EXPECT_FALSE(meshReadObj(mesh, "/nowhere/at/all.obj"));
  EXPECT_FALSE(meshReadObj(mesh, "/tmp"));
  qvUtil::Progress progress;
  progress.cancel();
  EXPECT_FALSE(meshParseObj(mesh, kFourPoints, &progress));
  EXPECT_EQ(positionsOf(mesh), before);
  EXPECT_TRUE(meshParseObj(mesh, kFourPoints));
  EXPECT_TRUE(mesh.getNumTriangles() == 0 && !mesh.getNormals());
  EXPECT_EQ(parsed(std::string("v 1\0 2 3\0", 9)).getNumVertices(), 1) << "binary junk";
}

// The rules of a line, told by a stream: the reference that the scanner must equal.
class StreamReader {
 public:
  explicit StreamReader(const std::string& text) {
    std::istringstream file(text);
    for (std::string line; std::getline(file, line);) readLine(line);
  }
  Floats positions;
  Ints triangles;  // positions only, unchecked, 1-based

 private:
  void readLine(std::string line) {
    std::istringstream leading(line);
    char c;
    leading >> std::ws >> c;
    if (leading && leading.tellg() >= 2) line.erase(0, static_cast<std::size_t>(leading.tellg()) - 1);
    if (line.rfind("v ", 0) == 0) {
      float xyz[3] = {0, 0, 0};
      std::istringstream in(line.substr(2));
      in >> xyz[0] >> xyz[1] >> xyz[2];
      positions.insert(positions.end(), xyz, xyz + 3);
    } else if (line.rfind("f ", 0) == 0) {
      readFace(line.substr(2));
    }
  }
  void readFace(const std::string& text) {
    std::istringstream in(text);
    Ints polygon;
    while (in.good()) {
      int p = -1, t = -1, n = -1;
      in >> p;
      if (in.good() && in.peek() == '/') {
        in.get();
        if (in.peek() != '/') in >> t;
        if (in.good() && in.peek() == '/') {
          in.get();
          in >> n;
        }
      }
      polygon.push_back(p);
    }
    for (std::size_t i = 2; i < polygon.size(); ++i)
      triangles.insert(triangles.end(), {polygon[0], polygon[i - 1], polygon[i]});
  }
};

TEST(ReadObj, EqualsAStreamOnOddLines) {
  const char* pieces[] = {
      "v ",          "v ",         "f ",    "f ",     "f ",     "vn ",      " ",           " ",
      " ",           "\t",         "\r",    "\v",     "\n",     "\n",       "\n",          "1",
      "2",           "3",          "4",     "007",    "12",     "-1",       "0",           "/",
      "//",          ",",          "1/2",   "3//4",   "2/2/2",  "1.5",      "-2e1",        "nan",
      "inf",         "x",          "#",     ".",      "e",      "E5",       "e-",          "+",
      "-",           "0x1",        "1e400", "-1e400", "1e-400", "16777217", "0.00001e-40", "3.4028236e38",
      "99999999999", "-2147483648"};
  std::mt19937 random(11);
  for (int i = 0; i < 60000; ++i) {
    std::string text;
    for (auto n = random() % 25; n > 0; --n) text += pieces[random() % std::size(pieces)];
    const StreamReader reference(text);
    const int count = static_cast<int>(reference.positions.size() / 3);
    Ints expected;
    for (std::size_t t = 0; t < reference.triangles.size(); t += 3) {
      int const* tri = &reference.triangles[t];
      if (std::all_of(tri, tri + 3, [&](int v) { return v >= 1 && v <= count; }))
        for (int k = 0; k < 3; ++k) expected.push_back(tri[k] - 1);
    }
    const CompactMesh mesh = parsed(text);
    ASSERT_EQ(positionsOf(mesh), reference.positions) << text;
    ASSERT_EQ(indicesOf(mesh), expected) << text;
  }
}

TEST(WriteObj, HasOneFormOfCornerPerSetOfArrays) {
  CompactMesh mesh = shapes::make({{0, 0, 0}, {1, 0, 0}, {0, 0.1f, 1234567}}, {{0, 1, 2}});
  const std::string positions = "v 0 0 0\nv 1 0 0\nv 0 0.1 1.23457e+06\n";
  EXPECT_EQ(objOf(mesh), positions + "f 1  2  3 \n");
  mesh.allocUVArray();
  mesh.getUVs()[1].set(0.25f, 1.0f);
  const std::string uvs = "vt 0 0\nvt 0.25 1\nvt 0 0\n";
  EXPECT_EQ(objOf(mesh), positions + uvs + "f 1/1 2/2 3/3\n");
  mesh.allocNormalArray();
  mesh.getNormals()[2].z = -1;
  const std::string normals = "vn 0 0 0\nvn 0 0 0\nvn 0 0 -1\n";
  EXPECT_EQ(objOf(mesh), positions + normals + uvs + "f 1/1/1 2/2/2 3/3/3\n");
  mesh.deleteUVs();
  EXPECT_EQ(objOf(mesh), positions + normals + "f 1//1 2//2 3//3\n");
}

TEST(WriteObj, ReadsBackTheSame) {
  CompactMesh mesh = shapes::torus(9, 7);
  mesh.allocUVArray();
  for (int v = 0; v < mesh.getNumVertices(); ++v) mesh.getUVs()[v].set(0.5f * static_cast<float>(v), 1.0f);
  const CompactMesh once = parsed(objOf(mesh));
  EXPECT_EQ(indicesOf(once), indicesOf(mesh));
  EXPECT_THAT(uvsOf(once), areNear(uvsOf(mesh)));
  EXPECT_EQ(objOf(parsed(objOf(once))), objOf(once));

  const ScratchFolder folder;
  CompactMesh fromFile;
  EXPECT_TRUE(meshWriteObj(mesh, folder / "mesh.obj") && meshReadObj(fromFile, folder / "mesh.obj"));
  EXPECT_EQ(positionsOf(fromFile), positionsOf(once));
  EXPECT_FALSE(meshWriteObj(mesh, folder / "none/mesh.obj"));
  int pieces = 0;
  EXPECT_FALSE(meshFormatObj(shapes::grid(200, 200), [&](std::string_view) { return ++pieces < 2; }));
  EXPECT_EQ(pieces, 2) << "a sink that refuses is not asked again";
}

TEST(ObjFormat, DoesNotFollowTheLocale) {
  // A decimal comma and grouped thousands, for streams by C++ and for the C library where the system has one.
  struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
  if (!std::setlocale(LC_ALL, "de_DE.UTF-8")) std::setlocale(LC_ALL, "fr_FR.UTF-8");
  const CompactMesh mesh = parsed("v 1.5 1000 -2.25e3\nv 1,5 2 3\nf 1 1 1\n");
  EXPECT_EQ(positionsOf(mesh), (Floats{1.5f, 1000, -2250, 1, 0, 0}));
  EXPECT_EQ(objOf(mesh), "v 1.5 1000 -2250\nv 1 0 0\nf 1  1  1 \n");
  std::setlocale(LC_ALL, "C");
  std::locale::global(before);
}

}  // namespace
}  // namespace qvGeom
