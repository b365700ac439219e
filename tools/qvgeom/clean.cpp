#include <cstdio>
#include <memory>

#include "hole_filling.h"
#include "layout.h"
#include "layout_picture.h"
#include "mesh_repair.h"
#include "mesh_shape.h"
#include "mesh_verb.h"
#include "seams.h"
#include "verbs.h"

namespace tool {

using nlohmann::ordered_json;
using qvGeom::CompactMesh;

namespace {

struct Options {
  MeshFiles files;
  RepairTests tests;
  SeamPlan seams;
  HolePlan holes;
  bool flatten = false;
  std::string picture;
  bool json = false;
};

// What each stage did, and how long it took.
class Journal {
 public:
  explicit Journal(Console& console) : console_(console) { watch_.start(); }

  // Ends a stage: the next one begins. A stage without text is in the report only.
  void finish(const char* stage, const std::string& text, const ordered_json& figures) {
    const double seconds = watch_.clear();
    watch_.start();
    total_ += seconds;
    ordered_json entry{{"stage", stage}};
    entry.update(figures);
    entry["seconds"] = seconds;
    stages_.push_back(entry);
    char time[32];
    std::snprintf(time, sizeof time, ", %.3f s", seconds);
    console_.note(std::string(stage) + ": " + text + time);
  }

  const ordered_json& stages() const { return stages_; }
  double seconds() const { return total_; }

 private:
  Console& console_;
  qvOS::StopWatch watch_;
  ordered_json stages_ = ordered_json::array();
  double total_ = 0;
};

std::string fromTo(const char* what, int before, int after) {
  return std::string(what) + " " + std::to_string(before) + " -> " + std::to_string(after);
}

class Cleaning {
 public:
  Cleaning(CompactMesh& mesh, const Options& options, Journal& journal, Console& console)
      : mesh_(mesh), options_(options), journal_(journal), console_(console) {}

  // Shares of the program's progress, by what the stages take on a scan of some hundred thousand triangles.
  static constexpr double kWeldShare = 0.03, kFillShare = 0.15, kFlattenShare = 0.6;
  static double share(const Options& options) {
    return kWeldShare + kFillShare + (options.flatten ? kFlattenShare : 0);
  }

  /// @return whether nothing is left to be done
  bool run() {
    weld();
    buildRecords();
    bool isClean = repair();
    if (options_.seams.distance > 0) stitch();
    if (options_.holes.quality != "none") isClean = fill() && isClean;
    console_.throwIfInterrupted();
    if (hadNormals_) meshComputeNormals(mesh_);
    if (options_.flatten) isClean = flatten() && isClean;
    return isClean;
  }

 private:
  // Seams of normals and of texture coordinates would be taken for holes, so positions alone decide.
  void weld() {
    hadNormals_ = mesh_.getNormals() != nullptr;
    if (mesh_.getUVs()) console_.note("the texture coordinates of the input are left out");
    mesh_.deleteNormals();
    mesh_.deleteUVs();
    const int before = mesh_.getNumVertices();
    inPhase(console_, kWeldShare, "welding", [&](qvUtil::Progress& phase) { meshCompact(mesh_, phase); });
    const int unused = dropUnusedVertices(mesh_);
    std::string text = fromTo("vertices", before, mesh_.getNumVertices());
    if (unused > 0) text += ", of which " + std::to_string(unused) + " unused";
    journal_.finish(
        "weld", text,
        {{"verticesBefore", before}, {"verticesAfter", mesh_.getNumVertices()}, {"unusedVertices", unused}});
  }

  // Those that the following stages share.
  void buildRecords() {
    console_.progress().setCaption("building records");
    const auto adjTris = cache_.getAdjTris(mesh_);
    console_.throwIfInterrupted();
    cache_.getAdjVertices(mesh_);
    console_.throwIfInterrupted();
    const int loops = cache_.getBoundaries(mesh_)->size();
    console_.throwIfInterrupted();
    if (options_.tests.selfIntersections) cache_.getOctreeTris(mesh_);
    const int pieces = meshComponents(mesh_, *adjTris, nullptr);
    console_.throwIfInterrupted();
    journal_.finish("records", counted(pieces, "component") + ", " + counted(loops, "boundary loop"),
                    {{"components", pieces}, {"boundaryLoops", loops}});
  }

  bool repair() {
    Repair repair(mesh_, options_.tests, console_, &cache_);
    const Quality found = repair.examine();
    journal_.finish("check", found.isClean() ? "clean" : "fails: " + found.failing(), found.asJson());
    const int vertices = mesh_.getNumVertices(), triangles = mesh_.getNumTriangles();
    const bool isClean = repair.run();
    if (!isClean) console_.warn("defects remain: " + repair.examine().failing());
    journal_.finish("repair",
                    fromTo("vertices", vertices, mesh_.getNumVertices()) + ", " +
                        fromTo("triangles", triangles, mesh_.getNumTriangles()),
                    {{"clean", isClean}, {"steps", asJson(repair.steps())}});
    return isClean;
  }

