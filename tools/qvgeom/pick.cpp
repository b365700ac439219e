#include <charconv>
#include <memory>
#include <string>
#include <string_view>

#include "camera_options.h"
#include "mesh_io.h"
#include "number_rows.h"
#include "stage.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshCoord;

namespace {

struct Options {
  std::string mesh;
  std::string format;
  CameraOptions camera;
  std::string at;
  bool json = false;
};

struct Pixel {
  int x = 0, y = 0;
};

Pixel parsePixel(const std::string& text, const Viewpoint& viewpoint) {
  Pixel pixel;
  const std::size_t comma = text.find(',');
  const auto parse = [](std::string_view part, int size, int& number) {
    const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), number);
    return error == std::errc() && end == part.data() + part.size() && number >= 0 && number < size;
  };
  const std::string_view all(text);
  if (comma == std::string::npos || !parse(all.substr(0, comma), viewpoint.width, pixel.x) ||
      !parse(all.substr(comma + 1), viewpoint.height, pixel.y))
    throw Failure(kUsage, "--at: '" + text + "' is no pixel X,Y of a picture of " +
                              std::to_string(viewpoint.width) + "x" + std::to_string(viewpoint.height));
  return pixel;
}

// @return on the mesh as it was read
MeshCoord pick(const CompactMesh& mesh, const Viewpoint& viewpoint, const Pixel& pixel) {
  CompactMesh staged;
  const StageSources sources = stageMesh(mesh, staged);
  const Camera camera = viewpoint.cameraFor(staged);
  const qvLinear::Line sight(camera.position(), camera.direction(pixel.x + 0.5, pixel.y + 0.5));
  MeshCoord seen = meshRayIntersectScreen(staged, camera.projection(), sight);
  if (seen.valid()) seen.triangle = sources.triangles[static_cast<std::size_t>(seen.triangle)];
  return seen;
}

std::string describe(const CompactMesh& mesh, const MeshCoord& seen, bool json) {
  if (!seen.valid()) return json ? "null\n" : "miss\n";
  const qvLinear::Point point = seen.evaluate(mesh.getVertices(), mesh.getTriangles());
  std::string text = (json ? "{\"triangle\":" : "") + std::to_string(seen.triangle);
  text += json ? ",\"point\":[" : " ";
  appendNumbers(text, point.data(), 3, json ? "," : " ");
  return text + (json ? "]}\n" : "\n");
}

ExitCode runPick(const Options& options, Console& console) {
  const Format format = resolveFormat(options.mesh, parseFormat(options.format), true);
  const Viewpoint viewpoint(options.camera);
  const Pixel pixel = parsePixel(options.at, viewpoint);
  CompactMesh mesh;
  readMesh(options.mesh, format, 0.9, console, mesh);
  const MeshCoord seen = pick(mesh, viewpoint, pixel);
  console.throwIfInterrupted();
  writeStandardOutput(describe(mesh, seen, options.json));
  return kDone;
}

}  // namespace

Verb makePick(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app =
      program.add_subcommand("pick", "Find the triangle at a pixel of a picture that render makes");
  app->add_option("MESH", options->mesh, "mesh file (.obj, .qvm), or - for standard input")->required();
  app->add_option("--format", options->format, "format of the mesh: obj or qvm; by default its name tells");
  app->add_option("--at", options->at, "column and row of the pixel, from 0 at the upper left")
      ->type_name("X,Y")
      ->required();
  options->camera.addTo(*app);
  app->add_flag("--json", options->json, "print a JSON object, or null, instead of a line");
  app->footer(
      "Prints the number of the triangle from 0 and the point x y z that lie behind the middle of the pixel; "
      "or\n"
      "'miss'. The camera stands as for 'qvgeom render' with the same options.\n\n"
      "Examples:\n  qvgeom pick bunny.obj --at 450,337\n"
      "  qvgeom pick part.obj --view 1,-2,1 --up z --size 1920x1080 --at 12,1000 --json");
  return {app, [options](Console& console) { return runPick(*options, console); }};
}

}  // namespace tool
