#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/topo_mesh.h"
#include "geom/numeric/conjugate_gradient.h"
#include "geom/numeric/n_vector.h"

namespace qvGeom {

/// Moves the new vertices of a hole's patch to where the discrete bi-Laplacian vanishes, all others being
/// fixed: the sum of the umbrella vectors (differences to the neighbours, added up) of a vertex's neighbours
/// is that of the vertex itself, as often as it has neighbours. Vertices on the boundary take no part, since
/// their umbrellas are cut in half.
class HoleFairing {
 public:
  /// @param unknowns at least one, created one after another and after all others
  /// @param progress asked for cancellation
  HoleFairing(const qv::vector<TopoMeshVertex>& unknowns, qvUtil::Progress& progress);

  /// The vertices stay where a result leaves the range of a float. @param phase given the fraction done
  /// @return false when cancelled; no vertex has moved then
  bool run(qvUtil::Progress& phase);

 private:
  using Neighbours = std::span<const TopoMeshVertex>;
  struct Element {
    int column;
    double value;
  };

  bool isUnknown(TopoMeshVertex v) const { return v.number() >= firstNumber_; }
  int indexOf(TopoMeshVertex v) const { return static_cast<int>(v.number() - firstNumber_); }
  /// Those that are not on the boundary, in the order about v.
  void appendNeighbours(TopoMeshVertex v, qv::vector<TopoMeshVertex>& neighbours) const;
  Neighbours neighboursOf(int i) const {
    return {neighbours_.data() + starts_[i], neighbours_.data() + starts_[i + 1]};
  }

  void findNeighbours();
  void frame();
  qvLinear::Vector inFrame(TopoMeshVertex v) const { return scale_ * (v.point() - origin_); }
  bool build();
  void addRow(int i);
  void addUmbrella(int i, double weight, TopoMeshVertex v, Neighbours neighbours);
  void addTerm(int i, double weight, TopoMeshVertex v);
  void moveRowToMatrix(int i);

  bool initPreconditioner();
  bool solve(qvUtil::Progress& phase);
  void apply() const;

  const qv::vector<TopoMeshVertex>& unknowns_;
  qvUtil::Progress& progress_;
  const std::uint64_t firstNumber_;
  const int numVertices_;
  const int size_;  // of the system, whose unknowns are the coordinates, three in a row for each vertex
  ConjugateGradient solver_;
  NVector b_;
  NVector start_;
  qv::vector<TopoMeshVertex> neighbours_;  // of all unknowns, one after another
  qv::vector<std::size_t> starts_{0};
  qv::vector<TopoMeshVertex> neighboursOfFixed_;
  // The solver's bounds are absolute: it works near the origin and at a size of about one.
  qvLinear::Point origin_;
  double scale_ = 1;  // a power of two, which keeps the digits
  // Of the row in work, which is the same for all three coordinates: elements in the order of their first
  // mention, and the place of each column among them, or -1.
  qv::vector<Element> row_;
  qv::vector<int> places_;
};

}  // namespace qvGeom
