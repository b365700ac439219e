#include "geom/repair/stitch_seam.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/lines.h"
#include "geom/repair/edge_split.h"

namespace qvGeom {

using qvLinear::Line;
using qvLinear::Point;
using qvLinear::Vector;

namespace {

using Edges = qv::vector<TopoMeshEdge>;

constexpr double kTurnSlack = 5 * std::numbers::pi / 180;
constexpr double kLargestTurn = std::numbers::pi / 2;

TopoMeshEdge boundaryAfter(TopoMeshEdge e) { return TopoMeshBoundaryIterator(e).nextEdge(); }

TopoMeshEdge boundaryBefore(TopoMeshEdge e) {
  TopoMeshEdge prev, next;
  TopoMeshBoundaryIterator(e).getPrevNextEdges(prev, next);
  return prev;
}

// The boundary edge that enters a vertex; the one that leaves it is where an iterator starts.
TopoMeshEdge boundaryInto(TopoMeshVertex v) { return boundaryBefore(TopoMeshBoundaryIterator(v).get()); }

Vector along(TopoMeshEdge e) { return e.end().point() - e.start().point(); }

// The boundary edges on the way from one vertex forward to another; none when it does not lead there.
Edges forwardEdges(TopoMeshVertex from, TopoMeshVertex to) {
  Edges edges;
  TopoMeshBoundaryIterator it(from);
  const TopoMeshEdge first = it.get();
  for (TopoMeshEdge e = first; e; e = it.nextEdge()) {
    edges.push_back(e);
    if (e.end() == to) return edges;
    if (e.end() == from) break;
  }
  return {};
}

// The same backward.
Edges backwardEdges(TopoMeshVertex from, TopoMeshVertex to) {
  Edges edges;
  for (TopoMeshEdge e = boundaryInto(from); e; e = boundaryBefore(e)) {
    edges.push_back(e);
    if (e.start() == to) return edges;
    if (e.start() == from) break;
  }
  return {};
}

// The vertices of a whole loop, forward from v; none when it does not come back to v.
qv::vector<TopoMeshVertex> loopFrom(TopoMeshVertex v) {
  qv::vector<TopoMeshVertex> vertices;
  for (const TopoMeshEdge e : forwardEdges(v, v)) vertices.push_back(e.start());
  return vertices;
}

TopoMeshVertex nearestTo(const Point& p, const qv::vector<TopoMeshVertex>& vertices) {
  return *std::min_element(vertices.begin(), vertices.end(), [&](TopoMeshVertex a, TopoMeshVertex b) {
    return distance2(a.point(), p) < distance2(b.point(), p);
  });
}

template <typename Handle>
bool haveCommon(qv::vector<Handle> a, qv::vector<Handle> b) {
  std::sort(a.begin(), a.end());
  return std::any_of(b.begin(), b.end(), [&](Handle h) { return std::binary_search(a.begin(), a.end(), h); });
}

}  // namespace

class MeshStitchSeamImpl {
 public:
  explicit MeshStitchSeamImpl(TopoMesh& mesh) : mesh_(mesh) {}

  void stitch(TopoMeshVertex a0, TopoMeshVertex a1, TopoMeshVertex b0, TopoMeshVertex b1, double tolerance,
              bool merge);
  void stitchCircular(TopoMeshVertex a, TopoMeshVertex b, double tolerance, bool merge);

  bool preservedA = true;
  qvRTB::Signal<TopoMeshVertex> removal;

 private:
  // Chain A runs forward from a0 to a1, chain B backward from b0 to b1.
  struct Chains {
    TopoMeshVertex a0, a1, b0, b1;
  };
  struct Pairing {
    Edges a, b;
  };

  void zip(const Chains& chains, double tolerance);
  bool contractShorter(const Chains& chains);
  bool contract(TopoMeshEdge& current, TopoMeshVertex keep, TopoMeshEdge following, TopoMeshEdge apex);
  void zipOn(bool aDone, bool bDone, double tolerance);
  void splitA(const Point& target);
  void splitB(const Point& target);
  static Pairing pairingOf(const Chains& chains);
  void merge(const Pairing& pairing);
  void partDoubledEdges(TopoMeshVertex v);

