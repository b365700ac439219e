// The verbs that make pictures of meshes, by these: render and bake; and pick, which looks into them.

#include <array>
#include <cmath>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace qvGeom {
namespace {

using Pixel = std::array<int, 4>;
constexpr Pixel kWhite = {255, 255, 255, 255};

struct Decoded {
  int width = 0, height = 0;
  std::vector<unsigned char> bytes;

  explicit Decoded(const std::string& file) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_memory(&image, file.data(), file.size())) << image.message;
    image.format = PNG_FORMAT_RGBA;
    bytes.resize(PNG_IMAGE_SIZE(image));
    EXPECT_TRUE(png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr)) << image.message;
    width = static_cast<int>(image.width);
    height = static_cast<int>(image.height);
  }
  Pixel at(int x, int y) const {
    unsigned char const* p = &bytes[4 * static_cast<std::size_t>(y * width + x)];
    return {p[0], p[1], p[2], p[3]};
  }
};

class Render : public Program {
 protected:
  std::string pictureOf(const std::string& arguments) const {
    const Outcome o = run("render --size 61x41 -o out.png " + arguments);
    EXPECT_EQ(o.code, 0) << arguments << ": " << o.err;
    return folder.read("out.png");
  }
};

TEST_F(Render, ShowsTheMeshInTheMiddle) {
  ASSERT_EQ(run("make scan --triangles 3000 -o scan.obj").code, 0);
  EXPECT_EQ(pictureOf("--threads 1 scan.obj"), pictureOf("--threads 2 scan.obj"));
  ASSERT_EQ(run("make cube -o cube.obj").code, 0);
  const Decoded shaded(pictureOf("cube.obj"));
  EXPECT_EQ(shaded.width, 61);
  EXPECT_EQ(shaded.height, 41);
  for (const int x : {0, 60})
    for (const int y : {0, 40}) EXPECT_EQ(shaded.at(x, y), kWhite);
  EXPECT_NE(shaded.at(30, 20), kWhite);

  const Decoded clear(pictureOf("cube.obj --background transparent --ao 0"));
  EXPECT_EQ(clear.at(0, 0)[3], 0);
  EXPECT_EQ(clear.at(30, 20)[3], 255);
  const Pixel right = Decoded(pictureOf("cube.obj --color normal --view right --up z --ao 0")).at(30, 20);
  EXPECT_GT(right[0], right[2]) << "+x is red";
}

TEST_F(Render, ColoursByScalarsWhateverElseTheMeshHolds) {
  // A vertex far away that nothing uses, a square, a triangle without area, and one that is nowhere.
  folder.write("square.qvm",
               "6 4\n1e9 0 0\n0 0 0\n1 0 0\n1 1 0\n0 1 0\nnan 0 0\n3 1 2 3\n3 1 3 4\n3 1 1 2\n3 1 2 5\n");
  folder.write("x.txt", "5\n0\n1\n1\n0\n5\n");
  const Decoded ramp(pictureOf("square.qvm --view z --scalars x.txt --range 0 1"));
  const Pixel low = ramp.at(14, 20), high = ramp.at(46, 20);
  EXPECT_NE(ramp.at(30, 3), kWhite) << "the square fills the picture";
  EXPECT_GT(low[2], low[1]) << "violet";
  EXPECT_GT(high[1], 2 * high[2]) << "yellow";

  folder.write("nan.qvm", "3 1\nnan 0 0\n0 inf 0\n0 0 1\n3 0 1 2\n");
  EXPECT_EQ(Decoded(pictureOf("nan.qvm --background '#ff0000'")).at(30, 20), (Pixel{255, 0, 0, 255}));
  EXPECT_THAT(folder.read("err.txt"), testing::HasSubstr("no triangles to show"));
}

TEST_F(Render, RefusesWhatMakesNoSense) {
  folder.write("square.qvm", "3 1\n0 0 0\n1 0 0\n1 1 0\n3 0 1 2\n");
  folder.write("two.txt", "1\n2\n");
  struct Case {
    const char* arguments;
    int code;
    const char* message;
  };
  for (const Case& c :
       {Case{"--size 5", 2, "--size"}, Case{"--view 0,0,0", 2, "no direction"}, Case{"--up askew", 2, "--up"},
        Case{"--samples 6", 2, "power of two"}, Case{"--background pink", 2, "--background"},
        Case{"--scalars two.txt --color normal", 2, "excludes"},
        Case{"--scalars two.txt", 3, "2 numbers for the 3 vertices"},
        Case{"--size 8x8 -o none/x.png", 4, "none/x.png: No such file"}}) {
    const Outcome o = run(std::string("render square.qvm ") + c.arguments + (c.code == 4 ? "" : " -o x.png"));
    EXPECT_EQ(o.code, c.code) << c.arguments;
    EXPECT_THAT(o.err, testing::HasSubstr(c.message));
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "x.png"));
}

