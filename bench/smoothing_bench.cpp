#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "geom/process/smoothing.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/normals.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

struct Rough {
  explicit Rough(std::int64_t triangles) : mesh(torusOf(triangles)) {
    for (int v = 0; v < mesh.getNumVertices(); v += 3) mesh.getVertices()[v].z += 1e-4f;
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    meshAdjVertices(mesh, adjTris, adjVertices);
    meshComputeNormals(mesh);
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    mesh.getSelectedVertices().setAllBits();
  }
  // Length of most edges along the tube, which has the shorter ones around.
  double edgeLength() const {
    const double side = std::sqrt(static_cast<double>(mesh.getNumVertices()));
    return 2 * std::numbers::pi * 2 / side;
  }
  CompactMesh mesh;
  MeshAdjVertices adjVertices;
};

// Items are vertices here: a pass has to be bound by memory.
void smoothLaplacian(benchmark::State& state) {
  Rough rough(state.range(0));
  qvUtil::Progress progress;
  for (auto _ : state) meshSmoothLaplacian(rough.mesh, rough.adjVertices, progress);
  if (!std::isfinite(rough.mesh.getVertices()->x)) state.SkipWithError("not finite");
  state.SetItemsProcessed(state.iterations() * std::int64_t{rough.mesh.getNumVertices()});
}
BENCHMARK(smoothLaplacian)->Apply(allSizes);

// Decides the search for neighbours: with about twenty of them it may cost as much as their exponentials.
void smoothBilateral(benchmark::State& state) {
  Rough rough(state.range(0));
  qvUtil::Progress progress;
  for (auto _ : state) meshSmoothBilateral(rough.mesh, rough.adjVertices, 1.7 * rough.edgeLength(), progress);
  if (!std::isfinite(rough.mesh.getVertices()->x)) state.SkipWithError("not finite");
  state.SetItemsProcessed(state.iterations() * std::int64_t{rough.mesh.getNumVertices()});
}
BENCHMARK(smoothBilateral)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
