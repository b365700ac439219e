#include "geom/edit/edge_relaxer.h"

#include <bit>

#include "geom/edit/edge_swap.h"

namespace qvGeom {

void MeshEdgeRelaxer::add(TopoMeshEdge e) {
  const int place = static_cast<int>(edges_.size());
  edges_.push_back(e);
  places_.resize(static_cast<std::size_t>(e.number() - firstNumber_) + 1, -1);
  places_.back() = place;
  if (place % kWordBits == 0) pending_.push_back(0);
  wordOf(place) |= bitOf(place);
}

int MeshEdgeRelaxer::placeOfSide(TopoMeshEdge side) const {
  const std::uint64_t number = side.number();  // 0 for null
  if (number < firstNumber_ || number - firstNumber_ >= places_.size()) return -1;
  return places_[static_cast<std::size_t>(number - firstNumber_)];
}

int MeshEdgeRelaxer::placeOf(TopoMeshEdge e) const {
  const int place = placeOfSide(e);
  return place >= 0 ? place : placeOfSide(e.twin());
}

void MeshEdgeRelaxer::changed(TopoMeshEdge e) {
  const int place = placeOf(e);
  if (place >= 0) wordOf(place) |= bitOf(place);
}

bool MeshEdgeRelaxer::trySwap(int place) {
  const TopoMeshEdge e = edges_[place];
  bool veto = false;
  MeshEdgeSwapper::minimizeOppositeAngleSum(e, veto);
  wordOf(place) &= ~bitOf(place);
  if (veto) return false;
  if (!mesh_.swapEdge(e)) {
    // An edge elsewhere is in the way, and may be gone in the next sweep.
    wordOf(place) |= bitOf(place);
    return false;
  }
  // The swapped edge itself need not be asked: its sums have changed places.
  for (const TopoMeshEdge side : {e, e.twin()}) {
    changed(side.next());
    changed(side.prev());
  }
  return true;
}

int MeshEdgeRelaxer::nextPending(int place) const {
  const int end = static_cast<int>(edges_.size());
  if (place >= end) return end;
  std::size_t i = static_cast<std::size_t>(place) / kWordBits;
  Word word = pending_[i] & ~Word{0} << place % kWordBits;
  while (word == 0) {
    if (++i == pending_.size()) return end;
    word = pending_[i];
  }
  return static_cast<int>(i) * kWordBits + std::countr_zero(word);
}

bool MeshEdgeRelaxer::relax(qvUtil::Progress& progress) {
  constexpr int kAskEvery = 10000;  // edges; about a millisecond
  const int end = static_cast<int>(edges_.size());
  int untilAsk = kAskEvery;
  for (int sweep = 0; sweep < MeshEdgeSwapper::kMaxSweeps; ++sweep) {
    int swaps = 0;
    for (int place = nextPending(0); place < end; place = nextPending(place + 1)) {
      if (--untilAsk == 0) {
        if (progress.cancelled()) return false;
        untilAsk = kAskEvery;
      }
      swaps += trySwap(place);
    }
    if (swaps == 0) break;
  }
  return true;
}

}  // namespace qvGeom
