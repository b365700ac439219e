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

Vector along(TopoMeshEdge e) { return e.end().point() - e.start().point(); }

// The boundary edges from one on as far as a vertex, or all around when that is where it starts; none when
// the way does not lead there.
Edges walkForward(TopoMeshEdge first, TopoMeshVertex to) {
  Edges edges;
  if (!first.isAlive() || first.twin()) return edges;
  TopoMeshEdge e = first;
  do {
    edges.push_back(e);
    const bool arrives = e.end() == to;
    e = boundaryAfter(e);
    if (arrives && (to != first.start() || e == first)) return edges;
  } while (e && e != first);
  return {};
}

template <typename Handle>
bool haveCommon(qv::vector<Handle> a, qv::vector<Handle> b) {
  std::sort(a.begin(), a.end());
  return std::any_of(b.begin(), b.end(), [&](Handle h) { return std::binary_search(a.begin(), a.end(), h); });
}

// The fewest boundary edges that lead forward from one vertex to another, of the ways that the first begins,
// one in each fan; a way that shares an edge with the other chain does not count.
Edges shortestWay(TopoMeshVertex from, TopoMeshVertex to, const Edges& other) {
  Edges shortest;
  if (!from.isAlive()) return shortest;
  for (const TopoMeshEdge e : from.outgoingEdges()) {
    Edges way = walkForward(e, to);
    if (way.empty() || haveCommon(way, other)) continue;
    if (shortest.empty() || way.size() < shortest.size()) shortest = std::move(way);
  }
  return shortest;
}

// The number of the edge that starts nearest to a point, among all but one.
std::size_t nearestTo(const Point& p, const Edges& loop, std::size_t butOne) {
  std::size_t nearest = butOne == 0 ? 1 : 0;
  for (std::size_t i = 0; i < loop.size(); ++i)
    if (i != butOne && distance2(loop[i].start().point(), p) < distance2(loop[nearest].start().point(), p))
      nearest = i;
  return nearest;
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
  // Chain A runs forward from a0, chain B backward to b1: these two edges begin there, and a vertex alone
  // would not tell them from those of its other fans.
  struct Chains {
    TopoMeshEdge firstA, lastB;
    TopoMeshVertex a0, a1, b0, b1;

    Chains(const Edges& a, const Edges& b)
        : firstA(a.front()),
          lastB(b.front()),
          a0(firstA.start()),
          a1(a.back().end()),
          b0(b.back().end()),
          b1(lastB.start()) {}
  };
  struct Pairing {
    Edges a, b;
  };

  void zipAndMerge(double tolerance, bool mergeToo);
  void zip(const Chains& chains, double tolerance);
  bool contractShorter(const Chains& chains);
  bool contract(TopoMeshEdge e, TopoMeshVertex keep);
  void follow(TopoMeshEdge gone, TopoMeshEdge uncovered);
  void zipOn(bool aDone, bool bDone, double tolerance);
  void splitA(const Point& target);
  void splitB(const Point& target);
  static Pairing pairingOf(const Chains& chains);
  void merge(const Pairing& pairing);
  void part(TopoMeshVertex kept, TopoMeshVertex gone);
  void partDoubledEdges(TopoMeshVertex v);

  TopoMesh& mesh_;
  qv::vector<Chains> chains_;     // one after the other: pieces of loops that are zipped in turn
  qv::vector<Pairing> pairings_;  // of each, once all are zipped
  // The edges last walked: A's ends at its cursor's vertex, B's starts there.
  TopoMeshEdge edgeA_, edgeB_;
  Point lastPlaced_;
  Edges doubled_;
};

void MeshStitchSeamImpl::stitch(TopoMeshVertex a0, TopoMeshVertex a1, TopoMeshVertex b0, TopoMeshVertex b1,
                                double tolerance, bool mergeToo) {
  preservedA = true;
  Edges a = shortestWay(a0, a1, {}), b = shortestWay(b1, b0, a);
  if (a.empty() || b.empty()) return;
  preservedA = a.size() >= b.size();
  if (!preservedA) a.swap(b);
  chains_.assign(1, {a, b});
  zipAndMerge(tolerance, mergeToo);
}

void MeshStitchSeamImpl::stitchCircular(TopoMeshVertex a, TopoMeshVertex b, double tolerance, bool mergeToo) {
  preservedA = true;
  Edges loopA = shortestWay(a, a, {}), loopB = shortestWay(b, b, loopA);
  if (loopA.size() < 2 || loopB.size() < 2) return;
  preservedA = loopA.size() >= loopB.size();
  if (!preservedA) loopA.swap(loopB);
  const auto half = loopA.begin() + static_cast<std::ptrdiff_t>(loopA.size() / 2);
  const std::size_t start = nearestTo(loopA.front().start().point(), loopB, loopB.size());
  std::rotate(loopB.begin(), loopB.begin() + static_cast<std::ptrdiff_t>(start), loopB.end());
  const auto halfB = loopB.begin() + static_cast<std::ptrdiff_t>(nearestTo(half->start().point(), loopB, 0));
  chains_.assign(1, {{loopA.begin(), half}, {halfB, loopB.end()}});
  chains_.push_back({{half, loopA.end()}, {loopB.begin(), halfB}});
  zipAndMerge(tolerance, mergeToo);
}

void MeshStitchSeamImpl::zipAndMerge(double tolerance, bool mergeToo) {
  pairings_.clear();
  for (const Chains& chains : chains_) zip(chains, tolerance);
  if (!mergeToo) return;
  for (const Chains& chains : chains_) pairings_.push_back(pairingOf(chains));  // merging takes ends away
  for (const Pairing& pairing : pairings_) merge(pairing);
}

// ---- zipping ----

// Each round does away with a vertex of the two chains as they were.
void MeshStitchSeamImpl::zip(const Chains& chains, double tolerance) {
  const Pairing before = pairingOf(chains);
  if (before.a.empty() || before.b.empty()) return;
  chains.b0.setPoint(chains.a0.point());
  chains.b1.setPoint(chains.a1.point());
  edgeA_ = before.a.front();
  edgeB_ = before.b.front();
  lastPlaced_ = chains.a0.point();
  for (std::size_t rounds = before.a.size() + before.b.size(); rounds > 0 && edgeA_ && edgeB_; --rounds) {
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
  const bool isB = length(walkB) <= length(walkA);
  const TopoMeshEdge e = isB ? edgeB_ : edgeA_;
  const TopoMeshVertex keep = isB ? e.end() : e.start(), gone = isB ? e.start() : e.end();
  if (!isB && keep == chains.a0) return false;
  for (const Chains& c : chains_)
    if (gone == c.a0 || gone == c.a1 || gone == c.b0 || gone == c.b1) return false;
  TopoMeshEdge& current = isB ? edgeB_ : edgeA_;
  current = isB ? boundaryBefore(e) : boundaryAfter(e);
  if (contract(e, keep)) return true;
  current = e;
  return false;
}

bool MeshStitchSeamImpl::contract(TopoMeshEdge e, TopoMeshVertex keep) {
  if (!mesh_.canContractEdge(e, keep)) return false;
  struct Side {
    TopoMeshEdge edge, behind;
  } sides[4];
  for (const int k : {0, 2}) {
    const TopoMeshEdge half = k == 0 ? e : e.twin();
    if (!half) continue;
    sides[k] = {half.next(), half.prev().twin()};
    sides[k + 1] = {half.prev(), half.next().twin()};
  }
  removal.emit(keep == e.start() ? e.end() : e.start());
  mesh_.contractEdge(e, keep);
  for (const Side& side : sides)
    if (side.edge && !side.edge.isAlive()) follow(side.edge, side.behind);
  return true;
}

// Where a triangle goes that has a boundary edge, the twin of its third one comes to the boundary.
void MeshStitchSeamImpl::follow(TopoMeshEdge gone, TopoMeshEdge uncovered) {
  const auto replace = [&](TopoMeshEdge& e) {
    if (e == gone) e = uncovered;
  };
  replace(edgeA_);
  replace(edgeB_);
  for (Chains& c : chains_) {
    replace(c.firstA);
    replace(c.lastB);
  }
  for (Pairing& p : pairings_) {
    std::for_each(p.a.begin(), p.a.end(), replace);
    std::for_each(p.b.begin(), p.b.end(), replace);
  }
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

// Both in the order of A.
MeshStitchSeamImpl::Pairing MeshStitchSeamImpl::pairingOf(const Chains& chains) {
  Pairing pairing{walkForward(chains.firstA, chains.a1), walkForward(chains.lastB, chains.b0)};
  std::reverse(pairing.b.begin(), pairing.b.end());
  return pairing;
}

void MeshStitchSeamImpl::merge(const Pairing& pairing) {
  if (pairing.a.size() != pairing.b.size()) return;  // the zip got stuck: places do not match
  for (std::size_t i = 0; i < pairing.a.size(); ++i) {
    if (!pairing.a[i].isAlive() || !pairing.b[i].isAlive()) continue;
    part(pairing.a[i].start(), pairing.b[i].end());
    if (!pairing.a[i].isAlive() || !pairing.b[i].isAlive()) continue;
    part(pairing.a[i].end(), pairing.b[i].start());
    const TopoMeshEdge a = pairing.a[i], b = pairing.b[i];
    if (!mesh_.canMergeVertices(a, b)) continue;
    if (b.end() != a.start()) removal.emit(b.end());
    if (b.start() != a.end()) removal.emit(b.start());
    mesh_.mergeVertices(a, b);
  }
  for (const TopoMeshEdge a : pairing.a) {
    if (!a.isAlive()) continue;
    for (const TopoMeshVertex v : {a.start(), a.end()}) partDoubledEdges(v);
  }
}

// Two vertices of one triangle cannot be joined: the edge between them, which has no length, is contracted or
// else gets a vertex of its own.
void MeshStitchSeamImpl::part(TopoMeshVertex kept, TopoMeshVertex gone) {
  if (kept == gone) return;
  for (const auto& [from, to] : {std::pair(kept, gone), std::pair(gone, kept)})
    while (const TopoMeshEdge e = mesh_.findEdge(from, to)) {
      if (contract(e, kept)) return;
      if (!splitEdge(mesh_, e, qvLinear::combine(kept.point(), gone.point()))) return;
    }
}

// Both sides may have an edge across the same part of the seam, so that one pair of vertices has two edges
// with different triangles: in a mesh of indices that is one edge of four. All but one, boundaries and seams
// first, get a vertex in the middle.
void MeshStitchSeamImpl::partDoubledEdges(TopoMeshVertex v) {
  doubled_.clear();
  for (const TopoMeshEdge e : v.outgoingEdges()) {
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
