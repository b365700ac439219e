#include <cstdio>
#include <memory>

#include "mesh_io.h"
#include "quality.h"
#include "verbs.h"

namespace tool {

namespace {

struct Options {
  std::string file;
  std::string format;
  double minAngle = 15;
  bool noIntersections = false;
  bool json = false;
};

std::string asTable(const Options& options, const qvGeom::CompactMesh& mesh, const Quality& quality,
                    double seconds) {
  char counts[128];
  std::snprintf(counts, sizeof counts, "%-24s%d\n%-24s%d\n", "vertices", mesh.getNumVertices(), "triangles",
                mesh.getNumTriangles());
  char time[64];
  std::snprintf(time, sizeof time, "%-24s%.6g\n", "seconds", seconds);
  return "file                    " + options.file + "\n" + counts + quality.asTable() + time;
}

ExitCode runCheck(const Options& options, Console& console) {
  const Format format = resolveFormat(options.file, parseFormat(options.format), true);
  qvOS::StopWatch watch;
  watch.start();
  qvGeom::CompactMesh mesh;
  readMesh(options.file, format, 0.5, console, mesh);
  qvGeom::MeshCharacteristics characteristics(mesh);
  const Quality quality =
      examine(mesh, characteristics, {!options.noIntersections, options.minAngle}, console);
  const double seconds = watch.stop();
  if (options.json) {
    nlohmann::ordered_json json{{"schema", 1}, {"file", options.file}};
    json.update(quality.asJson());
    json["seconds"] = seconds;
    writeStandardOutput(dump(json));
  } else {
    writeStandardOutput(asTable(options, mesh, quality, seconds));
  }
  return quality.isClean() ? kDone : kDefectsRemain;
}

}  // namespace

Verb makeCheck(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("check", "Test a mesh for defects, and tell what mends them");
  app->add_option("FILE", options->file, "mesh file (.obj, .qvm), or - for standard input")->required();
  app->add_option("--format", options->format, "format of the input: obj or qvm; by default its name tells");
  app->add_option("--min-angle", options->minAngle,
                  "degrees that the two triangles of an edge must enclose; 15 by default")
      ->type_name("DEGREES")
      ->check(angle());
  app->add_flag("--no-intersections", options->noIntersections,
                "do not look for triangles that cross each other");
  app->add_flag("--json", options->json, "print one JSON object instead of a table");
  app->footer(
      "The mesh is tested as it is: vertices at the same position are not merged before. Edges are shown by\n"
      "the numbers of their vertices. The exit code is 1 when a test fails.\n\n"
      "Examples:\n  qvgeom check bunny.obj\n"
      "  qvgeom weld soup.obj --to obj -o - | qvgeom check --json --no-intersections --format obj -");
  return {app, [options](Console& console) { return runCheck(*options, console); }};
}

}  // namespace tool
