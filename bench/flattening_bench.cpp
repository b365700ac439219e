// Decides the layout of sparse rows and the order of passes in the solver. A product should cost what copying
// its bytes does; setting up the system of a mesh less than a microsecond a triangle; and flattening as a
// whole is the solver's iterations, whose number grows with the number of edges across the mesh.

#include <chrono>
#include <cstring>
#include <limits>

#include "geom/numeric/conformal_system.h"
#include "geom/numeric/flattening.h"
#include "geom/topology/adjacency.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

using Clock = std::chrono::steady_clock;

CompactMesh sheetOf(std::int64_t triangles) {
  const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 2)));
  return shapes::grid(side, side);
}

// The best of several: bytes a second that go out and come in.
double copyRate(std::size_t bytes) {
  std::vector<char> from(bytes / 2, 1), to(bytes / 2);
  double best = std::numeric_limits<double>::max();
  for (int i = 0; i < 20; ++i) {
    const Clock::time_point start = Clock::now();
    std::memcpy(to.data(), from.data(), from.size());
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
    best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
  }
  return static_cast<double>(bytes) / best;
}

// Two interleaved unknowns a vertex, with the stored zeros that a conformal system has. Bytes are those that
// a product cannot do without: twelve for an element of two like rows, and the two vectors.
void sparseProduct(benchmark::State& state) {
  const CompactMesh mesh = sheetOf(state.range(0));
  MeshAdjTris adjTris;
  MeshAdjVertices adjVertices;
  meshAdjTris(mesh, adjTris);
  meshAdjVertices(mesh, adjTris, adjVertices);
  const int n = 2 * mesh.getNumVertices();
  SparseMatrix matrix(n);
  std::int64_t elements = 0;
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    const int valence = adjVertices.numAdjVertices(v);
    elements += 1 + valence;
    for (int k = 0; k < 2; ++k) {
      matrix.addToElement(2 * v + k, 2 * v + k, valence);
      for (int i = 0; i < valence; ++i) {
        const int w = adjVertices.vertexIndices(v)[i];
        matrix.addToElement(2 * v + k, 2 * w + k, -1 - 1e-9 * std::min(v, w));
        matrix.addToElement(2 * v + k, 2 * w + 1 - k, 0);
      }
    }
  }
  NVector x(n), y(n);
  for (int i = 0; i < n; ++i) x[i] = i % 7;
  for (auto _ : state) benchmark::DoNotOptimize(matrix.getMatrixTimesVectorAndDot(x, y));
  const auto bytes = static_cast<std::size_t>(12 * elements + 16 * std::int64_t{n});
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
  state.counters["copy"] = benchmark::Counter(copyRate(bytes), {}, benchmark::Counter::kIs1024);
}
BENCHMARK(sparseProduct)->Arg(10000)->Arg(200000)->Arg(1000000)->Unit(benchmark::kMillisecond);

void conformalAssembly(benchmark::State& state) {
  const CompactMesh mesh = sheetOf(state.range(0));
  MeshAdjTris adjTris;
  meshAdjTris(mesh, adjTris);
  qv::vector<qvLinear::Point> points;
  qv::vector<int> freeIndices;
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    points.push_back(mesh.getVertices()[v].asPoint());
    freeIndices.push_back(v - 2 < 0 ? -1 : v - 2);
  }
  for (auto _ : state) {
    ConformalSystem system(mesh, adjTris, points, freeIndices, {});
    qvUtil::Progress progress;
    system.assemble(progress);
  }
  countTriangles(state, mesh);
}
BENCHMARK(conformalAssembly)->Arg(10000)->Arg(200000)->Unit(benchmark::kMillisecond);

void flatten(benchmark::State& state) {
  CompactMesh mesh = sheetOf(state.range(0));
  for (auto _ : state)
    if (!reparameterizeMesh(mesh).flatten()) state.SkipWithError("refused");
  countTriangles(state, mesh);
}
BENCHMARK(flatten)->Arg(10000)->Arg(20000)->Arg(200000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvGeom
