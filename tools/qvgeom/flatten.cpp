#include <memory>

#include "layout.h"
#include "layout_picture.h"
#include "mesh_verb.h"
#include "quality.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;

namespace {

struct Options {
  MeshFiles files;
  std::string picture;
  bool noCut = false;
  bool noWeld = false;
  bool json = false;
};

ExitCode runFlatten(const Options& options, Console& console) {
  options.files.requireObj("texture coordinates");
  if (options.json) options.files.refuseStandardOutput();
  LayoutFormat format{};
  if (!options.picture.empty()) format = layoutFormat(options.picture);
  qvOS::StopWatch watch;
  watch.start();
  nlohmann::ordered_json json{
      {"schema", 1}, {"input", options.files.input}, {"output", options.files.output}};
  const ExitCode written = rewriteMesh(
      options.files, console,
      [&](CompactMesh& mesh) {
        const Flattened result = flattenMesh(mesh, !options.noCut, !options.noWeld, 0.8, console);
        if (!result.done)
          throw Failure(kNotWritten, displayName(options.files.input, true) +
                                         ": the mesh cannot be flattened: " + result.refusal);
        const LayoutQuality quality = measureLayout(mesh, console);
        console.note("flattened" + std::string(result.wasCut ? ", cut open for it: " : ": ") +
                     quality.asText());
        json["genus"] = result.genus;
        json["cut"] = result.wasCut;
        json.update(quality.asJson());
        if (!options.picture.empty()) writeBytes(layoutPicture(mesh, format), options.picture);
      },
      0.8);
  if (options.json) {
    json["seconds"] = watch.stop();
    writeStandardOutput(dump(json));
  }
  return written;
}

}  // namespace

Verb makeFlatten(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app =
      program.add_subcommand("flatten", "Flatten a mesh to the plane: texture coordinates with true angles");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  app->add_flag("--no-cut", options->noCut,
                "refuse a mesh that would have to be cut: one that is closed or has handles");
  app->add_flag("--no-weld", options->noWeld,
                "leave boundaries open where vertices lie at the same position, as 'qvgeom cut' leaves them");
  app->add_option("--uv-picture", options->picture, "picture of the layout to write, *.png or *.svg")
      ->type_name("FILE");
  app->add_flag("--json", options->json, "print figures of the layout on standard output");
  app->footer(
      "The mesh must be in one piece. One that is closed or has handles is cut open for it, but written "
      "whole:\n"
      "triangles along the cut then reach across the layout. Nothing is written when it is refused.\n\n"
      "Examples:\n  qvgeom flatten mask.obj -o mask-uv.obj --uv-picture layout.png\n"
      "  qvgeom cut bunny.obj --to obj -o - | qvgeom flatten --no-weld --format obj - -o bunny-uv.obj");
  return {app, [options](Console& console) { return runFlatten(*options, console); }};
}

}  // namespace tool
