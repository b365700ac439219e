#pragma once

#include "geom/edit/edge_relaxer.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

/// The triangles that close a hole, to be worked out into a piece of surface like the one around it. The mesh
/// is edited by nobody else meanwhile.
///
/// The density follows P. Liepa, Filling holes in meshes (2003); the fairing, L. Kobbelt, S. Campagna,
/// J. Vorsatz and H.-P. Seidel, Interactive multi-resolution modeling on arbitrary meshes (1998).
class HolePatch {
 public:
  /// @param faces    triangles over the loop, newer than all others; those that are neighbours are twins
  /// @param scale    edge length wanted at a vertex, by its number, set for the vertices of the loop;
  ///                 receives those of new ones
  /// @param progress asked for cancellation, all along
  HolePatch(TopoMesh& mesh, qv::vector<TopoMeshFace> faces, qv::vector<double>& scale,
            qvUtil::Progress& progress);

  /// Splits faces about their centroids until the edges are as long as those around, and relaxes the edges
  /// within the patch. @return false when cancelled
  bool refine();
  /// Moves the new vertices to where the discrete bi-Laplacian vanishes, all others being fixed.
  /// @param phase given the fraction done @return false when cancelled; no vertex has moved then
  bool fair(qvUtil::Progress& phase);

 private:
  // A pass divides lengths by about the root of three: a hundred pass through more than all magnitudes that
  // one mesh can hold. Where a length wanted is zero, splitting would go on for ever.
  static constexpr int kMaxPasses = 100;

  bool refineOnce();
  bool isTooLarge(TopoMeshFace face, const qvLinear::Point& centroid, double scale) const;
  double scaleOf(TopoMeshFace face) const;
  void split(TopoMeshFace face, const qvLinear::Point& centroid, double scale,
             qv::vector<TopoMeshFace>& next);

  TopoMesh& mesh_;
  qv::vector<TopoMeshFace> faces_;
  qv::vector<double>& scale_;
  qvUtil::Progress& progress_;
  MeshEdgeRelaxer relaxer_;  // of the edges between two faces of the patch
  qv::vector<TopoMeshVertex> inserted_;
};

}  // namespace qvGeom
