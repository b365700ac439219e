#include <memory>

#include "mesh_io.h"
#include "verbs.h"

namespace tool {

namespace {

struct Options {
  std::string input;
  std::string output;
  std::string format;
  std::string to;
  bool ignoreNormals = false;
};

ExitCode runWeld(const Options& options, Console& console) {
  const Format from = resolveFormat(options.input, parseFormat(options.format), true);
  const Format to = resolveFormat(options.output, parseFormat(options.to), false);
  qvGeom::CompactMesh mesh;
  readMesh(options.input, from, 0.4, console, mesh);
  // Vertices that merge in spite of their normals have no one normal to keep.
  if (options.ignoreNormals) mesh.deleteNormals();
  qvUtil::Progress phase;
  console.progress().setCaption("welding");
  console.progress().subPhase(0.2, phase);
  meshCompact(mesh, phase);
  console.throwIfInterrupted();
  writeMesh(mesh, options.output, to, 0.4, console);
  return kDone;
}

}  // namespace

Verb makeWeld(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app =
      program.add_subcommand("weld", "Merge vertices with exactly equal position, normal and texture");
  app->add_option("IN", options->input, "mesh file (.obj, .qvm), or - for standard input")->required();
  app->add_option("-o,--output", options->output, "file to write, or - for standard output")->required();
  app->add_flag("--ignore-normals", options->ignoreNormals,
                "go by positions alone; normals are left out of the output");
  app->add_option("--format", options->format, "format of the input: obj or qvm; by default its name tells");
  app->add_option("--to", options->to, "format of the output, likewise");
  app->footer(
      "Examples:\n  qvgeom weld soup.obj -o bunny.obj\n"
      "  qvgeom weld --ignore-normals --format obj --to qvm - -o - < soup.obj > bunny.qvm");
  return {app, [options](Console& console) { return runWeld(*options, console); }};
}

}  // namespace tool
