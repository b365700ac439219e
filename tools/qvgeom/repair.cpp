#include <memory>

#include "mesh_repair.h"
#include "mesh_verb.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;

namespace {

struct Options {
  MeshFiles files;
  RepairTests tests;
  bool json = false;
};

nlohmann::ordered_json asJson(const CompactMesh& mesh, const Quality& quality) {
  nlohmann::ordered_json json{{"vertices", mesh.getNumVertices()}, {"triangles", mesh.getNumTriangles()}};
  json.update(quality.asJson());
  return json;
}

ExitCode runRepair(const Options& options, Console& console) {
  if (options.json) options.files.refuseStandardOutput();
  bool clean = false;
  nlohmann::ordered_json json{
      {"schema", 1}, {"input", options.files.input}, {"output", options.files.output}};
  qvOS::StopWatch watch;
  watch.start();
  const ExitCode written = rewriteMesh(options.files, console, [&](CompactMesh& mesh) {
    Repair repair(mesh, options.tests, console);
    nlohmann::ordered_json before;
    if (options.json) before = asJson(mesh, repair.examine());
    clean = repair.run();
    // The tests that tell were made; this adds those behind the first that failed.
    const bool needsReport = options.json || !clean;
    const Quality after = needsReport ? repair.examine() : Quality();
    if (!clean) console.warn("defects remain: " + after.failing());
    if (!options.json) return;
    json["clean"] = clean;
    json["steps"] = asJson(repair.steps());
    json["before"] = before;
    json["after"] = asJson(mesh, after);
  });
  if (options.json) {
    json["seconds"] = watch.stop();
    writeStandardOutput(dump(json));
  }
  return clean ? written : kDefectsRemain;
}

}  // namespace

Verb makeRepair(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app =
      program.add_subcommand("repair", "Mend the defects that check finds, one kind after another");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  options->tests.addTo(*app);
  app->add_flag("--json", options->json, "print a report of before and after on standard output");
  app->footer(
      "Deletes duplicate, degenerate and surplus triangles, splits non-manifold vertices, orients, and "
      "deletes\n"
      "one-sided pieces. Holes stay where triangles went. The output is written either way; the exit code is "
      "1\n"
      "when defects remain.\n\n"
      "Examples:\n  qvgeom repair scan.obj -o clean.obj\n"
      "  qvgeom repair --self-intersections --angles 15 --json part.obj -o clean.qvm > report.json");
  return {app, [options](Console& console) { return runRepair(*options, console); }};
}

}  // namespace tool
