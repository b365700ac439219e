// The verbs curvature, mass, pack and bounds.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <tuple>

#include "tests/support/program.h"

namespace qvGeom {
namespace {

using nlohmann::json;

using Measures = Program;

TEST_F(Measures, PrintWhatTheyFind) {
  ASSERT_EQ(run("make cube -o cube.obj").code, 0);
  folder.write("octahedron.obj",
               "v 1 0 0\nv -1 0 0\nv 0 1 0\nv 0 -1 0\nv 0 0 1\nv 0 0 -1\nf 1 3 5\nf 3 2 5\nf 2 4 5\nf 4 1 5\n"
               "f 3 1 6\nf 2 3 6\nf 4 2 6\nf 1 4 6\n");
  for (const auto& [arguments, input, code, says] : {
           std::tuple{"curvature octahedron.obj", "", 0, "1\n1\n1\n1\n1\n1\n"},
           std::tuple{"curvature octahedron.obj --kind max", "", 0, "1.90210"},
           std::tuple{"mass cube.obj", "", 0, "volume            1\nfirst moment x    "},
           std::tuple{"mass --format obj - -", "", 2, "only one file can be standard input"},
           std::tuple{"pack --steps 1 -", "2 1\n", 0, "0 0 0.998000026 0.499000013\n"},
           std::tuple{"pack -", "# halves\n0.5 1\n0.5 1\n", 0, "0 0 0.5 1\n0.5 0 1 1\n"},
           std::tuple{"pack -", "1 1\n1 -1\n", 3, "standard input: rectangle 1 has a negative size"},
           std::tuple{"bounds -", "0 0\n4 0\n4 2\n1 1\n", 0, "4 2\n0 2\n0 0\n4 0\n"},
           std::tuple{"bounds --json -", "", 0, "\"corners\": null,\n  \"ratio\": null,\n  \"hull\": []"},
       }) {
    SCOPED_TRACE(arguments);
    folder.write("in.txt", input);
    const Outcome o = run(arguments + std::string(" < in.txt"));
    EXPECT_EQ(o.code, code);
    EXPECT_THAT(code == 0 ? o.out : o.err, testing::HasSubstr(says));
  }
  const json two = json::parse(run("mass --json cube.obj cube.obj").out);
  EXPECT_TRUE(two["volume"] == 2 && two["area"] == 12 && two["secondMoment"]["z"].size() == 3);
  folder.write("points.txt", "0 0\n2 0\n1 1\n");
  EXPECT_EQ(json::parse(run("bounds --json points.txt").out)["hull"], json::parse("[1,2,0]"));
}

}  // namespace
}  // namespace qvGeom
