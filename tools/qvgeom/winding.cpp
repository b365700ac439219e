// The verbs orient and reverse.

#include <memory>

#include "mesh_verb.h"
#include "verbs.h"

namespace tool {

namespace {

ExitCode runOrient(const MeshFiles& files, Console& console) {
  bool oriented = false;
  const ExitCode written = rewriteMesh(files, console, [&](qvGeom::CompactMesh& mesh) {
    qvGeom::MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    qvGeom::MeshOrient orient(mesh, adjTris);
    oriented = orient.isOriented();
    if (oriented) return;
    orient.orient();
    oriented = orient.isOriented();
    refreshNormals(mesh);
    if (!oriented)
      console.warn(displayName(files.input, true) +
                   ": a part is one-sided, or has an edge with three triangles; it cannot be oriented");
  });
  return oriented ? written : kDefectsRemain;
}

ExitCode runReverse(const MeshFiles& files, Console& console) {
  return rewriteMesh(files, console, [](qvGeom::CompactMesh& mesh) { meshReverseWinding(mesh, true); });
}

}  // namespace

Verb makeOrient(CLI::App& program) {
  auto files = std::make_shared<MeshFiles>();
  CLI::App* app = program.add_subcommand("orient", "Turn triangles until neighbours are wound alike");
  files->addInput(*app);
  files->addOutput(*app);
  app->footer(
      "In each part that hangs together by edges, the lowest triangle stays as it is. A mesh that cannot be\n"
      "oriented is written as far as it was turned, and the exit code is 1.\n\n"
      "Examples:\n  qvgeom orient scan.obj -o oriented.obj\n"
      "  qvgeom weld soup.obj --to obj -o - | qvgeom orient --format obj - -o oriented.obj");
  return {app, [files](Console& console) { return runOrient(*files, console); }};
}

Verb makeReverse(CLI::App& program) {
  auto files = std::make_shared<MeshFiles>();
  CLI::App* app = program.add_subcommand("reverse", "Turn over every triangle, and the normals with them");
  files->addInput(*app);
  files->addOutput(*app);
  app->footer(
      "Examples:\n  qvgeom reverse inside_out.obj -o part.obj\n"
      "  qvgeom orient part.obj --to qvm -o - | qvgeom reverse --format qvm - -o part.qvm");
  return {app, [files](Console& console) { return runReverse(*files, console); }};
}

}  // namespace tool
