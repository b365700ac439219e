#include <memory>

#include "mesh_verb.h"
#include "verbs.h"

namespace tool {

Verb makeConvert(CLI::App& program) {
  auto files = std::make_shared<MeshFiles>();
  CLI::App* app = program.add_subcommand("convert", "Write a mesh in another format");
  files->addInput(*app);
  files->addOutput(*app);
  app->footer(
      "Examples:\n  qvgeom convert bunny.obj -o bunny.qvm\n"
      "  qvgeom convert --format obj --to qvm - -o - < bunny.obj > bunny.qvm");
  return {app,
          [files](Console& console) { return rewriteMesh(*files, console, [](qvGeom::CompactMesh&) {}); }};
}

}  // namespace tool
