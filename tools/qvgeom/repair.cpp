#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include "mesh_verb.h"
#include "quality.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshCharacteristics;

namespace {

struct Options {
  MeshFiles files;
  bool selfIntersections = false;
  std::optional<double> angles;
  bool json = false;
};

struct Step {
  std::string defect;
  int triangles[2];  // before and after
  int vertices[2];
  double seconds;
};

class Repair {
 public:
  Repair(CompactMesh& mesh, const Options& options, Console& console)
      : mesh_(mesh), options_(options), console_(console), repair_(mesh) {
    repair_.checkSelfIntersection(options.selfIntersections);
    repair_.checkGoodAngles(options.angles.has_value());
    if (options.angles) repair_.setMinGoodAngle(*options.angles);
  }

  Quality examine() {
    return tool::examine(mesh_, *repair_.getCharacteristics(), {options_.selfIntersections, options_.angles},
                         console_);
  }
  /// @return whether the mesh is clean now
  bool run();
  const std::vector<Step>& steps() const { return steps_; }

 private:
  std::string nextDefect();
  bool step();
  void keepUVs(const std::vector<qvGeom::MeshTriangle>& before);
  void report(const Step& step);

  CompactMesh& mesh_;
  const Options& options_;
  Console& console_;
  qvGeom::MeshRepair repair_;
  std::vector<Step> steps_;
};

bool Repair::run() {
  console_.progress().setCaption("repairing");
  while (step()) console_.throwIfInterrupted();
  if (!steps_.empty()) refreshNormals(mesh_);
  return !repair_.needsRepair();
}

// What the next step mends: the order is that of the steps. Empty when nothing is wrong.
std::string Repair::nextDefect() {
  MeshCharacteristics& found = *repair_.getCharacteristics();
  const auto counted = [](int n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
  };
  if (!found.checkGoodTriangles())
    return counted(found.getNumBadTriangles(), "duplicate or degenerate triangle",
                   "duplicate or degenerate triangles");
  if (!found.checkManifold()) {
    if (const int edges = found.getNumNonManifoldEdges())
      return counted(edges, "non-manifold edge", "non-manifold edges");
    return counted(found.getNumNonManifoldVertices(), "non-manifold vertex", "non-manifold vertices");
  }
  if (!found.checkOriented()) return repair_.hasMobiusStrip() ? "one-sided piece" : "inconsistent winding";
  if (options_.selfIntersections && !found.checkNonIntersecting())
    return counted(static_cast<int>(found.getIntersectingTriangles().numSetBits), "crossing triangle",
                   "crossing triangles");
  if (options_.angles && !found.checkGoodAngles(*options_.angles))
    return counted(found.getNumFoldedTriangles() / 2, "folded edge", "folded edges");
  return "";
}

bool Repair::step() {
  qvOS::StopWatch watch;
  watch.start();
  Step step{nextDefect(), {mesh_.getNumTriangles(), 0}, {mesh_.getNumVertices(), 0}, 0};
  std::vector<qvGeom::MeshTriangle> before;
  if (mesh_.getUVs()) before.assign(mesh_.getTriangles(), mesh_.getTriangles() + mesh_.getNumTriangles());
  if (!repair_.repairOnce()) return false;
  step.triangles[1] = mesh_.getNumTriangles();
  step.vertices[1] = mesh_.getNumVertices();
  if (step.vertices[1] > step.vertices[0]) keepUVs(before);
  step.seconds = watch.stop();
  steps_.push_back(step);
  report(step);
  return true;
}

// A vertex that was split off has no texture coordinates; they are those of the vertex that its triangles had
// before. Splitting leaves the numbers of triangles as they are.
void Repair::keepUVs(const std::vector<qvGeom::MeshTriangle>& before) {
  for (std::size_t t = 0; t < before.size(); ++t) {
    const qvGeom::MeshTriangle& after = mesh_.getTriangles()[t];
    for (int k = 0; k < 3; ++k) mesh_.getUVs()[after[k]] = mesh_.getUVs()[before[t][k]];
  }
}

void Repair::report(const Step& step) {
  char counts[128];
  std::snprintf(counts, sizeof counts, ": triangles %d -> %d, vertices %d -> %d, %.3f s", step.triangles[0],
                step.triangles[1], step.vertices[0], step.vertices[1], step.seconds);
  console_.note("repaired " + step.defect + counts);
}

nlohmann::ordered_json asJson(const CompactMesh& mesh, const Quality& quality) {
  nlohmann::ordered_json json{{"vertices", mesh.getNumVertices()}, {"triangles", mesh.getNumTriangles()}};
  json.update(quality.asJson());
  return json;
}

nlohmann::ordered_json asJson(const std::vector<Step>& steps) {
  auto list = nlohmann::ordered_json::array();
  for (const Step& step : steps)
    list.push_back({{"defect", step.defect},
                    {"trianglesBefore", step.triangles[0]},
                    {"trianglesAfter", step.triangles[1]},
                    {"verticesBefore", step.vertices[0]},
                    {"verticesAfter", step.vertices[1]},
                    {"seconds", step.seconds}});
  return list;
}

ExitCode runRepair(const Options& options, Console& console) {
  if (options.json && options.files.output == "-")
    throw Failure(kUsage, "--json and the mesh cannot both go to standard output");
  bool clean = false;
  nlohmann::ordered_json json{
      {"schema", 1}, {"input", options.files.input}, {"output", options.files.output}};
  qvOS::StopWatch watch;
  watch.start();
  const ExitCode written = rewriteMesh(options.files, console, [&](CompactMesh& mesh) {
    Repair repair(mesh, options, console);
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
  app->add_flag("--self-intersections", options->selfIntersections, "delete triangles that cross each other");
  app->add_option("--angles", options->angles,
                  "delete the triangles at edges where they enclose no more than this")
      ->type_name("DEGREES")
      ->check(angle());
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
