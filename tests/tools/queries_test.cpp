// The verbs that ask a mesh: closest, raycast, inside, intersect.

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/program.h"

namespace qvGeom {
namespace {

using nlohmann::json;
using testing::HasSubstr;

const std::string kTetrahedron = "v 0 0 0\nv 4 0 0\nv 0 4 0\nv 0 0 4\nf 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n";
// The same with corners of its own for every triangle.
const std::string kSoup =
    "v 0 0 0\nv 0 4 0\nv 4 0 0\nv 0 0 0\nv 4 0 0\nv 0 0 4\nv 0 0 0\nv 0 0 4\nv 0 4 0\nv 4 0 0\nv 0 4 0\nv 0 "
    "0 4\n"
    "f 1 2 3\nf 4 5 6\nf 7 8 9\nf 10 11 12\n";

class Queries : public Program {
 protected:
  void SetUp() override {
    folder.write("tetra.obj", kTetrahedron);
    folder.write("soup.obj", kSoup);
  }
  std::string answer(const std::string& arguments) const {
    const Outcome o = run(arguments);
    EXPECT_EQ(o.code, 0) << arguments << ": " << o.err;
    return o.out;
  }
};

TEST_F(Queries, AnswerEachLineWithALine) {
  folder.write("points.txt", "1 1 -2\n# inside\n\n  +.5\t0.5 5e-1\r\n1 1 0");
  // From outside, from within, through the edge of triangles 0 and 1, along no direction, away.
  folder.write("rays.txt", "1 1 -2 0 0 2\n.5 .5 .5 0 0 -1\n1 -1 -1 0 1 1\n1 1 -2 0 0 0\n1 1 -2 0 0 -1\n");
  for (const std::string mesh : {"tetra.obj", "soup.obj"}) {
    SCOPED_TRACE(mesh);
    EXPECT_EQ(answer("closest " + mesh + " points.txt"),
              "2 0 0.5 0.25 0.25 1 1 0\n0.5 0 0.75 0.125 0.125 0.5 0.5 0\n0 0 0.5 0.25 0.25 1 1 0\n");
    EXPECT_EQ(answer("raycast " + mesh + " - < rays.txt"),
              "1 0 0.25 0.25\n0.5 0 0.125 0.125\n1 0 0 0.25\nmiss\nmiss\n");
    EXPECT_EQ(answer("inside " + mesh + " points.txt"), "outside\ninside\nsurface\n");
    EXPECT_EQ(answer("inside --tolerance 0 " + mesh + " points.txt"), "outside\ninside\ninside\n");
  }
  EXPECT_EQ(json::parse(answer("closest --json tetra.obj points.txt"))[0],
            json::parse(R"({"distance":2,"triangle":0,"weights":[0.5,0.25,0.25],"point":[1,1,0]})"));
  const json hits = json::parse(answer("raycast --json tetra.obj rays.txt"));
  EXPECT_EQ(hits[0], json::parse(R"({"t":1,"triangle":0,"u":0.25,"v":0.25})"));
  EXPECT_TRUE(hits[3].is_null());
  EXPECT_EQ(answer("raycast --any tetra.obj rays.txt"), "hit\nhit\nhit\nmiss\nmiss\n");
  // Normals of the file that point inwards are believed, unless told otherwise.
  folder.write("inverted.obj",
               "v 0 0 0\nv 4 0 0\nv 0 4 0\nv 0 0 4\nvn 1 1 1\nf 1//1 3//1 2//1\nf 1 2 4\nf 1 4 3\nf 2 3 4\n");
  EXPECT_EQ(json::parse(answer("inside --json inverted.obj points.txt"))[1], "outside");
  EXPECT_EQ(json::parse(answer("inside --json --recompute-normals inverted.obj points.txt"))[1], "inside");
}

TEST_F(Queries, RaysMeetMeshesOfEverySize) {
  for (const std::string e : {"e-9", "e12"}) {
    ASSERT_EQ(run("transform tetra.obj -o scaled.obj --scale 1" + e).code, 0);
    folder.write("ray.txt", "1" + e + " 1" + e + " -2" + e + " 0 0 1\n");
    const double t = json::parse(answer("raycast --json scaled.obj ray.txt"))[0]["t"];
    EXPECT_NEAR(t / std::stod("1" + e), 2, 1e-5);
  }
}

TEST_F(Queries, AnswersDoNotDependOnThreadsOrBlocks) {
  // Its own vertices as points: several triangles are equally near.
  folder.write("points.txt", answer("make scan --triangles 3000 --to obj -o - | sed -n 's/^v //p'"));
  ASSERT_EQ(run("make scan --triangles 3000 -o scan.obj").code, 0);
  EXPECT_EQ(answer("closest --threads 3 scan.obj points.txt"),
            answer("closest --threads 1 scan.obj points.txt"));
  std::string many;
  for (int i = 0; i < 70000; ++i) many += "1 1 " + std::to_string(-i) + "\n";
  folder.write("many.txt", many);
  const json distances = json::parse(answer("closest --json tetra.obj many.txt"));
  ASSERT_EQ(distances.size(), 70000u);
  for (const unsigned i : {0u, 65535u, 65536u, 69999u}) EXPECT_EQ(distances[i]["distance"], i);
}

TEST_F(Queries, IntersectListsPairsAndSegments) {
  ASSERT_EQ(run("make cube -o cube.obj").code, 0);
  const std::string shifted = "cube.obj cube.obj --matrix 1 0 0 0 1 0 0 0 1 0.25 0.5 0.375";
  const json two = json::parse(answer("intersect --json " + shifted));
  EXPECT_EQ(two["schema"], 1);
  EXPECT_EQ(two["triangles"].size(), two["pairs"]);
  double length = 0;  // all segments run along axes
  for (const json& s : two["segments"])
    for (int k = 0; k < 3; ++k) length += std::abs(s[3 + k].get<double>() - s[k].get<double>());
  EXPECT_NEAR(length, 2 * (0.75 + 0.5 + 0.625), 1e-6)
      << "each surface cuts three sides of a box from the other";
  const std::string lines = answer("intersect " + shifted);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), two["pairs"]);

