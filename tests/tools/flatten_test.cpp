// The verbs that close, open and flatten surfaces: stitch, cut, fill, flatten, clean.

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>

#include "geom/io/obj_format.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/program.h"

namespace qvGeom {
namespace {

using nlohmann::json;
using testing::HasSubstr;

const std::string kTetrahedron = "v 0 0 0\nv 4 0 0\nv 0 4 0\nv 0 0 4\nf 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n";
const std::string kOpen = kTetrahedron.substr(0, kTetrahedron.size() - 8);  // its hole has three edges
const std::string kPyramid =
    "v 9 0 0\nv 9 4 0\nv 5 4 0\nv 5 0 0\nv 7 2 5\nf 5 6 9\nf 6 7 9\nf 7 8 9\nf 8 5 9\n";
// A square of four triangles about its middle, with texture coordinates that are a third of the positions.
const std::string kSquare =
    "v 0 0 0\nv 3 0 0\nv 3 3 0\nv 0 3 0\nv 1 2 0\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nvt .333333 .666667\n"
    "f 1/1 2/2 5/5\nf 2/2 3/3 5/5\nf 3/3 4/4 5/5\nf 4/4 1/1 5/5\n";

class FlattenVerbs : public Program {
 protected:
  CompactMesh meshIn(const std::string& name) const {
    CompactMesh mesh;
    EXPECT_TRUE(meshParseObj(mesh, folder.read(name))) << name;
    expectSound(mesh);
    return mesh;
  }
};

TEST_F(FlattenVerbs, CutKeepsTextureWithSplitVertices) {
  folder.write("in.obj",
               "vt .5 0\nvt 4 0\nvt 0 4\nvt 1 1\nv 0 0 0\nv 4 0 0\nv 0 4 0\nv 0 0 4\n"
               "f 1/1 3/3 2/2\nf 1/1 2/2 4/4\nf 1/1 4/4 3/3\nf 2/2 3/3 4/4\n");
  EXPECT_THAT(run("cut in.obj -o out.obj").err,
              HasSubstr("vertices 4 -> 5, 4 boundary edges in 1 loop, Euler number 1"));
  const CompactMesh whole = meshIn("in.obj"), open = meshIn("out.obj");
  ASSERT_EQ(open.getNumTriangles(), 4);
  for (int i = 0; i < 12; ++i)
    EXPECT_EQ(floatsOf(open.getUVsRaw() + 2 * open.getTrianglesRaw()[i], 2),
              floatsOf(whole.getUVsRaw() + 2 * whole.getTrianglesRaw()[i], 2));
}

// Two open boxes that face each other; the second faces inwards.
TEST_F(FlattenVerbs, StitchJoinsHalves) {
  const auto square = [](double z) {
    std::string text;
    for (const char* xy : {"0 0 ", "4 0 ", "4 4 ", "0 4 "}) text += "v " + (xy + std::to_string(z)) + "\n";
    return text;
  };
  folder.write("in.obj", square(0) + square(1) + square(1.05) + square(2) +
                             "f 4 3 2 1\nf 1 2 6 5\nf 2 3 7 6\nf 3 4 8 7\nf 4 1 5 8\n"
                             "f 16 15 14 13\nf 13 14 10 9\nf 14 15 11 10\nf 15 16 12 11\nf 16 13 9 12\n");
  const auto r = run("stitch in.obj --distance 0.2 --json -o out.obj");
  EXPECT_EQ(r.code, 0) << r.err;
  const json report = json::parse(r.out);
  EXPECT_EQ(report["before"]["boundaryLoops"], 2);
  EXPECT_EQ(report["after"]["boundaryLoops"], 0);
  EXPECT_EQ(report["after"]["pieces"], 1);
  EXPECT_EQ(Adjacency(meshIn("out.obj")).boundaries.size(), 0);
  EXPECT_EQ(run("check out.obj").code, 0);
  EXPECT_EQ(run("clean in.obj --stitch 0.2 --fill none -o cleaned.obj").code, 0);
  EXPECT_EQ(meshIn("cleaned.obj").getNumTriangles(), meshIn("out.obj").getNumTriangles());

  EXPECT_EQ(run("stitch in.obj --distance 0.01 -o out.obj").code, 1);  // too far apart
  const auto one = run("stitch in.obj --distance 0.2 --boundaries 1 -o out.obj");
  EXPECT_EQ(one.code, 1);
  EXPECT_THAT(one.err, HasSubstr("not stitched"));
  const auto none = run("stitch in.obj --distance 0.2 --boundaries 1,2 -o out.obj");
  EXPECT_EQ(none.code, 2);
  EXPECT_THAT(none.err,
              HasSubstr("--boundaries: there is no boundary loop 2; the mesh has 2 boundary loops"));
  for (const char* bad : {"--distance 0", "--distance -1", "--distance inf", "--distance 1 --seam 2"})
    EXPECT_EQ(run(std::string("stitch in.obj -o out.obj ") + bad).code, 2) << bad;
}

// Two slits in a row, with a vertex in common. Texture goes, but only with what is stitched.
TEST_F(FlattenVerbs, StitchClosesSlitsThatMeet) {
  std::string text;
  for (const int y : {0, 1, 1, 2})
    for (int x = 0; x < 6; ++x)
      text += "v " + std::to_string(x) + " " + std::to_string(y) + " 0\nvt 0.5 " + std::to_string(x) + "\n";
  const auto corner = [](int i) {
    const std::string v = std::to_string(i == 13 || i == 15 || i == 18 ? i - 6 : i);
    return v + "/" + v + " ";
  };
  for (const int row : {1, 13})
    for (int i = row; i < row + 5; ++i)
      text += "f " + corner(i) + corner(i + 1) + corner(i + 7) + corner(i + 6) + "\n";
  folder.write("in.obj", text);
  const auto r = run("stitch in.obj --distance 0.05 --json -o out.obj");
  EXPECT_EQ(r.code, 0) << r.out << r.err;
  EXPECT_THAT(r.err, HasSubstr("texture coordinates are left out"));
  EXPECT_EQ(json::parse(r.out)["after"].dump(),
            R"({"boundaryEdges":14,"boundaryLength":14.0,"boundaryLoops":1,"pieces":1,"vertices":18})");
  EXPECT_FALSE(meshIn("out.obj").getUVs());
  EXPECT_EQ(run("stitch in.obj --distance 0.05 --boundaries 0 -o out.obj").code, 1);
  EXPECT_TRUE(meshIn("out.obj").getUVs());
}

TEST_F(FlattenVerbs, FillTellsOfEachHole) {
  folder.write("in.obj", kOpen + kPyramid);
  const std::tuple<const char*, int, const char*, int> cases[] = {
      {"--quality triangulate", 0, "[true,true]", 10},
      {"--quality fair", 0, "[true,true]", 10},
      {"--holes 1 --quality triangulate", 0, "[true]", 9},
      {"--holes 1,0,1 --max-length 3", 1, "[true,false]", 8},
  };
  for (const auto& [options, code, filled, triangles] : cases) {
    SCOPED_TRACE(options);
    const Outcome o = run(std::string("fill --json in.obj -o out.obj ") + options);
    EXPECT_EQ(o.code, code) << o.err;
    json holes = json::array();
    const json report = json::parse(o.out);
    for (const json& hole : report["holes"]) holes.push_back(hole["filled"]);
    EXPECT_EQ(holes.dump(), filled);
    EXPECT_GE(meshIn("out.obj").getNumTriangles(), triangles);
  }
  folder.write("in.obj", kSquare);
  ASSERT_EQ(run("fill --quality triangulate in.obj -o out.obj").code, 0);
  const CompactMesh closed = meshIn("out.obj");
  EXPECT_EQ(closed.getNumTriangles(), 6);
  for (int v = 0; v < 5; ++v)
    EXPECT_NEAR(closed.getVertices()[v].x, 3 * closed.getUVs()[v].u, 1e-5)
        << "vertex " << v << " keeps its own";
}

TEST_F(FlattenVerbs, FlattenMeasuresTheLayoutAndDrawsIt) {
  folder.write("in.obj", kSquare);
  const Outcome o = run("flatten --json in.obj -o out.obj --uv-picture out.svg");
  ASSERT_EQ(o.code, 0) << o.err;
  const json report = json::parse(o.out);
  EXPECT_EQ(report["cut"], false);
  EXPECT_EQ(report["flippedTriangles"], 0);
  for (const char* figure : {"mean", "max", "min"})
    EXPECT_NEAR(report["stretch"][figure].get<double>(), 1, 1e-3);
  EXPECT_LT(report["angleErrorDegrees"]["max"].get<double>(), 0.1);
  const std::string svg = folder.read("out.svg");
  EXPECT_EQ(std::count(svg.begin(), svg.end(), 'M'), 4) << svg;
  EXPECT_EQ(run("flatten in.obj -o out.obj --uv-picture out.png").code, 0);
  EXPECT_THAT(folder.read("out.png"), testing::StartsWith("\x89PNG"));
}

TEST_F(FlattenVerbs, CleanDoesItAllAndSaysSo) {
  folder.write("in.obj", "v 7 7 7\n" + kOpen.substr(0, 32) + "f 2 4 3\nf 2 3 5\nf 2 5 4\nf 2 5 4\n");
  const Outcome o = run("clean --flatten --json in.obj -o out.obj");
  EXPECT_EQ(o.code, 0) << o.err;
  const json report = json::parse(o.out);
  std::string stages;
  for (const json& stage : report["stages"]) stages += stage["stage"].get<std::string>() + " ";
  EXPECT_EQ(stages, "read weld records check repair fill flatten write ");
  EXPECT_EQ(report["stages"][1]["unusedVertices"], 1);
  EXPECT_EQ(report["stages"][4]["steps"].size(), 1u);
  EXPECT_EQ(report["stages"][5]["filled"], 1);
  EXPECT_EQ(report["stages"][6]["cut"], true);
  folder.write("in.obj", kOpen + kPyramid);
  EXPECT_EQ(run("clean in.obj --fill none -o out.obj").code, 0);
  EXPECT_EQ(run("clean in.obj --flatten -o out.obj").code, 1);
  EXPECT_THAT(folder.read("err.txt"), HasSubstr("in 2 pieces"));
  EXPECT_EQ(run("check out.obj").code, 0);
}

TEST_F(FlattenVerbs, RefuseWhatMakesNoSense) {
  folder.write("in.obj", kOpen + kPyramid);
  folder.write("closed.obj", kTetrahedron);
  const std::tuple<const char*, int, const char*> refused[] = {
      {"fill in.obj -o x.obj --holes 2", 2, "the mesh has 2 holes"},
      {"fill in.obj -o x.obj --holes 0,,1", 2, "--holes"},
      {"fill in.obj -o x.obj --max-length 2", 2, "--max-length"},
      {"fill in.obj -o - --to obj --json", 2, "--json"},
      {"flatten in.obj -o x.qvm", 2, "only obj files hold texture"},
      {"flatten in.obj -o x.obj --uv-picture x.gif", 2, "--uv-picture"},
      {"flatten in.obj -o x.obj", 4, "in 2 pieces"},
      {"flatten --no-cut closed.obj -o x.obj", 4, "would have to be cut"},
      {"clean in.obj -o x.obj --uv-picture x.png", 2, "--flatten"},
  };
  for (const auto& [arguments, code, message] : refused) {
    EXPECT_EQ(run(arguments).code, code) << arguments;
    EXPECT_THAT(folder.read("err.txt"), HasSubstr(message)) << arguments;
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "x.obj"));
}

}  // namespace
}  // namespace qvGeom