  TopoMesh& mesh_;
  // The edges last walked: A's ends at its cursor's vertex, B's starts there.
  TopoMeshEdge edgeA_, edgeB_;
  Point lastPlaced_;
  Edges doubled_;
};

void MeshStitchSeamImpl::stitch(TopoMeshVertex a0, TopoMeshVertex a1, TopoMeshVertex b0, TopoMeshVertex b1,
                                double tolerance, bool mergeToo) {
  preservedA = true;
  Chains chains{a0, a1, b0, b1};
  const Pairing before = pairingOf(chains);
  if (before.a.empty() || before.b.empty() || haveCommon(before.a, before.b)) return;
  preservedA = before.a.size() >= before.b.size();
  if (!preservedA) chains = {b1, b0, a1, a0};
  zip(chains, tolerance);
  if (mergeToo) merge(pairingOf(chains));
}

void MeshStitchSeamImpl::stitchCircular(TopoMeshVertex a, TopoMeshVertex b, double tolerance, bool mergeToo) {
  preservedA = true;
  auto loopA = loopFrom(a), loopB = loopFrom(b);
  if (loopA.size() < 2 || loopB.size() < 2 || haveCommon(loopA, loopB)) return;
  preservedA = loopA.size() >= loopB.size();
  if (!preservedA) loopA.swap(loopB);
  const TopoMeshVertex start = loopA[0], half = loopA[loopA.size() / 2];
  const TopoMeshVertex startB = nearestTo(start.point(), loopB);
  std::erase(loopB, startB);  // it cannot be both ends
  const TopoMeshVertex halfB = nearestTo(half.point(), loopB);

  const Chains there{start, half, startB, halfB}, back{half, start, halfB, startB};
  zip(there, tolerance);
  zip(back, tolerance);
  if (!mergeToo) return;
  const Pairing pairingThere = pairingOf(there), pairingBack = pairingOf(back);  // merging takes ends away
  merge(pairingThere);
  merge(pairingBack);
}

// ---- zipping ----

// Each round does away with a vertex of the two chains as they were.
void MeshStitchSeamImpl::zip(const Chains& chains, double tolerance) {
  chains.b0.setPoint(chains.a0.point());
  chains.b1.setPoint(chains.a1.point());
  edgeA_ = TopoMeshBoundaryIterator(chains.a0).get();
  edgeB_ = boundaryInto(chains.b0);
  lastPlaced_ = chains.a0.point();
  while (edgeA_ && edgeB_) {
    const bool aDone = edgeA_.end() == chains.a1, bDone = edgeB_.start() == chains.b1;
    if (aDone && bDone) return;
    if (aDone || bDone || !contractShorter(chains)) zipOn(aDone, bDone, tolerance);
  }
}

// Where the chains turn away from each other.
// @return whether an edge was contracted
bool MeshStitchSeamImpl::contractShorter(const Chains& chains) {
  const Vector walkA = along(edgeA_), walkB = -along(edgeB_);
  if (!(qvLinear::angle(walkA, walkB) + kTurnSlack > kLargestTurn)) return false;
  if (length(walkB) <= length(walkA))
    return contract(edgeB_, edgeB_.end(), boundaryBefore(edgeB_), edgeB_.next());
  if (edgeA_.start() == chains.a0) return false;
  return contract(edgeA_, edgeA_.start(), boundaryAfter(edgeA_), edgeA_.prev());
}

// @param current   becomes the edge behind the one contracted
// @param following that edge
// @param apex      in its place when it goes with the same triangle: its twin then comes to the boundary
bool MeshStitchSeamImpl::contract(TopoMeshEdge& current, TopoMeshVertex keep, TopoMeshEdge following,
                                  TopoMeshEdge apex) {
  if (!mesh_.canContractEdge(current, keep)) return false;
  const TopoMeshEdge uncovered = apex.twin();
  removal.emit(keep == current.start() ? current.end() : current.start());
  mesh_.contractEdge(current, keep);
  current = following.isAlive() ? following : uncovered;
  return true;
}

void MeshStitchSeamImpl::zipOn(bool aDone, bool bDone, double tolerance) {
  const TopoMeshVertex a = edgeA_.end(), b = edgeB_.start();
  if (aDone) return splitA(qvLinear::combine(lastPlaced_, a.point()));
  if (bDone) return splitB(a.point());

  const Line line{edgeA_.start().point(), along(edgeA_)};
  double t = qvLinear::projectParam(b.point(), line);
  if (!std::isfinite(t)) t = 0;
  if (t < 0 || std::fabs(t) < tolerance) return splitA(qvLinear::combine(lastPlaced_, a.point()));
  if (std::fabs(t - 1) < tolerance) {
    lastPlaced_ = a.point();
    b.setPoint(lastPlaced_);
    edgeA_ = boundaryAfter(edgeA_);
    edgeB_ = boundaryBefore(edgeB_);
    return;
  }
  if (t >= 1) return splitB(a.point());
  splitA(line.eval(t));
}

// Gives A a vertex for B's, which moves there.
void MeshStitchSeamImpl::splitA(const Point& target) {
  splitEdge(mesh_, edgeA_, target);
  edgeA_ = boundaryAfter(edgeA_);
  edgeB_.start().setPoint(target);
  edgeB_ = boundaryBefore(edgeB_);
  lastPlaced_ = target;
}

// Gives B a vertex for A's.
void MeshStitchSeamImpl::splitB(const Point& target) {
  splitEdge(mesh_, edgeB_, target);
  edgeA_ = boundaryAfter(edgeA_);
  lastPlaced_ = target;
}

// ---- merging ----

MeshStitchSeamImpl::Pairing MeshStitchSeamImpl::pairingOf(const Chains& chains) {
  if (!chains.a0.isAlive() || !chains.a1.isAlive() || !chains.b0.isAlive() || !chains.b1.isAlive()) return {};
  return {forwardEdges(chains.a0, chains.a1), backwardEdges(chains.b0, chains.b1)};
}

void MeshStitchSeamImpl::merge(const Pairing& pairing) {
  for (std::size_t i = 0; i < std::min(pairing.a.size(), pairing.b.size()); ++i) {
    const TopoMeshEdge a = pairing.a[i], b = pairing.b[i];
    if (!mesh_.canMergeVertices(a, b)) continue;
    if (b.end() != a.start()) removal.emit(b.end());
    if (b.start() != a.end()) removal.emit(b.start());
    mesh_.mergeVertices(a, b);
  }
  for (const TopoMeshEdge a : pairing.a)
    for (const TopoMeshVertex v : {a.start(), a.end()}) partDoubledEdges(v);
}

// Both sides may have an edge across the same part of the seam, so that one pair of vertices has two edges
// with different triangles: in a mesh of indices that is one edge of four. All but one, boundaries and seams
// first, get a vertex in the middle.
void MeshStitchSeamImpl::partDoubledEdges(TopoMeshVertex v) {
  doubled_.clear();
  for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) {
    const TopoMeshEdge e = it.get();
    doubled_.push_back(e);
    if (!e.prev().twin()) doubled_.push_back(e.prev());
  }
  const auto other = [v](TopoMeshEdge e) { return e.start() == v ? e.end() : e.start(); };
  std::stable_sort(doubled_.begin(), doubled_.end(), [&](TopoMeshEdge a, TopoMeshEdge b) {
    return std::pair(other(a), static_cast<bool>(a.twin())) <
           std::pair(other(b), static_cast<bool>(b.twin()));
  });
  for (std::size_t i = 1; i < doubled_.size(); ++i)
    if (const TopoMeshEdge e = doubled_[i]; other(e) == other(doubled_[i - 1]) && e.twin())
      splitEdge(mesh_, e, qvLinear::combine(e.start().point(), e.end().point()));
}

// ---- what is public ----

MeshStitchSeam::MeshStitchSeam(TopoMesh& mesh) : impl_(std::make_unique<MeshStitchSeamImpl>(mesh)) {}
MeshStitchSeam::~MeshStitchSeam() = default;

void MeshStitchSeam::stitch(TopoMeshVertex a0, TopoMeshVertex a1, TopoMeshVertex b0, TopoMeshVertex b1,
                            double tolerance, bool merge) {
  impl_->stitch(a0, a1, b0, b1, tolerance, merge);
}
void MeshStitchSeam::stitchCircular(TopoMeshVertex a, TopoMeshVertex b, double tolerance, bool merge) {
  impl_->stitchCircular(a, b, tolerance, merge);
}
bool MeshStitchSeam::preservedA() const { return impl_->preservedA; }
qvRTB::Signal<TopoMeshVertex>& MeshStitchSeam::vertexRemovalSignal() { return impl_->removal; }

}  // namespace qvGeom
