#include <benchmark/benchmark.h>
#include <cstddef>

#include "geom/repair/dihedral_angles.h"
#include "geom/repair/duplicates.h"
#include "geom/repair/repair.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/deletion.h"
#include "geom/topology/region.h"
#include "geom/topology/selection.h"

#include "bench/sizes.h"

namespace qvGeom {
namespace {

// A tenth of the triangles, in one piece, and their vertices.
void selectTenth(CompactMesh& mesh, MeshAdjTris const& adjTris) {
  mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
  mesh.getSelectedVertices().resize(mesh.getNumVertices());
  for (int t = 0; t < mesh.getNumTriangles() / 10; ++t) mesh.getSelectedTriangles().setBit(t);
  MeshSelect(mesh, adjTris).selectVerticesFromTriangles();
}

struct Subject {
  explicit Subject(std::int64_t triangles) : mesh(torusOf(triangles)) { meshAdjTris(mesh, adjTris); }
  CompactMesh mesh;
  MeshAdjTris adjTris;
};

// Decides the maps between mesh and region: the rest of the mesh has to cost next to nothing.
void regionRoundTrip(benchmark::State& state) {
  const Subject subject(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = subject.mesh;
    selectTenth(mesh, subject.adjTris);
    state.ResumeTiming();
    MeshModifyRep region(mesh, subject.adjTris);
    region.extract();
    region.merge();
    if (mesh.getNumTriangles() != subject.mesh.getNumTriangles()) state.SkipWithError("triangles were lost");
  }
  countTriangles(state, subject.mesh);
}
BENCHMARK(regionRoundTrip)->Apply(allSizes);

void deleteTenth(benchmark::State& state) {
  const Subject subject(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    CompactMesh mesh = subject.mesh;
    selectTenth(mesh, subject.adjTris);
    state.ResumeTiming();
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
    if (mesh.getNumTriangles() != subject.mesh.getNumTriangles() - subject.mesh.getNumTriangles() / 10)
      state.SkipWithError("not a tenth was deleted");
  }
  countTriangles(state, subject.mesh);
}
BENCHMARK(deleteTenth)->Apply(allSizes);

// Decides how equal triangles are brought together.
void duplicateTris(benchmark::State& state) {
  const Subject subject(state.range(0));
  MeshDuplicateTrisResult result;
  for (auto _ : state)
    if (meshDuplicateTris(subject.mesh, result)) state.SkipWithError("a torus has no duplicates");
  countTriangles(state, subject.mesh);
}
BENCHMARK(duplicateTris)->Apply(allSizes);

void anglesLessThan(benchmark::State& state) {
  const Subject subject(state.range(0));
  MeshDihedralAnglesResult result;
  for (auto _ : state) {
    meshFindAnglesLessThan(subject.mesh, subject.adjTris, 15, result);
    if (!result.foldedEdges.empty()) state.SkipWithError("a torus has no folds");
  }
  countTriangles(state, subject.mesh);
}
BENCHMARK(anglesLessThan)->Apply(allSizes);

// What it costs to find out that there is nothing to do.
void repairOfClean(benchmark::State& state) {
  Subject subject(state.range(0));
  for (auto _ : state) {
    bool clean = false;
    if (MeshRepair(subject.mesh).repairAll(&clean) || !clean) state.SkipWithError("a torus is clean");
  }
  countTriangles(state, subject.mesh);
}
BENCHMARK(repairOfClean)->Apply(allSizes);

}  // namespace
}  // namespace qvGeom
