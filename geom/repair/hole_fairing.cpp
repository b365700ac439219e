#include "geom/repair/hole_fairing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <utility>

#include "geom/model/keel/tolerances.h"
#include "geom/numeric/preconditioners.h"
#include "geom/numeric/sparse_factor.h"

namespace qvGeom {

namespace {

// From here on the system is so stiff that dividing by the diagonal takes thousands of steps: their number
// grows with the number of vertices, the effort with its square.
constexpr int kManyVertices = 1000;

// The system is the square of that of the plain umbrellas, but for those of the loop's vertices. The plain
// one can be solved directly, and twice so.
class TwicePlain : public Preconditioner {
 public:
  // Rounded to floats, since a solution reads all of it and only steers the steps.
  using Factor = SparseFactor<float, 3>;

  explicit TwicePlain(Factor factor) : factor_(std::move(factor)) {}
  void applyInverse(const NVector& r, NVector& z) const override {
    z = r;
    factor_.solve(z.data());
    factor_.solve(z.data());
  }

 private:
  Factor factor_;
};

bool isFinite(const NVector& v) {
  return std::all_of(v.data(), v.data() + v.size(), [](double x) { return std::isfinite(x); });
}

}  // namespace

HoleFairing::HoleFairing(const qv::vector<TopoMeshVertex>& unknowns, qvUtil::Progress& progress)
    : unknowns_(unknowns),
      progress_(progress),
      firstNumber_(unknowns.front().number()),
      numVertices_(static_cast<int>(unknowns.size())),
      size_(3 * numVertices_),
      solver_(size_),
      b_(size_),
      start_(size_),
      places_(unknowns.size(), -1) {}

bool HoleFairing::run(qvUtil::Progress& phase) {
  findNeighbours();
  frame();
  if (!build()) return false;
  if (!isFinite(b_) || !isFinite(start_)) return true;  // no step would ever be the last
  if (!initPreconditioner() || !solve(phase)) return false;
  apply();
  return true;
}

// New vertices are surrounded by faces.
void HoleFairing::appendNeighbours(TopoMeshVertex v, qv::vector<TopoMeshVertex>& neighbours) const {
  for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) {
    const TopoMeshVertex n = it.get().end();
    if (isUnknown(n) || !n.onBoundary()) neighbours.push_back(n);
  }
}

void HoleFairing::findNeighbours() {
  for (const TopoMeshVertex v : unknowns_) {
    appendNeighbours(v, neighbours_);
    starts_.push_back(neighbours_.size());
  }
}

// About the new vertices and what they hang on.
void HoleFairing::frame() {
  origin_ = unknowns_.front().point();
  double extent = 0;
  const auto reach = [&](TopoMeshVertex v) {
    for (int d = 0; d < 3; ++d) extent = std::max(extent, std::fabs(v.point()[d] - origin_[d]));
  };
  for (const TopoMeshVertex v : unknowns_) reach(v);
  for (const TopoMeshVertex v : neighbours_) reach(v);
  if (std::isfinite(extent) && extent > 0) scale_ = std::exp2(-std::ilogb(extent));
}

bool HoleFairing::build() {
  constexpr int kAskEvery = 10000;  // rows; some twenty milliseconds
  for (int i = 0; i < numVertices_; ++i) {
    if (i % kAskEvery == kAskEvery - 1 && progress_.cancelled()) return false;
    const qvLinear::Vector start = inFrame(unknowns_[i]);
    for (int d = 0; d < 3; ++d) start_[3 * i + d] = start[d];
    addRow(i);
  }
  return true;
}

