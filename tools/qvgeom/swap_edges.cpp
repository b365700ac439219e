#include <algorithm>
#include <memory>
#include <vector>

#include "mesh_verb.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshEdgeSwapper;

namespace {

// Rounding may have a test prefer each of two diagonals in turn; sweeps would then go on for ever.
constexpr int kMaxSweeps = 1000;

struct Options {
  MeshFiles files;
  bool keepFeatures = false;
};

int swapRepeatedly(qvGeom::TopoMesh& region, MeshEdgeSwapper& swapper, Console& console) {
  int total = 0;
  for (int sweep = 0; sweep < kMaxSweeps; ++sweep) {
    const int swaps = meshSwapEdgesOnce(region, swapper);
    console.throwIfInterrupted();
    if (swaps == 0) break;
    total += swaps;
  }
  return total;
}

// Vertices come back from the region under other numbers, and with nothing but their position.
void mergeWithUVs(CompactMesh& mesh, qvGeom::MeshModifyRep& region) {
  std::vector<qvGeom::MeshUV> uvs;
  if (mesh.getUVs()) uvs.assign(mesh.getUVs(), mesh.getUVs() + mesh.getNumVertices());
  qvGeom::Array<int> vertexMap;
  region.merge(vertexMap, nullptr);
  for (std::size_t v = 0; v < uvs.size(); ++v) mesh.getUVs()[vertexMap[static_cast<int>(v)]] = uvs[v];
}

int swapEdges(CompactMesh& mesh, bool keepFeatures, Console& console) {
  console.progress().setCaption("swapping edges");
  qvGeom::MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
  mesh.getSelectedTriangles().setAllBits();
  mesh.getSelectedVertices().resize(mesh.getNumVertices());
  mesh.getSelectedVertices().setAllBits();
  qvGeom::MeshModifyRep region(mesh, adjTris);
  qvRTB::SignalBase client;
  MeshEdgeSwapper swapper;
  swapper.getVetoSignal().connect(client, MeshEdgeSwapper::minimizeOppositeAngleSum);
  swapper.getVetoSignal().connect(client, MeshEdgeSwapper::preventFoldover);
  swapper.getVetoSignal().connect(client, MeshEdgeSwapper::preserveBoundary);
  if (keepFeatures) swapper.getVetoSignal().connect(client, MeshEdgeSwapper::preserveFeatures);
  const int swaps = swapRepeatedly(region.extract(), swapper, console);
  if (swaps == 0) return 0;  // merging would renumber the mesh for nothing
  mergeWithUVs(mesh, region);
  refreshNormals(mesh);
  return swaps;
}

ExitCode runSwapEdges(const Options& options, Console& console) {
  return rewriteMesh(options.files, console, [&](CompactMesh& mesh) {
    const int swaps = swapEdges(mesh, options.keepFeatures, console);
    console.note(std::to_string(swaps) + (swaps == 1 ? " edge swapped" : " edges swapped"));
  });
}

}  // namespace

Verb makeSwapEdges(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app =
      program.add_subcommand("swap-edges", "Exchange the diagonals of triangle pairs for better shapes");
  options->files.addInput(*app);
  options->files.addOutput(*app);
  app->add_flag("--keep-features", options->keepFeatures,
                "leave the diagonal alone where the surface would bend another way");
  app->footer(
      "An edge is exchanged when that makes the sum of the two angles opposite to it smaller, folds nothing "
      "over\n"
      "and keeps the boundary. Vertices and triangles may be numbered differently afterwards.\n\n"
      "Examples:\n  qvgeom swap-edges scan.obj -o better.obj\n"
      "  qvgeom swap-edges --keep-features part.obj -o better.qvm");
  return {app, [options](Console& console) { return runSwapEdges(*options, console); }};
}

}  // namespace tool
