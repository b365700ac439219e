#include "geom/numeric/conformal_system.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/format.h"
#include "geom/model/keel/tolerances.h"
#include "geom/numeric/sparse_factor.h"

namespace qvGeom {

using qvLinear::epsilonTol;
using qvLinear::Point;
using qvLinear::Point2;
using qvLinear::Vector;
using qvString::formatText;
using qvUtil::Progress;

namespace {

constexpr int kProgressStep = 100;  // iterations or vertices between reports
constexpr int kRowsBetweenQuestions = 1 << 16;

ArrayOfSets byVertex(int numVertices, const qv::vector<HoleTriangle>& triangles) {
  qv::vector<int> pairs;
  pairs.reserve(6 * triangles.size());
  for (std::size_t t = 0; t < triangles.size(); ++t)
    for (const int v : triangles[t].vertex) {
      pairs.push_back(v);
      pairs.push_back(static_cast<int>(t));
    }
  ArrayOfSets sets;
  sets.assignFromPairs(numVertices, static_cast<int>(pairs.size() / 2), pairs.data());
  return sets;
}

// The system is nearly singular where a cut mesh shrinks towards the middle of its layout, so that nothing is
// rounded here.
class Factored : public Preconditioner {
 public:
  using Factor = SparseFactor<double, 1>;

  // A solution of a large system takes longer than a cancellation may wait. The progress is asked as long as
  // the solver steps.
  Factored(Factor factor, Progress& progress) : factor_(std::move(factor)), progress_(progress) {}
  void applyInverse(const NVector& r, NVector& z) const override {
    z = r;
    factor_.solve(z.data(), &progress_);
  }

