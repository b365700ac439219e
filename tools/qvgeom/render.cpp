#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "camera.h"
#include "mesh_io.h"
#include "tracing.h"
#include "verbs.h"

namespace tool {

namespace {

constexpr int kLargestSide = 16384;

struct Options {
  std::string input;
  std::string format;
  std::string output;
  std::string size = "900x675";
  std::string view = "iso";
  std::string up = "y";
  std::string background = "white";
  std::string colour = "none";
  std::string scalars;
  std::vector<double> range;
  double fieldOfView = 30;
  int samples = 4;
  int ao = 16;
  bool recomputeNormals = false;
};

bool parseSide(std::string_view text, int& side) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), side);
  return error == std::errc() && end == text.data() + text.size() && side >= 1 && side <= kLargestSide;
}

void parseSize(const std::string& text, int& width, int& height) {
  const std::size_t cross = text.find('x');
  if (cross == std::string::npos || !parseSide(std::string_view(text).substr(0, cross), width) ||
      !parseSide(std::string_view(text).substr(cross + 1), height))
    throw Failure(kUsage, "--size: '" + text + "' is not WIDTHxHEIGHT with sides up to " +
                              std::to_string(kLargestSide));
}

// @return whether there is one: a transparent picture has none
bool parseBackground(const std::string& text, Light& background) {
  if (text == "transparent") return false;
  std::string digits = text == "white" ? "#ffffff" : text == "black" ? "#000000" : text;
  unsigned colour = 0;
  const bool isHex =
      digits.size() == 7 && digits[0] == '#' &&
      std::all_of(digits.begin() + 1, digits.end(), [](unsigned char c) { return std::isxdigit(c); });
  if (!isHex)
    throw Failure(kUsage, "--background: '" + text + "' is neither white, black, transparent nor #rrggbb");
  std::from_chars(digits.data() + 1, digits.data() + 7, colour, 16);
  const auto part = [colour](int shift) { return static_cast<float>(colour >> shift & 255) / 255; };
  background = fromScreen(part(16), part(8), part(0));
  return true;
}

// Everything that the command line says, settled before any file is read.
struct Plan {
  Format format;
  int width = 0, height = 0;
  qvLinear::Vector up, back;
  bool hasAlpha;
  Look look;

  explicit Plan(const Options& o) : format(resolveFormat(o.input, parseFormat(o.format), true)) {
    if (o.input == "-" && o.scalars == "-") throw Failure(kUsage, "only one file can be standard input");
    parseSize(o.size, width, height);
    up = parseDirection(o.up, "--up");
    back = parseView(o.view, up);
    hasAlpha = !parseBackground(o.background, look.background);
    if ((o.samples & (o.samples - 1)) != 0) throw Failure(kUsage, "--samples: a power of two is needed");
    if (o.ao % 4 != 0) throw Failure(kUsage, "--ao: a multiple of 4 is needed");
    look.samples = o.samples;
    look.aoRays = o.ao;
    if (o.colour == "normal") look.colour = Look::Colour::byNormal;
    if (!o.scalars.empty()) look.colour = Look::Colour::byScalar;
    if (!o.range.empty() &&
        !(std::isfinite(o.range[0]) && std::isfinite(o.range[1]) && o.range[0] < o.range[1]))
      throw Failure(kUsage, "--range: the first number must be less than the second");
  }
};

void readScalars(const Options& options, const qvGeom::CompactMesh& mesh, NumberRows& scalars, Look& look,
                 Console& console) {
  scalars.read(options.scalars, console);
  if (scalars.size() != static_cast<std::size_t>(mesh.getNumVertices()))
    throw Failure(kUnreadable, displayName(options.scalars, true) + ": " + std::to_string(scalars.size()) +
                                   " numbers for the " + std::to_string(mesh.getNumVertices()) +
                                   " vertices of the mesh");
  if (scalars.size() == 0) return;
  const auto [low, high] = std::minmax_element(scalars[0], scalars[0] + scalars.size());
  look.scalarMin = options.range.empty() ? *low : options.range[0];
  look.scalarMax = options.range.empty() ? *high : options.range[1];
}

