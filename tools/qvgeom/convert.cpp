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
};

ExitCode runConvert(const Options& options, Console& console) {
  // Both are settled before any work: a typing error must not cost the time of reading.
  const Format from = resolveFormat(options.input, parseFormat(options.format), true);
  const Format to = resolveFormat(options.output, parseFormat(options.to), false);
  qvGeom::CompactMesh mesh;
  readMesh(options.input, from, 0.5, console, mesh);
  writeMesh(mesh, options.output, to, 0.5, console);
  return kDone;
}

}  // namespace

Verb makeConvert(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("convert", "Write a mesh in another format");
  app->add_option("IN", options->input, "mesh file (.obj, .qvm), or - for standard input")->required();
  app->add_option("-o,--output", options->output, "file to write, or - for standard output")->required();
  app->add_option("--format", options->format, "format of the input: obj or qvm; by default its name tells");
  app->add_option("--to", options->to, "format of the output, likewise");
  app->footer(
      "Examples:\n  qvgeom convert bunny.obj -o bunny.qvm\n"
      "  qvgeom convert --format obj --to qvm - -o - < bunny.obj > bunny.qvm");
  return {app, [options](Console& console) { return runConvert(*options, console); }};
}

}  // namespace tool
