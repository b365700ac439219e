// The verbs curvature, mass, pack and bounds.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/program.h"

namespace qvGeom {
namespace {

using nlohmann::json;

class Measures : public Program {};

TEST_F(Measures, PrintWhatTheyFind) {
  ASSERT_EQ(run("make cube -o cube.obj").code, 0);
  folder.write("octahedron.obj",
               "v 1 0 0\nv -1 0 0\nv 0 1 0\nv 0 -1 0\nv 0 0 1\nv 0 0 -1\nf 1 3 5\nf 3 2 5\nf 2 4 5\nf 4 1 5\n"
               "f 3 1 6\nf 2 3 6\nf 4 2 6\nf 1 4 6\n");
  struct Case {
    const char *arguments, *input;
    int code;
    const char* says;
  };
  for (const Case& c : {
           Case{"curvature octahedron.obj", "", 0, "1\n1\n1\n1\n1\n1\n"},
           Case{"curvature octahedron.obj --kind gaussian", "", 0, "1.8137993"},
           Case{"curvature octahedron.obj --kind max", "", 0, "1.90210"},
           Case{"curvature octahedron.obj --kind most", "", 2, "unknown kind 'most'"},
           Case{"mass cube.obj", "", 0, "volume            1\nfirst moment x    "},
           Case{"mass --format obj - -", "", 2, "only one file can be standard input"},
           Case{"pack --steps 1 -", "2 1\n", 0, "0 0 0.998000026 0.499000013\n"},
           Case{"pack -", "# halves\n0.5 1\n0.5 1\n", 0, "0 0 0.5 1\n0.5 0 1 1\n"},
           Case{"pack -", "1 1\n1 -1\n", 3, "standard input: rectangle 1 has a negative size"},
           Case{"bounds -", "0 0\n4 0\n4 2\n1 1\n", 0, "4 2\n0 2\n0 0\n4 0\n"},
           Case{"bounds --margin 1 -", "3 3\n", 0, "2 2\n4 2\n4 4\n2 4\n"},
           Case{"bounds --json -", "", 0, "\"corners\": null,\n  \"ratio\": null,\n  \"hull\": []"},
           Case{"bounds -", "1\n", 3, "2 numbers expected, 1 found"},
       }) {
    SCOPED_TRACE(c.arguments);
    folder.write("in.txt", c.input);
    const Outcome o = run(c.arguments + std::string(" < in.txt"));
    EXPECT_EQ(o.code, c.code);
    EXPECT_THAT(c.code == 0 ? o.out : o.err, testing::HasSubstr(c.says));
  }
  ASSERT_EQ(run("transform cube.obj --translate 3 0 0 -o moved.obj").code, 0);
  const json cube = json::parse(run("mass --json cube.obj").out),
             two = json::parse(run("mass --json cube.obj moved.obj").out);
  EXPECT_EQ(two["volume"], 2);
  EXPECT_EQ(two["area"], 12);
  const auto firstX = [](const json& report) { return report["firstMoment"]["x"][2].get<double>(); };
  EXPECT_NEAR(firstX(two), 2 * firstX(cube) + 3, 1e-9);
}

}  // namespace
}  // namespace qvGeom
