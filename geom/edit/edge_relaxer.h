#pragma once

#include <cstddef>
#include <cstdint>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

/// Swaps the edges of a growing set, as meshSwapEdgesRepeatedly does with minimizeOppositeAngleSum as the
/// only test: the same swaps in the same order. An edge is asked again only after the triangles beside it
/// have changed, for the test depends on nothing else. Whoever changes them from outside offers it for a
/// swap.
class MeshEdgeRelaxer {
 public:
  /// @param firstNumber no lower than any half-edge of the set, on either side
  MeshEdgeRelaxer(TopoMesh& mesh, std::uint64_t firstNumber) : mesh_(mesh), firstNumber_(firstNumber) {}

  /// Adds an edge, which has a twin, by the half-edge that gives it its turn in a sweep. Half-edges come in
  /// order of creation.
  void add(TopoMeshEdge e);
  /// Whether the edge of e is in the set, by either side.
  bool contains(TopoMeshEdge e) const { return placeOf(e) >= 0; }

  /// Swaps an edge of the set if that is an improvement.
  void swap(TopoMeshEdge e) { trySwap(placeOf(e)); }
  /// Sweeps until nothing is swapped any more, MeshEdgeSwapper::kMaxSweeps times at most.
  /// @param progress asked for cancellation @return false when cancelled
  bool relax(qvUtil::Progress& progress);

 private:
  using Word = std::uint64_t;
  static constexpr int kWordBits = 64;

  int placeOf(TopoMeshEdge e) const;
  int placeOfSide(TopoMeshEdge side) const;
  int nextPending(int place) const;
  Word& wordOf(int place) { return pending_[static_cast<std::size_t>(place) / kWordBits]; }
  static Word bitOf(int place) { return Word{1} << place % kWordBits; }
  void changed(TopoMeshEdge e);
  bool trySwap(int place);

  TopoMesh& mesh_;
  std::uint64_t firstNumber_;
  qv::vector<TopoMeshEdge> edges_;
  qv::vector<int> places_;    // in edges_, by number of the half-edge; -1 where it is the other side
  qv::vector<Word> pending_;  // a bit for each place: to be asked
};

}  // namespace qvGeom