  EXPECT_EQ(answer("intersect soup.obj"), "") << "neighbours do not cross, welded or not";
  folder.write("self.obj", kTetrahedron + "v 1 1 -1\nv 1 1 1\nv 1 -3 1\nf 5 6 7\n");
  const Outcome self = run("intersect --json self.obj");
  EXPECT_EQ(self.code, 1) << "defects remain";
  EXPECT_EQ(json::parse(self.out)["triangles"], json::parse("[[4,0],[4,1]]"));
}

TEST_F(Queries, RefuseWhatTheyCannotRead) {
  folder.write("nan.qvm", "3 1\nnan 0 0\n0 inf 0\n0 0 1\n3 0 1 2\n");
  struct Case {
    const char* arguments;
    const char* input;
    int code;
    const char* says;
  };
  for (const Case& c : {
           Case{"closest tetra.obj -", "\n1 2\n", 3, "standard input:2: 3 numbers expected, 2 found"},
           Case{"closest tetra.obj -", "1 2 nan\n", 3, ":1: 'nan' is not a finite single-precision number"},
           Case{"raycast tetra.obj -", "0 0 1e39 1 0 0\n", 3, ":1: '1e39' is not"},
           Case{"closest --format obj - -", "", 2, "only one file can be standard input"},
           Case{"inside --tolerance -1 tetra.obj -", "", 2, "is not a distance"},
           Case{"intersect tetra.obj --matrix 1 0 0 0 1 0 0 0 1 0 0 0", "", 2, "needs a second mesh"},
           Case{"intersect tetra.obj soup.obj --matrix 1 0 0 0 1 0 0 0 0 0 0 0", "", 2, "no inverse"},
           Case{"closest --json tetra.obj -", "# none\n", 0, "[]\n"},
           Case{"closest nan.qvm -", "1 2 3", 0, "none\n"},
           Case{"raycast nan.qvm -", "0 0 5 0 0 -1", 0, "miss\n"},
           Case{"inside nan.qvm -", "0 0 0", 0, "outside\n"},
           Case{"intersect --json nan.qvm", "", 0, "\"pairs\":0"},
       }) {
    SCOPED_TRACE(c.arguments);
    folder.write("in.txt", c.input);
    const Outcome o = run(c.arguments + std::string(" < in.txt"));
    EXPECT_EQ(o.code, c.code);
    EXPECT_THAT(c.code == 0 ? o.out : o.err, HasSubstr(c.says));
    EXPECT_EQ(o.out.empty(), c.code != 0);
  }
}

}  // namespace
}  // namespace qvGeom