void HoleFairing::addRow(int i) {
  const Neighbours neighbours = neighboursOf(i);
  if (neighbours.empty()) {
    // Nothing is asked of it, and a zero on the diagonal would spoil all others: it stays where it is.
    for (int d = 0; d < 3; ++d) b_[3 * i + d] = start_[3 * i + d];
    addTerm(i, 1, unknowns_[i]);
  } else {
    addUmbrella(i, -static_cast<double>(neighbours.size()), unknowns_[i], neighbours);
    for (const TopoMeshVertex n : neighbours) {
      if (isUnknown(n)) {
        addUmbrella(i, 1, n, neighboursOf(indexOf(n)));
      } else {
        neighboursOfFixed_.clear();
        appendNeighbours(n, neighboursOfFixed_);
        addUmbrella(i, 1, n, neighboursOfFixed_);
      }
    }
  }
  moveRowToMatrix(i);
}

void HoleFairing::addUmbrella(int i, double weight, TopoMeshVertex v, Neighbours neighbours) {
  for (const TopoMeshVertex n : neighbours) addTerm(i, weight, n);
  addTerm(i, -static_cast<double>(neighbours.size()) * weight, v);
}

void HoleFairing::addTerm(int i, double weight, TopoMeshVertex v) {
  if (!isUnknown(v)) {
    const qvLinear::Vector fixed = inFrame(v);
    for (int d = 0; d < 3; ++d) b_[3 * i + d] -= weight * fixed[d];
    return;
  }
  int& place = places_[indexOf(v)];
  if (place < 0) {
    place = static_cast<int>(row_.size());
    row_.push_back({indexOf(v), 0});
  }
  row_[place].value += weight;
}

void HoleFairing::moveRowToMatrix(int i) {
  for (const Element& element : row_) {
    for (int d = 0; d < 3; ++d) solver_.A().addToElement(3 * i + d, 3 * element.column + d, element.value);
    places_[element.column] = -1;
  }
  row_.clear();
}

// @return false when cancelled
bool HoleFairing::initPreconditioner() {
  solver_.initDiagonalPreconditioner();
  if (numVertices_ < kManyVertices) return true;
  SymmetricRows plain;
  qv::vector<qvLinear::Point> points;
  plain.starts.push_back(0);
  for (int i = 0; i < numVertices_; ++i) {
    const Neighbours neighbours = neighboursOf(i);
    for (const TopoMeshVertex n : neighbours) {
      if (!isUnknown(n)) continue;
      plain.columns.push_back(indexOf(n));
      plain.values.push_back(-1);
    }
    plain.starts.push_back(static_cast<int>(plain.columns.size()));
    plain.diagonal.push_back(neighbours.empty() ? 1 : static_cast<double>(neighbours.size()));
    points.push_back(unknowns_[i].point());
  }
  TwicePlain::Factor factor;
  switch (factor.factor(std::move(plain), points, progress_)) {
    case FactorOutcome::cancelled:
      return false;
    case FactorOutcome::notDefinite:
      break;  // no vertex is held by a fixed one
    case FactorOutcome::done:
      solver_.setPreconditioner(std::make_unique<TwicePlain>(std::move(factor)));
  }
  return true;
}

bool HoleFairing::solve(qvUtil::Progress& phase) {
  const int askEvery = numVertices_ < kManyVertices ? 100 : 4;
  constexpr double kTolerance = qvLinear::epsilonTol;
  solver_.initialize(b_, start_);
  for (int iteration = 0; iteration < size_; ++iteration) {
    if (iteration % askEvery == 0) {
      if (progress_.cancelled()) return false;
      phase.set((iteration + 1.0) / size_);
    }
    if (solver_.iterate(kTolerance, kTolerance).isDone()) {
      phase.set(1);
      break;
    }
  }
  return true;
}

void HoleFairing::apply() const {
  qv::vector<qvLinear::Point> points;
  points.reserve(unknowns_.size());
  const NVector& x = solver_.x();
  for (int i = 0; i < numVertices_; ++i) {
    points.push_back(origin_ + 1 / scale_ * qvLinear::Vector(x[3 * i], x[3 * i + 1], x[3 * i + 2]));
    for (int d = 0; d < 3; ++d)
      if (!(std::fabs(points.back()[d]) <= std::numeric_limits<float>::max())) return;
  }
  for (int i = 0; i < numVertices_; ++i) unknowns_[i].setPoint(points[i]);
}

}  // namespace qvGeom
