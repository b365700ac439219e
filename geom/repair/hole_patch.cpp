#include "geom/repair/hole_patch.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <utility>

#include "geom/model/keel/tolerances.h"
#include "geom/model/keel/vectors.h"
#include "geom/numeric/conjugate_gradient.h"

namespace qvGeom {

using qvLinear::Point;

// ---- refinement ----

HolePatch::HolePatch(TopoMesh& mesh, qv::vector<TopoMeshFace> faces, qv::vector<double>& scale,
                     qvUtil::Progress& progress)
    : mesh_(mesh),
      faces_(std::move(faces)),
      scale_(scale),
      progress_(progress),
      relaxer_(mesh, faces_.front().firstEdge().number()) {
  const std::uint64_t firstNew = faces_.front().firstEdge().number();
  for (const TopoMeshFace face : faces_)
    for (const TopoMeshEdge e : {face.firstEdge(), face.firstEdge().next(), face.firstEdge().prev()})
      if (e.twin() && e.number() < e.twin().number() && e.number() >= firstNew) relaxer_.add(e);
}

bool HolePatch::refine() {
  for (int pass = 0; pass < kMaxPasses; ++pass) {
    const std::size_t before = inserted_.size();
    if (!refineOnce()) return false;
    if (inserted_.size() == before) break;
    if (!relaxer_.relax(progress_)) return false;
  }
  return true;
}

bool HolePatch::refineOnce() {
  constexpr int kAskEvery = 10000;  // faces; a few milliseconds
  qv::vector<TopoMeshFace> next;
  next.reserve(faces_.size());
  int untilAsk = kAskEvery;
  for (const TopoMeshFace face : faces_) {
    if (--untilAsk == 0) {
      if (progress_.cancelled()) return false;
      untilAsk = kAskEvery;
    }
    const Point centroid = face.centroid();
    const double scale = scaleOf(face);
    if (isTooLarge(face, centroid, scale)) {
      split(face, centroid, scale, next);
    } else {
      next.push_back(face);
    }
  }
  faces_.swap(next);
  return true;
}

double HolePatch::scaleOf(TopoMeshFace face) const {
  const TopoMeshEdge e = face.firstEdge();
  double sum = 0;
  for (const TopoMeshVertex v : {e.start(), e.end(), e.prev().start()}) sum += scale_[v.number()];
  return sum / 3;
}

bool HolePatch::isTooLarge(TopoMeshFace face, const Point& centroid, double scale) const {
  if (!(scale > 0 && std::isfinite(scale))) return false;
  const TopoMeshEdge e = face.firstEdge();
  for (const TopoMeshVertex v : {e.start(), e.end(), e.prev().start()}) {
    const double d = std::numbers::sqrt2 * distance(centroid, v.point());
    if (!(d > scale_[v.number()] && d > scale)) return false;
  }
  return true;
}

void HolePatch::split(TopoMeshFace face, const Point& centroid, double scale,
                      qv::vector<TopoMeshFace>& next) {
  const TopoMeshEdge outer[] = {face.firstEdge(), face.firstEdge().next(), face.firstEdge().prev()};
  const TopoMeshVertex v = mesh_.subdivideFace(face, centroid);
  scale_.resize(v.number() + 1);
  scale_.back() = scale;
  inserted_.push_back(v);
  for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) {
    relaxer_.add(it.get());
    next.push_back(it.get().face());
  }
  for (const TopoMeshEdge e : outer) relaxer_.changed(e);
  for (const TopoMeshEdge e : outer)
    if (relaxer_.contains(e)) relaxer_.swap(e);
}

// ---- fairing ----

namespace {

// The linear system whose unknowns are the coordinates of the new vertices, three in a row for each. A row
// says that the umbrella vectors (the sums of the differences to the neighbours) of the neighbours add up to
// that of the vertex itself, as often as it has neighbours. Vertices on the boundary take no part: their
// umbrellas are cut in half.
class FairingSystem {
 public:
  explicit FairingSystem(const qv::vector<TopoMeshVertex>& unknowns);

  /// @return false when cancelled
  bool build(qvUtil::Progress& progress);
  bool solve(qvUtil::Progress& progress, qvUtil::Progress& phase);
  /// Moves the vertices, unless the solution leaves the range of the mesh's numbers.
  void apply() const;

 private:
  struct Element {
    int column;
    double value;
  };

  // New vertices were created one after another, and are surrounded by faces.
  bool isUnknown(TopoMeshVertex v) const { return v.number() >= firstNumber_; }
  int indexOf(TopoMeshVertex v) const { return static_cast<int>(v.number() - firstNumber_); }
  void findNeighbours(TopoMeshVertex v, qv::vector<TopoMeshVertex>& neighbours) const;
  void addRow(int i);
  void addUmbrella(int i, double weight, TopoMeshVertex v, const qv::vector<TopoMeshVertex>& neighbours);
  void addTerm(int i, double weight, TopoMeshVertex v);
  void moveRowToMatrix(int i);

