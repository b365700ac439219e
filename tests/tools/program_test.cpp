// Drives the built program as a user does.

#include "tests/support/program.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

namespace qvGeom {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string kCube =
    "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 0 1\nv 1 0 1\nv 1 1 1\nv 0 1 1\n"
    "f 4 3 2 1\nf 5 6 7 8\nf 1 2 6 5\nf 2 3 7 6\nf 3 4 8 7\n";  // open at x = 0

TEST_F(Program, InfoMeasuresAndSaysSoInJson) {
  folder.write("cube.obj", kCube + "v 9 9 9\nf 1 1 2\nvn 0 0 1\n");
  const Outcome o = run("info --json cube.obj");
  ASSERT_EQ(o.code, 0) << o.err;
  EXPECT_EQ(o.err, "");
  auto json = nlohmann::ordered_json::parse(o.out);
  EXPECT_EQ(json.erase("seconds"), 1u);
  EXPECT_EQ(json.dump(), R"({"schema":1,"file":"cube.obj","vertices":9,"triangles":11,"unusedVertices":1,)"
                         R"("distinctPositions":9,"degenerateTriangles":1,"components":1,"boundaryLoops":1,)"
                         R"("boundaryVertices":4,"area":5,"longestEdge":1.41421354,)"
                         R"("boundingBox":{"min":[0,0,0],"max":[9,9,9]},"hasNormals":true,"hasUVs":false})");
  EXPECT_THAT(run("info cube.obj").out, HasSubstr("boundary loops        1\n"));
  EXPECT_THAT(run("-v --threads 3 info cube.obj").err, HasSubstr("MeshAdjTris: 9 vertices 11 triangles"));

  folder.write("nan.qvm", "3 1\nnan 0 0\n0 inf 0\n0 0 1\n3 0 1 2\n");
  EXPECT_TRUE(nlohmann::json::parse(run("info --json nan.qvm").out)["longestEdge"].is_null())
      << "JSON has no infinity";
  folder.write("empty.obj", "");
  EXPECT_TRUE(nlohmann::json::parse(run("info --json empty.obj").out)["boundingBox"].is_null());
  ASSERT_EQ(run("convert empty.obj -o empty.qvm").code, 0);
  EXPECT_EQ(folder.read("empty.qvm"), "0 0\n");
}

TEST_F(Program, ConvertsBothWaysAndThroughPipes) {
  folder.write("cube.obj", kCube);
  ASSERT_EQ(run("convert cube.obj -o cube.qvm").code, 0);
  EXPECT_THAT(folder.read("cube.qvm"), StartsWith("8 10\n0 0 0\n"));
  const Outcome piped = run("convert --format qvm --to obj - --output - < cube.qvm");
  EXPECT_EQ(piped.code, 0);
  EXPECT_THAT(piped.out, AllOf(StartsWith("v 0 0 0\nv 1 0 0\n"), HasSubstr("\nf 4  3  2 \n")));
}

TEST_F(Program, WeldsAndCountsPlaces) {
  // Two triangles along an edge, with corners of their own; the normals differ at one end of it.
  folder.write("soup.obj",
               "v 2 0 0\nv 1 0 0\nv 1 1 0\nv 1 0 0\nv 0 0 0\nv 1 1 -0\nvn 0 0 1\nvn 0 1 0\n"
               "f 1//1 3//1 2//1\nf 5//1 4//2 6//1\n");
  const auto places = [&](const std::string& file) {
    const auto json = nlohmann::json::parse(run("info --json " + file).out);
    return std::pair(json["vertices"].get<int>(), json["distinctPositions"].get<int>());
  };
  EXPECT_EQ(places("soup.obj"), std::pair(6, 4));
  ASSERT_EQ(run("weld soup.obj -o kept.obj").code, 0);
  EXPECT_EQ(places("kept.obj"), std::pair(5, 4));
  EXPECT_THAT(run("weld --ignore-normals soup.obj --to obj -o -").out, Not(HasSubstr("vn ")));
  EXPECT_EQ(run("weld --ignore-normals --format obj --to qvm - -o - < soup.obj").out,
            "4 2\n0 0 0\n1 0 0\n1 1 -0\n2 0 0\n3 3 2 1\n3 0 1 2\n");
  folder.write("nan.qvm", "5 0\n1 0 0\nnan 0 0\n1 0 0\nnan 0 0\n1 0 0\n");
  EXPECT_EQ(places("nan.qvm"), std::pair(5, 3)) << "a NaN equals none and hides none";
}

TEST_F(Program, FailsInOneLineWithTheCodeForIt) {
  folder.write("cube.obj", kCube);
  folder.write("bad.qvm", "3 1\n0 0 0\n");
  folder.write("noise.obj", std::string("\x7f\0\1\2\n\n\xff\xfe", 8));
  std::filesystem::create_directory(folder / "folder.obj");
  struct Case {
    const char* arguments;
    int code;
    const char* message;
  };
  for (const Case& c : {
           Case{"info missing.obj", 3, "missing.obj: No such file"},
           Case{"info folder.obj", 3, "folder.obj: Is a directory"},
           Case{"info bad.qvm", 3, "bad.qvm: not a mesh in the counted format"},
           Case{"info noise.obj", 0, "noise.obj: no vertices found"},
           Case{"info cube.stl", 2, "cannot tell the format of cube.stl"},
           Case{"info -", 2, "cannot tell the format of standard input"},
           Case{"info --format ply cube.obj", 2, "unknown format 'ply'"},
           Case{"", 2, "subcommand is required"},
           Case{"--threads 0 info cube.obj", 2, "--threads"},
           Case{"help dance", 2, "there is no verb 'dance'"},
           Case{"convert cube.obj", 2, "--output is required"},
           Case{"convert cube.obj -o none/cube.qvm", 4, "none/cube.qvm: No such file"},
           Case{"convert cube.obj -o folder.obj", 4, "folder.obj: Is a directory"},
           Case{"convert cube.obj --to obj -o /dev/full", 4, "No space left"},
           Case{"convert bad.qvm -o out.obj", 3, "bad.qvm"},
       }) {
    SCOPED_TRACE(c.arguments);
    const Outcome o = run(c.arguments);
    EXPECT_EQ(o.code, c.code);
    EXPECT_THAT(o.err, HasSubstr(c.message));
    if (c.code == 3 || c.code == 4) {
      EXPECT_EQ(std::count(o.err.begin(), o.err.end(), '\n'), 1);
      EXPECT_EQ(o.out, "");
    }
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "out.obj"));
  EXPECT_EQ(folder.numEntries(), 6) << "no temporary file is left";
}