  // Nothing to join is no defect.
  void stitch() {
    const Stitched result = stitchMesh(mesh_, options_.seams, console_);
    journal_.finish("stitch", result.asText(), result.asJson());
  }

  bool fill() {
    const Filling filling = fillHoles(mesh_, options_.holes, kFillShare, console_);
    report(filling, false, console_);
    const int all = static_cast<int>(filling.holes.size());
    journal_.finish("fill",
                    std::to_string(all - filling.numOpen()) + " of " + counted(all, "hole") + ", " +
                        fromTo("vertices", filling.vertices[0], filling.vertices[1]) + ", " +
                        fromTo("triangles", filling.triangles[0], filling.triangles[1]),
                    filling.asJson());
    return filling.numOpen() == 0;
  }

  bool flatten() {
    const Flattened result = flattenMesh(mesh_, true, true, kFlattenShare, console_);
    if (!result.done) {
      console_.warn("the mesh cannot be flattened: " + result.refusal);
      journal_.finish("flatten", "refused", {{"flattened", false}, {"reason", result.refusal}});
      return false;
    }
    const LayoutQuality quality = measureLayout(mesh_, console_);
    ordered_json figures{{"flattened", true}, {"genus", result.genus}, {"cut", result.wasCut}};
    figures.update(quality.asJson());
    journal_.finish("flatten", (result.wasCut ? "cut open, " : "") + quality.asText(), figures);
    return true;
  }

  CompactMesh& mesh_;
  const Options& options_;
  Journal& journal_;
  Console& console_;
  qvGeom::SimpleMeshCache cache_;
  bool hadNormals_ = false;
};

ExitCode runClean(const Options& options, Console& console) {
  if (options.flatten) options.files.requireObj("texture coordinates");
  if (options.json) options.files.refuseStandardOutput();
  LayoutFormat format{};
  if (!options.picture.empty()) format = layoutFormat(options.picture);
  Journal journal(console);
  bool isClean = false;
  const ExitCode written = rewriteMesh(
      options.files, console,
      [&](CompactMesh& mesh) {
        journal.finish("read",
                       std::to_string(mesh.getNumVertices()) + " vertices, " +
                           std::to_string(mesh.getNumTriangles()) + " triangles",
                       {{"vertices", mesh.getNumVertices()}, {"triangles", mesh.getNumTriangles()}});
        isClean = Cleaning(mesh, options, journal, console).run();
        if (!options.picture.empty() && mesh.getUVs())
          writeBytes(layoutPicture(mesh, format), options.picture);
      },
      Cleaning::share(options));
  journal.finish("write", displayName(options.files.output, false), ordered_json::object());
  if (options.json) {
    ordered_json json{{"schema", 1},      {"input", options.files.input}, {"output", options.files.output},
                      {"clean", isClean}, {"stages", journal.stages()},   {"seconds", journal.seconds()}};
    writeStandardOutput(dump(json));
  }
  return isClean ? written : kDefectsRemain;
}

}  // namespace

Verb makeClean(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app =
      program.add_subcommand("clean", "Weld, repair, fill holes and flatten in one go, with a report");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  options->tests.addTo(*app);
  app->add_option("--stitch", options->seams.distance,
                  "join boundaries that run side by side no farther apart than this")
      ->type_name("DISTANCE")
      ->check(CLI::PositiveNumber);
  options->holes.addQuality(*app, "--fill", {"none"});
  options->holes.addMaxLength(*app);
  CLI::Option* flatten = app->add_flag("--flatten", options->flatten, "give it texture coordinates");
  app->add_option("--uv-picture", options->picture, "picture of the layout to write, *.png or *.svg")
      ->type_name("FILE")
      ->needs(flatten);
  app->add_flag("--json", options->json, "print a report of all stages on standard output");
  app->footer(
      "Does what 'weld --ignore-normals', 'repair', 'stitch', 'fill' and 'flatten' do one after another, and "
      "drops\n"
      "vertices that no triangle uses. The output is written in any case; the exit code is 1 when defects\n"
      "remain, a hole stays open or the mesh cannot be flattened.\n\n"
      "Examples:\n  qvgeom clean scan.obj -o clean.obj\n"
      "  qvgeom clean --flatten --uv-picture layout.png --json scan.obj -o clean.obj > report.json");
  return {app, [options](Console& console) { return runClean(*options, console); }};
}

}  // namespace tool
