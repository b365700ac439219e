// The verbs that test, mend and edit meshes: check, repair, orient, reverse, select, swap-edges, smooth,
// offset.

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

class RepairVerbs : public Program {
 protected:
  // Runs a verb on text in the OBJ format and reads back the mesh that it wrote.
  CompactMesh changed(const std::string& input, const std::string& arguments, int code = 0) const {
    folder.write("in.obj", input);
    const Outcome o = run(arguments + " in.obj --to obj -o -");
    EXPECT_EQ(o.code, code) << arguments << ": " << o.err;
    CompactMesh mesh;
    EXPECT_TRUE(meshParseObj(mesh, o.out));
    expectSound(mesh);
    return mesh;
  }
};

TEST_F(RepairVerbs, CheckFindsAndRepairMends) {
  // What is added to the tetrahedron, the test that fails, what is counted, options, triangles afterwards.
  const std::tuple<std::string, const char*, const char*, int, std::string, int> cases[] = {
      {"f 4 2 3\n", "topoGoodTriangles", "duplicateTriangles", 1, "", 4},
      {"f 1 1 2\n", "topoGoodTriangles", "repeatedIndexTriangles", 1, "", 4},
      {"v 9 9 9\nv 9 9 9\nv 8 8 9\nf 5 6 7\n", "goodTriangles", "coincidentCornerTriangles", 1, "", 4},
      {"v 9 9 9\nf 2 1 5\n", "manifold", "nonManifoldEdges", 1, "", 4},
      {"v 9 9 9\nv 8 9 9\nf 4 5 6\n", "manifold", "nonManifoldVertices", 1, "", 5},
      {"v 9 9 9\nv 8 9 9\nv 8 8 9\nv 9 8 9\nf 5 6 7\nf 5 8 7\n", "oriented", "foldedEdges", 0, "", 6},
      {"v 9 9 9\nv 9 6 9\nv 6 9 9\nv 6 9 9.1\nf 5 6 7\nf 6 5 8\n", "goodAngles", "foldedEdges", 1,
       "--angles 15", 4},
      {"v 1 1 -1\nv 1 1 .5\nv 1.5 1 -1\nf 5 6 7\n", "nonIntersecting", "intersectingTriangles", 2,
       "--self-intersections", 3},
  };
  for (const auto& [extra, test, defect, count, options, triangles] : cases) {
    SCOPED_TRACE(extra);
    EXPECT_EQ(changed(kTetrahedron + extra, "repair -q " + options).getNumTriangles(), triangles);
    const Outcome before = run("check --json in.obj");
    EXPECT_EQ(before.code, 1);
    EXPECT_EQ(json::parse(before.out)[test], false);
    EXPECT_EQ(json::parse(before.out)[defect], count);
    const Outcome o = run("repair --json in.obj -o out.obj " + options);
    EXPECT_THAT(o.err, HasSubstr("qvgeom: repaired "));
    EXPECT_EQ(json::parse(o.out)["after"]["triangles"], triangles);
    EXPECT_EQ(run("check out.obj").code, 0);
  }
  EXPECT_TRUE(json::parse(run("check --no-intersections --json in.obj").out)["nonIntersecting"].is_null());
  // A one-sided strip, and nothing else.
  const std::string strip =
      "v 1 0 0\nv 2 0 1\nv 0 1 0\nv 0 2 1\nv -1 0 0\nv -1 0 1\n"
      "f 1 2 3\nf 2 4 3\nf 3 4 5\nf 4 6 5\nf 5 6 2\nf 6 1 2\n";
  EXPECT_EQ(changed(strip, "orient", 1).getNumTriangles(), 6);
  EXPECT_EQ(changed(strip, "repair", 1).getNumTriangles(), 6);
}

