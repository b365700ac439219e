#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

enum MeshCurvature : int {
  MeshCurvatureMean = 0,      ///< positive where the surface bends away from its normals, as a sphere does
  MeshCurvatureGaussian = 1,  ///< product of the principal curvatures
  MeshCurvatureMinPrincipal = 2,  ///< the principal curvature of smaller absolute value
  MeshCurvatureMaxPrincipal = 3,  ///< the one of larger absolute value
};

/// Curvature at every vertex of a mesh that was put in place by `matrix`, in 1 / model units or, for the
/// Gaussian curvature, their square.
///
/// A vertex with as many neighbours as triangles is taken for inner: the centre of a closed fan. Its mean
/// curvature comes from the cotangents of the angles opposite to its edges, the Gaussian curvature from the
/// angles around it, both over its share of the triangles' areas. Terms that are not finite, as of triangles
/// without area, count for nothing. The value is 0 where that area is zero, with fewer than two neighbours,
/// and for any other `type`.
///
/// Every other vertex is on a boundary and gets the average over its inner neighbours. One with two
/// neighbours or fewer, a corner, gets that over its neighbours that have more than two. Without such
/// neighbours the value is 0.
///
/// @param mesh   finite vertices; others make the values around them meaningless, and possibly not finite.
///               Its vertex normals decide the sign of the mean curvature, and with it of the principal ones:
///               without normals it is positive
/// @param matrix within `qvLinear::epsilonTolFlt` of the identity it plays no part, and neither does one that
///               is not finite
/// @param out    [V]; finite for finite vertices: what no float can hold becomes the largest of its sign
/// O(V + T), and n log n for a vertex of n triangles; 24 bytes a triangle. On the shared thread pool, with
/// the same result for every number of threads. Prints its counts and seconds on the debug channel. After M.
/// Meyer, M. Desbrun, P. Schroeder, A. Barr, Discrete differential-geometry operators for triangulated
/// 2-manifolds (2003).
QVGEOM_API void meshCurvature(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                              MeshAdjVertices const& adjVertices, qvLinear::AffineMatrixFlt const& matrix,
                              MeshCurvature type, float* out);

}  // namespace qvGeom
