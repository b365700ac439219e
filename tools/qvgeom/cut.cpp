#include <memory>

#include "mesh_shape.h"
#include "mesh_verb.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;

namespace {

void cut(CompactMesh& mesh, Console& console) {
  const int before = mesh.getNumVertices();
  const Triangles triangles = trianglesOf(mesh);
  inPhase(console, 0.5, "cutting",
          [&](qvUtil::Progress& phase) { qvGeom::cutSurface::makeDisk(mesh, phase); });
  keepChannels(mesh, triangles);
  refreshNormals(mesh);
  const MeshShape shape = shapeOf(mesh, console);
  console.note("cut: vertices " + std::to_string(before) + " -> " + std::to_string(mesh.getNumVertices()) +
               ", " + counted(shape.boundaryEdges, "boundary edge") + " in " +
               counted(shape.boundaryLoops, "loop") + ", Euler number " + std::to_string(shape.euler));
  if (shape.pieces > 1)
    console.warn("the mesh is in " + std::to_string(shape.pieces) + " pieces, of which one was cut");
}

}  // namespace

Verb makeCut(CLI::App& program) {
  auto files = std::make_shared<MeshFiles>();
  CLI::App* app = program.add_subcommand("cut", "Cut a surface open until it is a disc");
  files->addInput(*app);
  files->addOutput(*app);
  app->footer(
      "Cuts along edges until the mesh has one boundary, no hole and no handle. Vertices along the cut are\n"
      "doubled, with their texture coordinates; nothing moves. Welding closes the cut again.\n\n"
      "Examples:\n  qvgeom cut bunny.obj -o open.obj\n"
      "  qvgeom cut torus.obj --to obj -o - | qvgeom flatten --no-weld --format obj - -o torus-uv.obj");
  return {app, [files](Console& console) {
            return rewriteMesh(
                *files, console, [&](CompactMesh& mesh) { cut(mesh, console); }, 0.5);
          }};
}

}  // namespace tool