TEST_F(Program, KeepsTheOldFileAndItsNatureUntilTheNewOneIsWhole) {
  folder.write("cube.obj", kCube);
  folder.write("target.qvm", "precious");
  std::filesystem::permissions(folder / "target.qvm", std::filesystem::perms(0640));
  std::filesystem::create_symlink("target.qvm", folder / "link.qvm");
#if !defined(__SANITIZE_THREAD__)  // whose run time grows a file of its own before main
  EXPECT_EQ(run("convert cube.obj -o link.qvm", "ulimit -f 0;").code, 4) << "writing fails";
  EXPECT_EQ(folder.read("target.qvm"), "precious");
  EXPECT_EQ(folder.numEntries(), 5) << "the unfinished file is gone";
#endif
  ASSERT_EQ(run("convert cube.obj -o link.qvm").code, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.qvm"));
  EXPECT_THAT(folder.read("target.qvm"), StartsWith("8 10"));
  EXPECT_EQ(std::filesystem::status(folder / "target.qvm").permissions(), std::filesystem::perms(0640));
}

TEST_F(Program, ExplainsItself) {
  EXPECT_THAT(run("--version").out, StartsWith("qvgeom 0."));
  EXPECT_THAT(run("help").out, HasSubstr("Exit codes"));
  for (const std::string verb :
       {"info", "convert", "weld", "make", "normals", "transform", "closest", "raycast", "inside",
        "intersect", "render", "pick", "bake", "cut", "fill", "flatten", "clean"})
    EXPECT_THAT(run("help " + verb).out, HasSubstr("Examples:\n  qvgeom " + verb));
}

TEST_F(Program, StopsOnCtrlCWithoutATrace) {
  // Reads from a pipe that stays open and says nothing; in the foreground the signal comes but once.
  const Outcome o =
      run("convert --format obj - -o out.qvm", "sleep 1 | timeout --foreground --preserve-status -s INT 0.4");
  EXPECT_EQ(o.code, 130);
  EXPECT_EQ(o.err, "qvgeom: interrupted\n");
  EXPECT_EQ(folder.numEntries(), 2) << "what this test writes itself";
}

}  // namespace
}  // namespace qvGeom