 private:
  Factor factor_;
  Progress& progress_;
};

}  // namespace

ConformalSystem::ConformalSystem(const CompactMesh& mesh, const MeshAdjTris& adjTris,
                                 const qv::vector<Point>& points, const qv::vector<int>& freeIndices,
                                 const qv::vector<HoleTriangle>& holeTriangles)
    : adjTris_(adjTris),
      triangles_(mesh.getTrianglesRaw()),
      points_(points),
      freeIndices_(freeIndices),
      holeTriangles_(holeTriangles),
      holeTrianglesOf_(byVertex(mesh.getNumVertices(), holeTriangles)),
      unknowns_(2 * mesh.getNumVertices() - 4),
      solver_(unknowns_),
      b_(unknowns_),
      start_(unknowns_) {}

void ConformalSystem::assemble(Progress& progress) {
  const int n = static_cast<int>(points_.size());
  for (int v = 0; v < n; ++v) {
    progress.set(static_cast<double>(v) / n);
    if (progress.cancelled()) return;
    const int f = freeIndices_[v];
    if (f < 0) continue;
    start_[2 * f] = points_[v][0];
    start_[2 * f + 1] = points_[v][1];
    setupVertex(v);
    if (solver_.A().row(2 * f).empty()) keepInPlace(f);
  }
}

// The triangles around a vertex are taken with that vertex first.
void ConformalSystem::setupVertex(int i) {
  int const* around = adjTris_.triIndices(i);
  for (int t = 0; t < adjTris_.numTris(i); ++t) setupTriangleAround(i, triangles_ + 3 * around[t]);
  int const* closing = holeTrianglesOf_.getSet(i);
  for (int t = 0; t < holeTrianglesOf_.getSetSize(i); ++t)
    setupTriangleAround(i, holeTriangles_[closing[t]].vertex);
}

void ConformalSystem::setupTriangleAround(int i, int const* corners) {
  const int at = corners[0] == i ? 0 : corners[1] == i ? 1 : 2;
  setupTriangle(i, corners[(at + 1) % 3], corners[(at + 2) % 3]);
}

// A triangle's share of the equations of its first corner.
void ConformalSystem::setupTriangle(int i, int j, int k) {
  const Vector ij = points_[i] - points_[j], kj = points_[k] - points_[j];
  const Vector ik = points_[i] - points_[k], jk = points_[j] - points_[k];
  const double areaJ = length(cross(ij, kj)), areaK = length(cross(ik, jk));
  if (areaJ < epsilonTol || areaK < epsilonTol) return;
  const double cotK = dot(ik, jk) / areaK;  // weight of the edge i j
  const double cotJ = dot(ij, kj) / areaJ;  // weight of the edge i k
  const int f = freeIndices_[i];
  solver_.A().addToElement(2 * f, 2 * f, cotJ + cotK);
  solver_.A().addToElement(2 * f + 1, 2 * f + 1, cotJ + cotK);
  addNeighbour(f, j, cotK, -1);
  addNeighbour(f, k, cotJ, 1);
}

// The signed area couples u and v; its two terms on an inner edge cancel.
void ConformalSystem::addNeighbour(int f, int neighbour, double weight, double turn) {
  const int u = 2 * f, v = 2 * f + 1;
  const int g = freeIndices_[neighbour];
  if (g < 0) {
    const Point& p = points_[neighbour];
    b_[u] += weight * p[0] - turn * p[1];
    b_[v] += weight * p[1] + turn * p[0];
    return;
  }
  SparseMatrix& A = solver_.A();
  if (std::fabs(weight) >= epsilonTol) {
    A.addToElement(u, 2 * g, -weight);
    A.addToElement(v, 2 * g + 1, -weight);
  }
  A.addToElement(u, 2 * g + 1, turn);
  A.addToElement(v, 2 * g, -turn);
}

// A vertex without any triangle that counts would make the system singular.
void ConformalSystem::keepInPlace(int f) {
  for (const int unknown : {2 * f, 2 * f + 1}) {
    solver_.A().addToElement(unknown, unknown, 1);
    b_[unknown] = start_[unknown];
  }
}

void ConformalSystem::initPreconditioner(bool factorize, Progress& progress) {
  if (factorize && (initFactor(progress) || progress.cancelled())) return;
  if (solver_.A().isMMatrix())
    solver_.initIncompleteCholeskyPreconditioner();
  else
    solver_.initDiagonalPreconditioner();
}

// @return false when the system cannot be factored, or not in time
bool ConformalSystem::initFactor(Progress& progress) {
  SymmetricRows rows;
  const auto elements = static_cast<std::size_t>(solver_.A().nnz());
  rows.columns.reserve(elements);
  rows.values.reserve(elements);
  qv::vector<Point> pointOfRow(static_cast<std::size_t>(unknowns_));
  for (std::size_t v = 0; v < points_.size(); ++v)
    if (const int f = freeIndices_[v]; f >= 0) pointOfRow[2 * f] = pointOfRow[2 * f + 1] = points_[v];
  rows.starts.push_back(0);
  for (int i = 0; i < unknowns_; ++i) {
    if (i % kRowsBetweenQuestions == 0 && progress.cancelled()) return false;
    rows.diagonal.push_back(solver_.A().getElement(i, i));
    for (const SparseElement& element : solver_.A().row(i)) {
      if (element.column == i || element.value == 0) continue;
      rows.columns.push_back(element.column);
      rows.values.push_back(element.value);
    }
    rows.starts.push_back(static_cast<int>(rows.columns.size()));
  }
  Factored::Factor factor;
  if (factor.factor(std::move(rows), pointOfRow, progress) != FactorOutcome::done) return false;
  solver_.setPreconditioner(std::make_unique<Factored>(std::move(factor), progress));
  return true;
}

void ConformalSystem::solve(bool factorize, Progress& progress) {
  qvOS::AppOutput& output = qvOS::AppOutput::getInstance();
  initPreconditioner(factorize, progress);
  if (progress.cancelled() || !solver_.A().prepareProducts(progress)) return;
  solver_.initialize(b_, start_);
  for (int k = 0; k < unknowns_; ++k) {
    if (progress.cancelled()) return;
    if (k % kProgressStep == 0) progress.set(static_cast<double>(k) / unknowns_);
    if (unknowns_ > 100 && k % (unknowns_ / 10) == 0)
      output.info(formatText("Parameterization %5.1f%% complete\n", 90.0 * k / unknowns_ + 5).c_str());
    const ConjugateGradient::Status status = solver_.iterate(epsilonTol, epsilonTol);
    if (!status.isDone()) continue;
    output.info(formatText("Parameterization: CG finished, code = %d\n", status.code()).c_str());
    progress.set(1);
    return;
  }
}

void ConformalSystem::read(Progress& progress, qv::vector<Point2>& uvs) const {
  const int n = static_cast<int>(points_.size());
  uvs.reserve(points_.size());
  for (int v = 0; v < n; ++v) {
    if (v % kProgressStep == 0) {
      progress.set(static_cast<double>(v) / n);
      if (progress.cancelled()) return;
    }
    const int f = freeIndices_[v];
    uvs.push_back(f < 0 ? Point2(points_[v][0], points_[v][1])
                        : Point2(solver_.x()[2 * f], solver_.x()[2 * f + 1]));
  }
}

}  // namespace qvGeom