TEST_F(RepairVerbs, ReverseSelectAndSwap) {
  const CompactMesh back = changed("v 0 0 0\nv 1 0 0\nv 0 1 0\nvn 0 0 1\nf 1//1 2//1 3//1\n", "reverse");
  EXPECT_EQ(indicesOf(back), (std::vector<int>{1, 0, 2}));
  EXPECT_EQ(floatsOf(back.getNormalsRaw(), 3), (Floats{-0.0f, -0.0f, -1}));

  folder.write("lasso.txt", "-1 -1\n6 -1\n6 6\n-1 6\n");
  folder.write("triangles.txt", "0\n2\n");
  const std::string pieces = kTetrahedron + "v 9 0 0\nv 8 0 0\nv 9 1 0\nv 9 2 1\nf 5 6 7\nf 6 8 7\n";
  const std::pair<const char*, int> selections[] = {
      {"--lasso lasso.txt --keep", 4},
      {"--lasso lasso.txt --matrix16 1 0 0 0 0 1 0 0 0 0 1 0 -5 0 0 1 --delete", 4},
      {"--component 1 --delete", 4},
      {"--component 1 --component 0 --keep", 6},
      {"--triangles triangles.txt --keep", 2},
      {"--triangles triangles.txt --grow 1 --delete", 2},
  };
  for (const auto& [arguments, triangles] : selections)
    EXPECT_EQ(changed(pieces, std::string("select ") + arguments).getNumTriangles(), triangles) << arguments;
  for (const char* refused :
       {"--component 2 --keep", "--component 0", "--keep", "--component 0 --keep --delete"})
    EXPECT_EQ(run(std::string("select in.obj -o out.obj ") + refused).code, 2) << refused;

  // Texture coordinates equal to positions stay with them, whatever the vertices are numbered.
  const CompactMesh rhombus = changed(
      "v 0 0 0\nv 3 1 0\nv 6 0 0\nv 3 -1 0\nv 3 0 -3\nvt 0 0\nvt 3 1\nvt 6 0\nvt 3 -1\nvt 3 0\n"
      "f 1/1 4/4 3/3\nf 1/1 3/3 2/2\nf 4/4 1/1 5/5\nf 3/3 4/4 5/5\nf 2/2 3/3 5/5\nf 1/1 2/2 5/5\n",
      "swap-edges");
  EXPECT_THAT(run("swap-edges in.obj -o out.obj").err, HasSubstr("1 edge swapped"));
  for (int v = 0; v < 5; ++v)
    EXPECT_EQ(rhombus.getVertices()[v].x + 10 * rhombus.getVertices()[v].y,
              rhombus.getUVs()[v].u + 10 * rhombus.getUVs()[v].v);
}

TEST_F(RepairVerbs, SmoothAndOffset) {
  const std::string square = "v 0 0 0\nv 1 0 0\nv 1 1 3\nv 0 1 0\nf 1 2 3\nf 1 3 4\n";
  folder.write("peak.txt", "2\n");
  EXPECT_EQ(changed(square, "smooth --laplacian 1 --vertices peak.txt").getVertices()[2].z, 0);
  const CompactMesh smooth = changed(square, "smooth --bilateral 9 --times 2");
  EXPECT_TRUE(smooth.getVertices()[2].z != 3 && !smooth.getNormals());
  EXPECT_EQ(changed(square, "offset --distance .1").getNumTriangles(), 12);
  EXPECT_EQ(changed(square, "offset --distance .1 --layer-only").getNumVertices(), 4);
  for (const char* refused : {"smooth", "smooth --bilateral nan", "offset --distance nan"})
    EXPECT_EQ(run(std::string(refused) + " in.obj -o out.obj").code, 2) << refused;
}

TEST_F(RepairVerbs, ReduceTellsWhatItKept) {
  // Two flat squares about a vertex that lies 0.1 above the one and in the other.
  folder.write("in.obj",
               "v 0 0 0\nv 3 0 0\nv 3 3 0\nv 0 3 0\nv 1 2 .1\nv 5 0 0\nv 4 2 0\nv 5 3 0\nvn 0 0 1\n"
               "f 1//1 2//1 5//1\nf 2//1 3//1 5//1\nf 3//1 4//1 5//1\nf 4//1 1//1 5//1\n"
               "f 2//1 6//1 7//1\nf 6//1 8//1 7//1\nf 8//1 3//1 7//1\nf 3//1 2//1 7//1\n");
  const std::tuple<const char*, int, double> cases[] = {
      {"--fraction 1", 8, 0},  {"--fraction .9", 7, 0},   {"--fraction 0", 6, 0.1},
      {"--tolerance 0", 8, 0}, {"--tolerance .01", 7, 0}, {"--tolerance .2", 6, 0.1}};
  for (const auto& [limit, vertices, error] : cases) {
    const Outcome o = run(std::string("reduce --json in.obj -o out.obj ") + limit);
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(json::parse(o.out)["verticesAfter"], vertices) << limit;
    EXPECT_NEAR(json::parse(o.out)["largestError"].get<double>(), error, 1e-3) << limit;
    EXPECT_THAT(folder.read("out.obj"), HasSubstr("vn ")) << limit;
  }
  for (const char* limit : {"", "--fraction 1.5", "--tolerance -1", "--fraction 1 --tolerance 1"})
    EXPECT_EQ(run(std::string("reduce in.obj -o x.obj ") + limit).code, 2) << limit;
}

}  // namespace
}  // namespace qvGeom
