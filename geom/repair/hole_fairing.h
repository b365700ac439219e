#pragma once

#include <cstdint>

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
  struct Element {
    int column;
    double value;
  };

  bool isUnknown(TopoMeshVertex v) const { return v.number() >= firstNumber_; }
  int indexOf(TopoMeshVertex v) const { return static_cast<int>(v.number() - firstNumber_); }
  void findNeighbours(TopoMeshVertex v, qv::vector<TopoMeshVertex>& neighbours) const;

  bool build();
  void addRow(int i);
  void addUmbrella(int i, double weight, TopoMeshVertex v, const qv::vector<TopoMeshVertex>& neighbours);
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
  // Of the row in work, which is the same for all three coordinates: elements in the order of their first
  // mention, and the place of each column among them, or -1.
  qv::vector<Element> row_;
  qv::vector<int> places_;
  qv::vector<TopoMeshVertex> neighbours_;
  qv::vector<TopoMeshVertex> neighboursOfNeighbour_;
};

}  // namespace qvGeom
