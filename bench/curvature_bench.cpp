// Decides how the fan around a vertex is walked: on a million triangles, at two threads, a vertex should take
// less than a quarter of a microsecond. Moments of a mesh are single passes over its triangles.

#include <cmath>

#include "geom/topology/adjacency.h"
#include "geom/topology/curvature.h"
#include "geom/topology/mass_properties.h"
#include "geom/topology/normals.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

void curvature(benchmark::State& state, MeshCurvature type, float outermost) {
  qvUtil::ThreadPool::get().setNumThreads(static_cast<int>(state.range(1)));
  CompactMesh mesh = torusOf(state.range(0));
  meshComputeNormals(mesh);
  MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  MeshAdjVertices adjVertices;
  meshAdjVertices(mesh, adjTris, adjVertices);
  qv::vector<float> values(static_cast<std::size_t>(mesh.getNumVertices()));
  for (auto _ : state) meshCurvature(mesh, adjTris, adjVertices, {}, type, values.data());
  qvUtil::ThreadPool::get().setNumThreads(1);
  if (std::fabs(values[0] - outermost) > 0.02f) state.SkipWithError("the curvature of a torus");
  state.SetItemsProcessed(state.iterations() * std::int64_t{mesh.getNumVertices()});
}
void sizesAndThreads(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"triangles", "threads"})->ArgsProduct({{10000, 100000, 1000000}, {1, 2}});
  bench->Unit(benchmark::kMillisecond)->UseRealTime();
}
BENCHMARK_CAPTURE(curvature, mean, MeshCurvatureMean, 2.0f / 3)->Apply(sizesAndThreads);
BENCHMARK_CAPTURE(curvature, gaussian, MeshCurvatureGaussian, 1.0f / 3)->Apply(sizesAndThreads);
BENCHMARK_CAPTURE(curvature, maxPrincipal, MeshCurvatureMaxPrincipal, 1.0f)->Apply(sizesAndThreads);

void secondMoments(benchmark::State& state) {
  qv::Reference<CompactMesh> mesh(new CompactMesh(torusOf(state.range(0))));
  qv::list<qv::Reference<CompactMesh>> meshes{mesh};
  const MeshMassCalculator calculator(meshes);
  double x = 0, y = 0, z = 0;
  for (auto _ : state) calculator.calculateSecondMom(x, y, z, MeshMassCalculator::AxisX);
  if (!(x > 0 && std::fabs(x / y - 1) < 0.01)) state.SkipWithError("the axes of a torus");
  countTriangles(state, *mesh);
}
BENCHMARK(secondMoments)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
