// The verbs that write meshes, one by one.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "geom/io/obj_format.h"
#include "geom/topology/measures.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/program.h"

namespace qvGeom {
namespace {

using testing::HasSubstr;
using Floats = std::vector<float>;

class Verbs : public Program {
 protected:
  // Runs a verb that writes to standard output and reads back what it wrote.
  CompactMesh made(const std::string& arguments) const {
    const Outcome o = run(arguments + " --to obj -o -");
    EXPECT_EQ(o.code, 0) << arguments << ": " << o.err;
    CompactMesh mesh;
    EXPECT_TRUE(meshParseObj(mesh, o.out));
    expectSound(mesh);
    return mesh;
  }
  static Floats sizeOf(const CompactMesh& mesh) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    return {box.max[0] - box.min[0], box.max[1] - box.min[1], box.max[2] - box.min[2]};
  }
};

TEST_F(Verbs, MakeKnowsItsShapes) {
  struct Case {
    const char* arguments;
    int vertices, triangles;
    float area;
    Floats size;
  };
  for (const Case& c : {
           Case{"rectangle --size 2 3", 4, 2, 6, {2, 3, 0}},
           Case{"corner --size 1 2 3", 6, 4, 5, {1, 2, 3}},
           Case{"cuboid --size 1 2 3", 24, 12, 22, {1, 2, 3}},
           Case{"cube --size 2", 24, 12, 24, {2, 2, 2}},
           Case{"cube", 24, 12, 6, {1, 1, 1}},
           Case{"disk --segments 4 --radius 2", 5, 4, 8, {4, 4, 0}},
           Case{"annulus --segments 2 --angle 180", 6, 4, 0.75f, {2, 1, 0}},
           Case{"sphere --segments 1", 6, 8, 6.928203f, {2, 2, 2}},
           Case{"octahedron --levels 1 --radius 3", 18, 32, 93.7597f, {6, 6, 6}},
       }) {
    SCOPED_TRACE(c.arguments);
    CompactMesh mesh = made(std::string("make ") + c.arguments);
    EXPECT_EQ(mesh.getNumVertices(), c.vertices);
    EXPECT_EQ(mesh.getNumTriangles(), c.triangles);
    EXPECT_NEAR(meshArea({{}, &mesh}, MeshChannel::vertices), c.area, 0.01);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(sizeOf(mesh)[i], c.size[i], 1e-5);
  }
}

TEST_F(Verbs, MakeScanRepeatsAndHasWhatItPromises) {
  const std::string first = run("make scan --triangles 20000 --seed 5 --to obj -o -").out;
  EXPECT_EQ(run("make scan --triangles 20000 --seed 5 --to obj -o - --threads 2").out, first);
  EXPECT_NE(run("make scan --triangles 20000 --seed 6 --to obj -o -").out, first);
  folder.write("scan.obj", first);
  const auto json = nlohmann::json::parse(run("info --json scan.obj").out);
  EXPECT_NEAR(json["triangles"].get<int>(), 20000, 1000);
  EXPECT_EQ(json["components"], 5) << "pieces that meet along seams";
  EXPECT_GE(json["boundaryLoops"].get<int>(), 10 + 6) << "the ends of the pieces, and the holes";
  EXPECT_EQ(json["unusedVertices"], 0);
  EXPECT_GT(made("make scan --triangles 500").getNumTriangles(), 300);
}

TEST_F(Verbs, TransformScalesThenRotatesThenMoves) {
  folder.write("in.obj", "v 1 0 0\nv 0 1 0\nv 0 0 1\nvn 1 0 0\nf 1//1 2//1 3//1\n");
  const CompactMesh mesh = made("transform in.obj --translate 10 0 -1 --rotate 0 0 2 90 --scale 2 3 -1");
  EXPECT_EQ(positionsOf(mesh), (Floats{10, 2, -1, 7, 0, -1, 10, 0, -2}));
  EXPECT_EQ(indicesOf(mesh), (std::vector<int>{0, 2, 1})) << "mirrored, and turned round again";
  EXPECT_EQ(floatsOf(mesh.getNormalsRaw(), 3), (Floats{0, 1, 0}));
  EXPECT_EQ(positionsOf(made("transform in.obj --scale 2")), (Floats{2, 0, 0, 0, 2, 0, 0, 0, 2}));
  EXPECT_EQ(positionsOf(made("transform in.obj")), (Floats{1, 0, 0, 0, 1, 0, 0, 0, 1}));
}

TEST_F(Verbs, NormalsReplaceThoseOfTheFile) {
  folder.write("in.obj", "v 0 0 0\nv 0 1 0\nv 0 0 1\nvn 0 1 0\nf 1//1 2//1 3//1\n");
  const CompactMesh mesh = made("normals in.obj");
  EXPECT_EQ(normalsOf(mesh), (Floats{1, 0, 0, 1, 0, 0, 1, 0, 0}));
}

TEST_F(Verbs, RefuseWhatMakesNoSense) {
  folder.write("in.obj", "v 0 0 0\n");
  for (const auto& [arguments, message] : std::vector<std::pair<std::string, std::string>>{
           {"make -o x.obj", "subcommand is required"},
           {"make teapot -o x.obj", ""},
           {"make sphere", "--output is required"},
           {"make sphere --radius -1 -o x.obj", "'-1' is not a positive number"},
           {"make sphere --radius inf -o x.obj", "'inf' is not a positive number"},
           {"make sphere --levels 2 -o x.obj", "--levels"},
           {"make annulus --inner nan -o x.obj", "not finite"},
           {"make scan --triangles 10 -o x.obj", "--triangles"},
           {"make cube -o x.stl", "cannot tell the format of x.stl"},
           {"transform in.obj -o x.obj --scale 1 2", "one factor, or three"},
           {"transform in.obj -o x.obj --rotate 0 0 0 90", "no direction"},
           {"transform in.obj -o x.obj --translate 0 nan 0", "not finite"},
           {"transform in.obj -o x.obj --scale 1e300", "too large"},
           {"normals in.obj -o x.qvm", "only obj files hold normals"},
       }) {
    SCOPED_TRACE(arguments);
    const Outcome o = run(arguments);
    EXPECT_EQ(o.code, 2);
    EXPECT_THAT(o.err, HasSubstr(message));
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "x.obj"));
  for (const std::string verb : {"make", "normals", "transform"})
    EXPECT_THAT(run("help " + verb).out, HasSubstr("Examples:\n  qvgeom " + verb));
}

}  // namespace
}  // namespace qvGeom
