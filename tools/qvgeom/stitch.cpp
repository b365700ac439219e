#include <memory>

#include "mesh_verb.h"
#include "quality.h"
#include "seams.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;

namespace {

struct Options {
  MeshFiles files;
  SeamPlan plan;
  bool json = false;
};

ExitCode runStitch(const Options& options, Console& console) {
  if (options.json) options.files.refuseStandardOutput();
  options.plan.boundaries.check();
  Stitched result;
  const ExitCode written = rewriteMesh(
      options.files, console, [&](CompactMesh& mesh) { result = stitchMesh(mesh, options.plan, console); });
  console.note(result.asText());
  if (!result.done)
    console.warn(
        "not stitched: fewer than two boundaries are long enough for this distance, or windings disagree");
  if (options.json) {
    nlohmann::ordered_json json{
        {"schema", 1}, {"input", options.files.input}, {"output", options.files.output}};
    json.update(result.asJson());
    writeStandardOutput(dump(json));
  }
  return result.anyJoined ? written : kDefectsRemain;
}

}  // namespace

Verb makeStitch(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("stitch", "Join boundaries that run side by side");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  app->add_option("--distance", options->plan.distance, "how far apart the two sides of a gap may lie")
      ->required()
      ->check(CLI::PositiveNumber);
  app->add_option(
         "--seam", options->plan.seam,
         "share of an edge within which a vertex of the other side moves to its end; beyond, the edge\n"
         "is split")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 0.5));
  options->plan.boundaries.addTo(*app);
  app->add_flag("--json", options->json, "print the counts on standard output");
  app->footer(
      "Vertices at which boundaries meet are split first; loops are then numbered by their lowest vertex.\n"
      "Pieces that face the other way than their neighbours are turned over. The output is written in any\n"
      "case; the exit code is 1 when nothing was joined.\n\n"
      "Examples:\n  qvgeom stitch --distance 0.01 halves.obj -o whole.obj\n"
      "  qvgeom stitch --distance 0.5 --seam 0.2 --boundaries 0,2 --json patches.obj -o joined.obj");
  return {app, [options](Console& console) { return runStitch(*options, console); }};
}

}  // namespace tool