// An octahedron of radius 5 about (100, 0, 0) whose triangles have corners of their own, after a triangle
// without area and one that is nowhere.
std::string octahedron() {
  std::string vertices = "nan 0 0\n", triangles = "3 0 1 2\n3 1 1 2\n";
  for (int i = 0; i < 8; ++i) {
    const int x = i & 1 ? -5 : 5, y = i & 2 ? -5 : 5, z = i & 4 ? -5 : 5;
    vertices +=
        std::to_string(100 + x) + " 0 0\n100 " + std::to_string(y) + " 0\n100 0 " + std::to_string(z) + "\n";
    triangles += "3";
    for (int k = 0; k < 3; ++k) triangles += " " + std::to_string(3 * i + k + 1);
    triangles += "\n";
  }
  return "25 10\n" + vertices + triangles;
}

TEST_F(Render, PickTellsWhatThePictureShows) {
  folder.write("in.qvm", octahedron());
  for (const std::string view : {"--view iso ", "--view -3,1,-2 --up z --fov 90 "}) {
    // Bit k of a triangle's number, less the first two, tells whether picture k shows it yellow or violet.
    std::vector<Decoded> bits;
    for (int k = 0; k < 3; ++k) {
      std::string numbers = "0\n";
      for (int v = 0; v < 24; ++v) numbers += std::to_string(v / 3 >> k & 1) + "\n";
      folder.write("bits.txt", numbers);
      bits.emplace_back(pictureOf(view + "in.qvm --scalars bits.txt --ao 0 --background transparent"));
    }
    int hits = 0, misses = 0;
    for (int y = 1; y < 41; y += 6)
      for (int x = 6; x < 61; x += 7) {
        const Outcome o =
            run("pick in.qvm --size 61x41 " + view + "--at " + std::to_string(x) + "," + std::to_string(y));
        ASSERT_EQ(o.code, 0) << o.err;
        SCOPED_TRACE(view + std::to_string(x) + "," + std::to_string(y) + ": " + o.out);
        const int alpha = bits[0].at(x, y)[3];
        misses += alpha == 0;
        if (alpha == 0) {
          EXPECT_EQ(o.out, "miss\n");
        }
        if (alpha < 255) continue;
        int triangle = -1;
        double px = 0, py = 0, pz = 0;
        std::istringstream(o.out) >> triangle >> px >> py >> pz;
        EXPECT_NEAR(std::fabs(px - 100) + std::fabs(py) + std::fabs(pz), 5, 1e-4);
        for (int k = 0; k < 3; ++k) {
          const Pixel p = bits[static_cast<std::size_t>(k)].at(x, y);
          const bool isYellow = p[1] > 2 * p[2], isViolet = p[2] > 1.5 * p[1];
          if (isYellow || isViolet) {  // else on an edge
            EXPECT_EQ((triangle - 2) >> k & 1, isYellow) << k;
          }
        }
        ++hits;
      }
    EXPECT_GT(hits, 8);
    EXPECT_GT(misses, 12);
  }
  EXPECT_EQ(run("pick in.qvm --at 450,337 --view z --json").out.substr(0, 12), "{\"triangle\":");
  EXPECT_EQ(run("pick in.qvm --at 0,0 --json").out, "null\n");
  for (const char* bad : {"61,0", "0,41", "-1,0", "1", "1,", "1,2,3", "a,b", "1.5,2"})
    EXPECT_EQ(run(std::string("pick in.qvm --size 61x41 --at ") + bad).code, 2) << bad;
}

TEST_F(Render, WireframeDrawsTheEdgesThatAreSeen) {
  // A square with a diagonal from the upper left in front of a smaller one.
  folder.write("in.qvm",
               "8 4\n-1 -1 0\n1 -1 0\n1 1 0\n-1 1 0\n-.5 -.5 -.1\n.5 -.5 -.1\n.5 .5 -.1\n-.5 .5 -.1\n"
               "3 0 1 3\n3 1 2 3\n3 4 5 6\n3 4 6 7\n");
  const auto brightness = [](const Decoded& picture, int x, int y) { return picture.at(x, y)[1]; };
  const Decoded plain(pictureOf("in.qvm --view z"));
  const std::string file = pictureOf("in.qvm --view z --wireframe --threads 1");
  EXPECT_EQ(pictureOf("in.qvm --view z --wireframe --threads 2"), file);
  const Decoded front(file);
  for (int i = -15; i <= 15; ++i) {
    EXPECT_LT(brightness(front, 30 + i, 20 + i), 80) << "no gap in the diagonal: " << i;
    EXPECT_NEAR(brightness(front, 31 + i, 20 + i), brightness(plain, 31 + i, 20 + i), 5) << "nor a shift";
  }
  EXPECT_LT(std::min(brightness(front, 30, 1), brightness(front, 30, 2)), 180) << "nor in the outline";
  for (int x = 32; x < 45; ++x)
    EXPECT_EQ(front.at(x, 20), plain.at(x, 20)) << "what is hidden stays so: " << x;

  const Decoded back(pictureOf("in.qvm --view -z --wireframe --background transparent --samples 16"));
  int dark = 0;
  for (int x = 32; x < 47; ++x) dark += brightness(back, x, 20) < 120 && back.at(x, 20)[3] > 200;
  EXPECT_GE(dark, 1) << "the small one's side, from behind";
  EXPECT_EQ(back.at(2, 2)[3], 0);
  folder.write("nan.qvm", "3 1\nnan 0 0\n0 inf 0\n0 0 1\n3 0 1 2\n");
  EXPECT_EQ(Decoded(pictureOf("nan.qvm --wireframe")).at(30, 20), kWhite);
}

