#include <memory>

#include "hole_filling.h"
#include "mesh_shape.h"
#include "mesh_verb.h"
#include "quality.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;

namespace {

struct Options {
  MeshFiles files;
  HolePlan plan;
  bool json = false;
};

ExitCode runFill(const Options& options, Console& console) {
  if (options.json) options.files.refuseStandardOutput();
  options.plan.holes.check();
  qvOS::StopWatch watch;
  watch.start();
  Filling filling;
  const ExitCode written = rewriteMesh(
      options.files, console,
      [&](CompactMesh& mesh) { filling = fillHoles(mesh, options.plan, 0.7, console); }, 0.7);
  report(filling, true, console);
  const auto numHoles = static_cast<int>(filling.holes.size());
  console.note("filled " + std::to_string(numHoles - filling.numOpen()) + " of " + counted(numHoles, "hole") +
               ": vertices " + std::to_string(filling.vertices[0]) + " -> " +
               std::to_string(filling.vertices[1]) + ", triangles " + std::to_string(filling.triangles[0]) +
               " -> " + std::to_string(filling.triangles[1]));
  if (options.json) {
    nlohmann::ordered_json json{{"schema", 1},
                                {"input", options.files.input},
                                {"output", options.files.output},
                                {"quality", options.plan.quality}};
    json.update(filling.asJson());
    json["seconds"] = watch.stop();
    writeStandardOutput(dump(json));
  }
  return filling.numOpen() > 0 ? kDefectsRemain : written;
}

}  // namespace

Verb makeFill(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("fill", "Fill holes with triangles");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  options->plan.addQuality(*app, "--quality");
  options->plan.holes.addTo(*app);
  options->plan.addMaxLength(*app);
  app->add_flag("--json", options->json, "print what became of each hole on standard output");
  app->footer(
      "A hole is a boundary loop; loops are numbered by their lowest vertex. The outer border of an open "
      "mesh is\n"
      "one as well. The output is written either way; the exit code is 1 when a chosen hole stays open.\n\n"
      "Examples:\n  qvgeom fill scan.obj -o closed.obj\n"
      "  qvgeom fill --quality fair --holes 1,2 --json mask.obj -o mask-filled.obj");
  return {app, [options](Console& console) { return runFill(*options, console); }};
}

}  // namespace tool
