#include <algorithm>
#include <cctype>
#include <charconv>
#include <memory>
#include <string>
#include <vector>

#include "camera_options.h"
#include "mesh_io.h"
#include "scalar_options.h"
#include "tracing.h"
#include "verbs.h"
#include "wireframe.h"

namespace tool {

namespace {

struct Options {
  std::string input;
  std::string format;
  std::string output;
  CameraOptions camera;
  ScalarOptions scalars;
  std::string background = "white";
  std::string colour = "none";
  int samples = 4;
  int ao = 16;
  bool recomputeNormals = false;
  bool wireframe = false;
};

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
  Viewpoint viewpoint;
  bool hasAlpha;
  Look look;

  explicit Plan(const Options& o)
      : format(resolveFormat(o.input, parseFormat(o.format), true)), viewpoint(o.camera) {
    o.scalars.check(o.input);
    hasAlpha = !parseBackground(o.background, look.background);
    if ((o.samples & (o.samples - 1)) != 0) throw Failure(kUsage, "--samples: a power of two is needed");
    if (o.ao % 4 != 0) throw Failure(kUsage, "--ao: a multiple of 4 is needed");
    look.samples = o.samples;
    look.aoRays = o.ao;
    if (o.colour == "normal") look.colour = Look::Colour::byNormal;
    if (!o.scalars.file.empty()) look.colour = Look::Colour::byScalar;
  }
};

ExitCode runRender(const Options& options, Console& console) {
  Plan plan(options);
  qvGeom::CompactMesh mesh;
  readMesh(options.input, plan.format, 0.2, console, mesh);
  std::vector<double> scalars;
  if (!options.scalars.file.empty()) scalars = options.scalars.read(mesh, console);
  plan.look.scale = options.scalars.scaleFor(scalars);
  const Scene scene(mesh, scalars, !options.recomputeNormals, console);
  if (scene.empty()) console.warn(displayName(options.input, true) + ": no triangles to show");
  const Camera camera = plan.viewpoint.cameraFor(scene.mesh());
  Picture picture(plan.viewpoint.width, plan.viewpoint.height, plan.hasAlpha);
  trace(scene, camera, plan.look, picture, console);
  if (options.wireframe) drawWireframe(scene, camera, picture, console);
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
  o.camera.addTo(*app);
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
  const ScalarOptions::Added scalars = o.scalars.addTo(*app);
  scalars.file->excludes(colour);
  scalars.range->needs(scalars.file);
  app->add_option("--background", o.background, "white, black, transparent or #rrggbb")
      ->type_name("COLOUR")
      ->capture_default_str();
  app->add_flag("--recompute-normals", o.recomputeNormals, "leave aside the normals that the file has");
  app->add_flag("--wireframe", o.wireframe, "draw the edges of the triangles, as far as they are seen");
  app->footer(
      "Surfaces are rounded off where they bend by less than 50 degrees, unless the file has normals.\n\n"
      "Examples:\n  qvgeom render bunny.obj -o bunny.png\n"
      "  qvgeom render part.obj -o part.png --view 1,-2,1 --up z --samples 16 --background transparent");
  return {app, [options](Console& console) { return runRender(*options, console); }};
}

}  // namespace tool
