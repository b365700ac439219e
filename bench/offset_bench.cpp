#include <benchmark/benchmark.h>
#include <cstdint>
#include <memory>

#include "geom/process/offset.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/boundaries.h"
#include "geom/topology/measures.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

struct Subject {
  explicit Subject(std::int64_t triangles) : mesh(torusOf(triangles)) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    octree = std::make_unique<Octree>(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true,
                                      Octree::kDefaultPerLeaf);
    meshAdjTris(mesh, adjTris);
  }
  CompactMesh mesh;
  std::unique_ptr<Octree> octree;
  MeshAdjTris adjTris;
  MeshBoundaries boundaries;
};

// Items are vertices of the input here. The distance leaves all of them, so that nothing but the building of
// the shell counts.
void offsetShell(benchmark::State& state) {
  const Subject s(state.range(0));
  for (auto _ : state) {
    const std::unique_ptr<CompactMesh> shell(
        MeshOffset(s.mesh, *s.octree, s.boundaries, s.adjTris, 1e-3).calculate(true));
    if (shell->getNumTriangles() != 2 * s.mesh.getNumTriangles()) state.SkipWithError("triangles were lost");
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t{s.mesh.getNumVertices()});
}
BENCHMARK(offsetShell)->Apply(allSizes);

// Decides how folds are looked for. A distance beyond the radius of the tube: most of the vertices go.
void offsetLayerThatFolds(benchmark::State& state) {
  const Subject s(state.range(0));
  for (auto _ : state) {
    const std::unique_ptr<CompactMesh> layer(
        MeshOffset(s.mesh, *s.octree, s.boundaries, s.adjTris, 1.2).calculate(false));
    if (layer->getNumVertices() > s.mesh.getNumVertices() / 2) state.SkipWithError("vertices remain");
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t{s.mesh.getNumVertices()});
}
BENCHMARK(offsetLayerThatFolds)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