class Bake : public Render {
 protected:
  // A square of side 4 whose texture coordinates are a times the positions plus b. The middles of pixels lie
  // on the edge that its triangles share.
  void writeSquare(double a, double b) const {
    std::string text;
    for (const auto& [x, y] : {std::pair{0, 0}, {4, 0}, {4, 4}, {0, 4}})
      text += "v " + std::to_string(x) + " " + std::to_string(y) + " 0\nvt " +
              std::to_string(std::fabs(a) * x / 4 + b) + " " + std::to_string(a * y / 4 + b) + "\n";
    folder.write("square.obj", text + "f 2/2 4/4 1/1\nf 4/4 2/2 3/3\n");
  }
  Decoded baked(const std::string& arguments) const {
    const Outcome o = run("bake square.obj -o out.png " + arguments);
    EXPECT_EQ(o.code, 0) << o.err;
    return Decoded(folder.read("out.png"));
  }
};

TEST_F(Bake, PaintsWhereTextureCoordinatesAre) {
  for (const auto& [a, b] : {std::pair{1.0, 0.0}, {-1.0, 0.0}, {3.0, -7.0}}) {
    SCOPED_TRACE(a);
    writeSquare(a, b);
    const Decoded four = baked("--size 4 --quantity position");
    for (int x = 0; x < 4; ++x)
      for (int y = 0; y < 4; ++y) {
        const int up = static_cast<int>(std::lround(255 * (y + 0.5) / 4));
        const Pixel p = four.at(x, 3 - y);
        EXPECT_NEAR(p[0], 255 * (x + 0.5) / 4, 1);
        EXPECT_NEAR(p[1], a < 0 ? 255 - up : up, 1) << "v is up";
        EXPECT_EQ(p[2], 128);
        EXPECT_EQ(p[3], 255);
      }
  }
  EXPECT_THAT(folder.read("err.txt"), testing::HasSubstr("fitted into the unit square"));
  EXPECT_EQ(baked("--size 1").at(0, 0), (Pixel{128, 128, 255, 255})) << "the normal";
  const Decoded colours = baked("--size 4 --quantity triangle");
  EXPECT_NE(colours.at(0, 3), colours.at(3, 0));
  EXPECT_EQ(baked("--size 2 --quantity stretch").at(0, 0), baked("--size 2 --quantity mean").at(1, 1))
      << "the middle of the scale, where all is equal";

  writeSquare(0.5, 0);
  folder.write("x.txt", "0\n1\n1\n0\n");
  const Decoded quarter = baked("--size 40 --scalars x.txt");
  EXPECT_EQ(quarter.at(20, 39)[3], 0);
  EXPECT_EQ(quarter.at(0, 19)[3], 0);
  EXPECT_GT(quarter.at(0, 39)[2], quarter.at(0, 39)[1]) << "violet";
  EXPECT_GT(quarter.at(19, 20)[1], 2 * quarter.at(19, 20)[2]) << "yellow";
}

TEST_F(Bake, RefusesWhatMakesNoSense) {
  writeSquare(1, 0);
  folder.write("plain.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
  struct Case {
    const char* arguments;
    int code;
    const char* message;
  };
  for (const Case& c :
       {Case{"plain.obj", 4, "plain.obj: no texture coordinates"}, Case{"square.obj --size 0", 2, "--size"},
        Case{"square.obj --size 16385", 2, "--size"}, Case{"square.obj --quantity colour", 2, "--quantity"},
        Case{"square.obj --range 0 1", 2, "no scale"}}) {
    const Outcome o = run(std::string("bake -o x.png ") + c.arguments);
    EXPECT_EQ(o.code, c.code) << c.arguments;
    EXPECT_THAT(o.err, testing::HasSubstr(c.message));
  }
  EXPECT_FALSE(std::filesystem::exists(folder / "x.png"));
}

}  // namespace
}  // namespace qvGeom