  const qv::vector<TopoMeshVertex>& unknowns_;
  const std::uint64_t firstNumber_;
  const int numUnknowns_;  // coordinates
  ConjugateGradient solver_;
  NVector b_;
  NVector start_;
  // Of the row in work, which is the same for all three coordinates: elements in the order of their first
  // mention, and the place of each column among them, or -1.
  qv::vector<Element> row_;
  qv::vector<int> places_;
  qv::vector<TopoMeshVertex> neighbours_;
  qv::vector<TopoMeshVertex> neighboursOfNeighbour_;
};

FairingSystem::FairingSystem(const qv::vector<TopoMeshVertex>& unknowns)
    : unknowns_(unknowns),
      firstNumber_(unknowns.front().number()),
      numUnknowns_(3 * static_cast<int>(unknowns.size())),
      solver_(numUnknowns_),
      b_(numUnknowns_),
      start_(numUnknowns_),
      places_(unknowns.size(), -1) {}

bool FairingSystem::build(qvUtil::Progress& progress) {
  constexpr int kAskEvery = 10000;  // rows; some twenty milliseconds
  for (int i = 0; i < static_cast<int>(unknowns_.size()); ++i) {
    if (i % kAskEvery == kAskEvery - 1 && progress.cancelled()) return false;
    for (int d = 0; d < 3; ++d) start_[3 * i + d] = unknowns_[i].point()[d];
    addRow(i);
  }
  return true;
}

void FairingSystem::findNeighbours(TopoMeshVertex v, qv::vector<TopoMeshVertex>& neighbours) const {
  neighbours.clear();
  for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) {
    const TopoMeshVertex n = it.get().end();
    if (isUnknown(n) || !n.onBoundary()) neighbours.push_back(n);
  }
}

void FairingSystem::addRow(int i) {
  findNeighbours(unknowns_[i], neighbours_);
  if (neighbours_.empty()) {
    // Nothing is asked of it, and a zero on the diagonal would spoil all others: it stays where it is.
    for (int d = 0; d < 3; ++d) b_[3 * i + d] = start_[3 * i + d];
    addTerm(i, 1, unknowns_[i]);
  } else {
    addUmbrella(i, -static_cast<double>(neighbours_.size()), unknowns_[i], neighbours_);
    for (const TopoMeshVertex n : neighbours_) {
      findNeighbours(n, neighboursOfNeighbour_);
      addUmbrella(i, 1, n, neighboursOfNeighbour_);
    }
  }
  moveRowToMatrix(i);
}

void FairingSystem::addUmbrella(int i, double weight, TopoMeshVertex v,
                                const qv::vector<TopoMeshVertex>& neighbours) {
  for (const TopoMeshVertex n : neighbours) addTerm(i, weight, n);
  addTerm(i, -static_cast<double>(neighbours.size()) * weight, v);
}

void FairingSystem::addTerm(int i, double weight, TopoMeshVertex v) {
  if (!isUnknown(v)) {
    for (int d = 0; d < 3; ++d) b_[3 * i + d] -= weight * v.point()[d];
    return;
  }
  int& place = places_[indexOf(v)];
  if (place < 0) {
    place = static_cast<int>(row_.size());
    row_.push_back({indexOf(v), 0});
  }
  row_[place].value += weight;
}

void FairingSystem::moveRowToMatrix(int i) {
  for (const Element& element : row_) {
    for (int d = 0; d < 3; ++d) solver_.A().addToElement(3 * i + d, 3 * element.column + d, element.value);
    places_[element.column] = -1;
  }
  row_.clear();
}

bool FairingSystem::solve(qvUtil::Progress& progress, qvUtil::Progress& phase) {
  constexpr int kAskEvery = 100;
  constexpr double kTolerance = qvLinear::epsilonTol;
  solver_.initDiagonalPreconditioner();
  solver_.initialize(b_, start_);
  for (int iteration = 0; iteration < numUnknowns_; ++iteration) {
    if (iteration % kAskEvery == 0) {
      if (progress.cancelled()) return false;
      phase.set((iteration + 1.0) / numUnknowns_);
    }
    if (solver_.iterate(kTolerance, kTolerance).isDone()) {
      phase.set(1);
      break;
    }
  }
  return true;
}

void FairingSystem::apply() const {
  const NVector& x = solver_.x();
  for (int i = 0; i < numUnknowns_; ++i)
    if (!(std::fabs(x[i]) <= std::numeric_limits<float>::max())) return;
  for (int i = 0; i < static_cast<int>(unknowns_.size()); ++i)
    unknowns_[i].setPoint({x[3 * i], x[3 * i + 1], x[3 * i + 2]});
}

}  // namespace

bool HolePatch::fair(qvUtil::Progress& phase) {
  if (inserted_.empty() || inserted_.size() > std::numeric_limits<int>::max() / 3) return true;
  FairingSystem system(inserted_);
  if (!system.build(progress_) || !system.solve(progress_, phase)) return false;
  system.apply();
  return true;
}

}  // namespace qvGeom
