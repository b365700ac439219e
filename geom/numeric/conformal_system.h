#pragma once

// The linear system behind flattening. Not part of the public surface.

#include "geom/model/keel/containers.h"
#include "geom/model/keel/progress.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/array_of_sets.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/numeric/conjugate_gradient.h"

namespace qvGeom {

/// Closes a hole in the energy; never part of a mesh.
struct HoleTriangle {
  int vertex[3];
};

/// The normal equations of the conformal energy of a mesh: cotangent weights, and the signed area, which
/// remains on the outer boundary alone. For a free vertex with index f the unknowns are 2 f, its u, and
/// 2 f + 1, its v. Pinned vertices stay where they are.
class ConformalSystem {
 public:
  /// All arguments must outlive the object.
  /// @param points        where the vertices are, of which x and y are the start and the places of the pinned
  /// @param freeIndices   per vertex, ascending from 0; -1 for the pinned ones
  /// @param holeTriangles wound as the mesh
  ConformalSystem(const CompactMesh& mesh, const MeshAdjTris& adjTris,
                  const qv::vector<qvLinear::Point>& points, const qv::vector<int>& freeIndices,
                  const qv::vector<HoleTriangle>& holeTriangles);

  // In this order; each stops early when cancelled.
  void assemble(qvUtil::Progress& progress);
  /// Says on the application's channel how far it is and how it ended. An end short of convergence leaves the
  /// best that was found.
  /// @param factorize whether to precondition with a factorisation of the system
  void solve(bool factorize, qvUtil::Progress& progress);
  /// Appends u and v of every vertex.
  void read(qvUtil::Progress& progress, qv::vector<qvLinear::Point2>& uvs) const;

 private:
  void setupVertex(int i);
  void setupTriangleAround(int i, int const* corners);
  void setupTriangle(int i, int j, int k);
  void addNeighbour(int f, int neighbour, double weight, double turn);
  void keepInPlace(int f);
  void initPreconditioner(bool factorize, qvUtil::Progress& progress);
  bool initFactor(qvUtil::Progress& progress);

  const MeshAdjTris& adjTris_;
  int const* triangles_;  // [T][3]
  const qv::vector<qvLinear::Point>& points_;
  const qv::vector<int>& freeIndices_;
  const qv::vector<HoleTriangle>& holeTriangles_;
  ArrayOfSets holeTrianglesOf_;  // by vertex
  int unknowns_;
  ConjugateGradient solver_;
  NVector b_;
  NVector start_;
};

}  // namespace qvGeom
