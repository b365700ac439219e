#include <memory>

#include "mesh_verb.h"
#include "verbs.h"

namespace tool {

namespace {

struct Options {
  MeshFiles files;
  bool ignoreNormals = false;
};

ExitCode runWeld(const Options& options, Console& console) {
  return rewriteMesh(options.files, console, [&](qvGeom::CompactMesh& mesh) {
    // Vertices that merge in spite of their normals have no one normal to keep.
    if (options.ignoreNormals) mesh.deleteNormals();
    qvUtil::Progress phase;  // listens for Ctrl-C; next to reading and writing the welding takes no time
    console.progress().setCaption("welding");
    console.progress().subPhase(0, phase);
    meshCompact(mesh, phase);
  });
}

}  // namespace

Verb makeWeld(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app =
      program.add_subcommand("weld", "Merge vertices with exactly equal position, normal and texture");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  app->add_flag("--ignore-normals", options->ignoreNormals,
                "go by positions alone; normals are left out of the output");
  app->footer(
      "Examples:\n  qvgeom weld soup.obj -o bunny.obj\n"
      "  qvgeom weld --ignore-normals --format obj --to qvm - -o - < soup.obj > bunny.qvm");
  return {app, [options](Console& console) { return runWeld(*options, console); }};
}

}  // namespace tool