ExitCode runRender(const Options& options, Console& console) {
  Plan plan(options);
  qvGeom::CompactMesh mesh;
  readMesh(options.input, plan.format, 0.2, console, mesh);
  NumberRows scalars(1);
  if (!options.scalars.empty()) readScalars(options, mesh, scalars, plan.look, console);
  const Scene scene(mesh, scalars, !options.recomputeNormals, console);
  if (scene.empty()) console.warn(displayName(options.input, true) + ": no triangles to show");
  Camera camera(plan.back, plan.up, options.fieldOfView * std::numbers::pi / 180, plan.width, plan.height);
  if (!scene.empty()) camera.fit(scene.mesh().getVertices(), scene.mesh().getNumVertices());
  Picture picture(plan.width, plan.height, plan.hasAlpha);
  trace(scene, camera, plan.look, picture, console);
  writeBytes(encodePng(picture), options.output);
  return kDone;
}

}  // namespace

Verb makeRender(CLI::App& program) {
  auto options = std::make_shared<Options>();
  Options& o = *options;
  CLI::App* app = program.add_subcommand("render", "Make a picture of a mesh, as a PNG file");
  app->add_option("MESH", o.input, "mesh file (.obj, .qvm), or - for standard input")->required();
  app->add_option("-o,--output", o.output, "PNG file to write, or - for standard output")->required();
  app->add_option("--format", o.format, "format of the mesh: obj or qvm; by default its name tells");
  app->add_option("--size", o.size, "in pixels")->type_name("WxH")->capture_default_str();
  app->add_option(
         "--view", o.view,
         "where the camera stands: a direction x,y,z from the mesh, an axis such as -x, or front, back, "
         "left, right, top, bottom or iso")
      ->type_name("VIEW")
      ->capture_default_str();
  app->add_option("--up", o.up, "what is up: a direction x,y,z or an axis")
      ->type_name("DIR")
      ->capture_default_str();
  app->add_option("--fov", o.fieldOfView, "angle of view in degrees, along the shorter side")
      ->capture_default_str()
      ->check(CLI::Range(1.0, 120.0));
  app->add_option("--samples", o.samples, "rays for each pixel, a power of two")
      ->capture_default_str()
      ->check(CLI::Range(4, 1024));
  app->add_option("--ao", o.ao,
                  "rays for the ambient occlusion of each of them, a multiple of 4; 0 turns it off")
      ->capture_default_str()
      ->check(CLI::Range(0, 1024));
  auto* colour = app->add_option("--color", o.colour, "colour by 'normal' or not at all: 'none'")
                     ->capture_default_str()
                     ->check(CLI::IsMember({"none", "normal"}));
  auto* scalars = app->add_option("--scalars", o.scalars,
                                  "colour by numbers: a text file with one for each vertex, in the order of "
                                  "'qvgeom convert --to qvm'; or - for standard input")
                      ->type_name("FILE")
                      ->excludes(colour);
  app->add_option("--range", o.range,
                  "numbers that have the first and the last colour (default: the extremes)")
      ->type_name("MIN MAX")
      ->expected(2)
      ->needs(scalars);
  app->add_option("--background", o.background, "white, black, transparent or #rrggbb")
      ->type_name("COLOUR")
      ->capture_default_str();
  app->add_flag("--recompute-normals", o.recomputeNormals, "leave aside the normals that the file has");
  app->footer(
      "Surfaces are rounded off where they bend by less than 50 degrees, unless the file has normals.\n\n"
      "Examples:\n  qvgeom render bunny.obj -o bunny.png\n"
      "  qvgeom render part.obj -o part.png --view 1,-2,1 --up z --samples 16 --background transparent");
  return {app, [options](Console& console) { return runRender(*options, console); }};
}

}  // namespace tool
