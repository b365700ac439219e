// The conformal system of the sheet that flattening_bench.cpp flattens, set up and solved by Eigen: conjugate
// gradients with its diagonal preconditioner, to a relative residual of 1e-6, from the plane.

#include <Eigen/IterativeLinearSolvers>
#include <Eigen/SparseCore>
#include <benchmark/benchmark.h>
#include <cmath>
#include <vector>

#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

using Matrix = Eigen::SparseMatrix<double, Eigen::RowMajor>;

struct EigenSystem {
  EigenSystem(const CompactMesh& mesh, int pinned0, int pinned1) {
    std::vector<int> free(static_cast<std::size_t>(mesh.getNumVertices()));
    int next = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) free[v] = v == pinned0 || v == pinned1 ? -1 : next++;
    A.resize(2 * next, 2 * next);
    b = start = Eigen::VectorXd::Zero(2 * next);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
      if (free[v] < 0) continue;
      start[2 * free[v]] = mesh.getVertices()[v].x;
      start[2 * free[v] + 1] = mesh.getVertices()[v].y;
    }
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
      for (int k = 0; k < 3; ++k) {
        int const* corners = mesh.getTriangles()[t].v;
        const int i = corners[k], j = corners[(k + 1) % 3], opposite = corners[(k + 2) % 3];
        const qvLinear::Point p = mesh.getVertices()[opposite].asPoint();
        const qvLinear::Vector a = mesh.getVertices()[i].asPoint() - p,
                               c = mesh.getVertices()[j].asPoint() - p;
        const double weight = dot(a, c) / length(cross(a, c));
        addEdge(mesh, j, free[i], free[j], weight, -1);
        addEdge(mesh, i, free[j], free[i], weight, 1);
      }
    A.setFromTriplets(elements.begin(), elements.end());
  }

  void addEdge(const CompactMesh& mesh, int neighbour, int f, int g, double weight, double turn) {
    if (f < 0) return;
    for (int k = 0; k < 2; ++k) elements.emplace_back(2 * f + k, 2 * f + k, weight);
    const int u = 2 * f, v = 2 * f + 1;
    if (g >= 0) {
      for (int k = 0; k < 2; ++k) elements.emplace_back(2 * f + k, 2 * g + k, -weight);
      elements.emplace_back(u, 2 * g + 1, turn);
      elements.emplace_back(v, 2 * g, -turn);
      return;
    }
    const MeshVertex& p = mesh.getVertices()[neighbour];
    b[u] += weight * p.x - turn * p.y;
    b[v] += weight * p.y + turn * p.x;
  }

  std::vector<Eigen::Triplet<double>> elements;
  Matrix A;
  Eigen::VectorXd b, start;
};

void flattenEigen(benchmark::State& state) {
  const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(state.range(0)) / 2)));
  const CompactMesh mesh = shapes::grid(side, side);
  for (auto _ : state) {
    const EigenSystem system(mesh, 0, side);
    Eigen::ConjugateGradient<Matrix, Eigen::Lower | Eigen::Upper> solver;
    solver.setTolerance(1e-6);
    solver.setMaxIterations(system.A.rows());
    solver.compute(system.A);
    const Eigen::VectorXd x = solver.solveWithGuess(system.b, system.start);
    if (solver.info() != Eigen::Success) state.SkipWithError("no convergence");
    benchmark::DoNotOptimize(x.data());
  }
  state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}
BENCHMARK(flattenEigen)->Arg(10000)->Arg(20000)->Arg(200000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvGeom
