// Decides that normals and transforms go over the flat arrays once, without adjacency: a vertex normal must
// cost little more than the triangle normals around it, and a million no more apiece than a hundred thousand.

#include <cmath>

#include "geom/topology/normals.h"
#include "geom/topology/transforms.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

void countVertices(benchmark::State& state, const CompactMesh& mesh) {
  state.SetItemsProcessed(state.iterations() * std::int64_t{mesh.getNumVertices()});
}

bool isUnit(const MeshNormal& n) { return std::fabs(length(n.asVector()) - 1) < 1e-6; }

void computeNormals(benchmark::State& state) {
  CompactMesh mesh = torusOf(state.range(0));
  for (auto _ : state) meshComputeNormals(mesh);
  if (mesh.getNormals()[0].x < 0.99f) state.SkipWithError("the first vertex lies outermost in x");
  countTriangles(state, mesh);
}
BENCHMARK(computeNormals)->Apply(allSizes);

void computeTriangleNormals(benchmark::State& state) {
  CompactMesh mesh = torusOf(state.range(0));
  for (auto _ : state) meshComputeTriangleNormals(mesh);
  if (!isUnit(mesh.getTriangleNormals()[mesh.getNumTriangles() - 1])) state.SkipWithError("unit length");
  countTriangles(state, mesh);
}
BENCHMARK(computeTriangleNormals)->Apply(allSizes);

// The arrays of a torus of the given number of vertices: it has two triangles for each.
void normalize(benchmark::State& state) {
  CompactMesh mesh = torusOf(2 * state.range(0));
  meshComputeNormals(mesh);
  for (auto _ : state) meshNormalize(mesh);
  if (!isUnit(mesh.getNormals()[mesh.getNumVertices() - 1])) state.SkipWithError("unit length");
  countVertices(state, mesh);
}
BENCHMARK(normalize)->Apply(allSizes);

void transform(benchmark::State& state) {
  CompactMesh mesh = torusOf(2 * state.range(0));
  qvLinear::AffineMatrixFlt quarterTurn;
  quarterTurn[0][0] = quarterTurn[1][1] = 0;
  quarterTurn[0][1] = 1;
  quarterTurn[1][0] = -1;
  for (auto _ : state) meshTransform(mesh, quarterTurn);
  const MeshVertex& first = mesh.getVertices()[0];
  if (std::fabs(first.x) + std::fabs(first.y) != 3) state.SkipWithError("turned, not stretched");
  countVertices(state, mesh);
}
BENCHMARK(transform)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
