#include <memory>

#include "mesh_verb.h"
#include "verbs.h"

namespace tool {

namespace {

ExitCode runNormals(const MeshFiles& files, Console& console) {
  files.requireObj("normals");
  return rewriteMesh(files, console, qvGeom::meshComputeNormals);
}

}  // namespace

Verb makeNormals(CLI::App& program) {
  auto files = std::make_shared<MeshFiles>();
  CLI::App* app = program.add_subcommand(
      "normals", "Compute vertex normals: the mean direction of the triangles around each vertex");
  files->addInput(*app);
  files->addOutput(*app);
  app->footer(
      "Normals that the input has are replaced.\n\n"
      "Examples:\n  qvgeom normals bunny.obj -o smooth.obj\n"
      "  qvgeom convert part.qvm --to obj -o - | qvgeom normals --format obj - -o part.obj");
  return {app, [files](Console& console) { return runNormals(*files, console); }};
}

}  // namespace tool
