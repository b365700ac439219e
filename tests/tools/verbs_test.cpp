// The verbs that write meshes or measure them, one by one.

#include <cmath>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>

#include "geom/io/obj_format.h"
#include "geom/topology/measures.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/program.h"

namespace qvGeom {
namespace {

using testing::HasSubstr;

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
};

TEST_F(Verbs, MakeKnowsItsShapes) {
  // The diagonal of the box tells the sizes, the area the shape.
  const std::tuple<const char*, int, float, double> cases[] = {
      {"rectangle --size 2 3", 2, 6.0f, 13},         {"corner --size 1 2 3", 4, 5.0f, 14},
      {"cuboid --size 1 2 3", 12, 22.0f, 14},        {"cube --size 2", 12, 24.0f, 12},
      {"disk --segments 4 --radius 2", 4, 8.0f, 32}, {"annulus --segments 2 --angle 180", 4, 0.75f, 5},
      {"sphere --segments 1", 8, 6.928203f, 12},     {"octahedron --levels 1 --radius 3", 32, 93.7597f, 108},
  };
  for (const auto& [arguments, triangles, area, diagonal] : cases) {
    CompactMesh mesh = made(std::string("make ") + arguments);
    BoundingBox box;
    meshBoundingBox(mesh, box);
    EXPECT_EQ(mesh.getNumTriangles(), triangles) << arguments;
    EXPECT_NEAR(meshArea({{}, &mesh}, MeshChannel::vertices), area, 0.01) << arguments;
    EXPECT_NEAR(std::pow(box.max[0] - box.min[0], 2) + std::pow(box.max[1] - box.min[1], 2) +
                    std::pow(box.max[2] - box.min[2], 2),
                diagonal, 1e-4)
        << arguments;
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
  const float third = std::sqrt(1 / 3.0f);
  EXPECT_THAT(floatsOf(made("normals in.obj").getNormalsRaw(), 3), areNear({third, third, third}));
}

TEST_F(Verbs, RefuseWhatMakesNoSense) {
  folder.write("in.obj", "v 0 0 0\n");
  const std::pair<const char*, const char*> refused[] = {
      {"make -o x.obj", "subcommand is required"},
      {"make sphere --radius -1 -o x.obj", "'-1' is not a positive number"},
      {"make sphere --levels 2 -o x.obj", "--levels"},
      {"make annulus --inner nan -o x.obj", "not finite"},
      {"transform in.obj -o x.obj --scale 1 2", "one factor, or three"},
      {"transform in.obj -o x.obj --rotate 0 0 0 90", "no direction"},
      {"transform in.obj -o x.obj --translate 0 nan 0", "not finite"},
      {"transform in.obj -o x.obj --scale 1e300", "too large"},
      {"normals in.obj -o x.qvm", "only obj files hold normals"},
  };
  for (const auto& [arguments, message] : refused) {
    const Outcome o = run(arguments);
    EXPECT_EQ(o.code, 2) << arguments;
    EXPECT_THAT(o.err, HasSubstr(message));
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "x.obj"));
}

TEST_F(Verbs, PrintMeasuresAndLayouts) {
  ASSERT_EQ(run("make cube -o cube.obj").code, 0);
  folder.write("octahedron.obj",
               "v 1 0 0\nv -1 0 0\nv 0 1 0\nv 0 -1 0\nv 0 0 1\nv 0 0 -1\nf 1 3 5\nf 3 2 5\nf 2 4 5\nf 4 1 5\n"
               "f 3 1 6\nf 2 3 6\nf 4 2 6\nf 1 4 6\n");
  for (const auto& [arguments, input, code, says] : {
           std::tuple{"curvature octahedron.obj", "", 0, "1\n1\n1\n1\n1\n1\n"},
           std::tuple{"mass cube.obj", "", 0, "volume            1\nfirst moment x    "},
           std::tuple{"mass --format obj - -", "", 2, "only one file can be standard input"},
           std::tuple{"pack --steps 1 -", "2 1\n", 0, "0 0 0.998000026 0.499000013\n"},
           std::tuple{"pack -", "1 1\n1 -1\n", 3, "standard input: rectangle 1 has a negative size"},
           std::tuple{"bounds -", "0 0\n4 0\n4 2\n1 1\n", 0, "4 2\n0 2\n0 0\n4 0\n"},
           std::tuple{"bounds --json -", "", 0, "\"corners\": null,\n  \"ratio\": null,\n  \"hull\": []"},
       }) {
    SCOPED_TRACE(arguments);
    folder.write("in.txt", input);
    const Outcome o = run(arguments + std::string(" < in.txt"));
    EXPECT_EQ(o.code, code);
    EXPECT_THAT(code == 0 ? o.out : o.err, HasSubstr(says));
  }
  const nlohmann::json two = nlohmann::json::parse(run("mass --json cube.obj cube.obj").out);
  EXPECT_TRUE(two["volume"] == 2 && two["area"] == 12 && two["secondMoment"]["z"].size() == 3);
  folder.write("points.txt", "0 0\n2 0\n1 1\n");
  EXPECT_EQ(nlohmann::json::parse(run("bounds --json points.txt").out)["hull"],
            nlohmann::json::parse("[1,2,0]"));
}

}  // namespace
}  // namespace qvGeom
