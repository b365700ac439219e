#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/point_mesh.h"

namespace qvGeom {

// Normals of triangles and vertices. Arrays are flat float triples. Wherever there is no direction to be had
// the normal is (0, 0, 1): computed normals are of unit length, whatever the mesh holds. Indices are assumed
// in range. Operations on whole arrays use the shared thread pool from 10000 elements on; the result is the
// same for every number of threads.

/// Unit normal of a triangle, on the side from which its corners run counter-clockwise: the direction of
/// (c - b) x (a - b). (0, 0, 1) when that product is zero or not finite.
QVGEOM_API qvLinear::Normal triNormal(qvLinear::Point const& a, qvLinear::Point const& b,
                                      qvLinear::Point const& c);

/// The same for a triangle of a mesh, computed in double.
/// @param vertices [V][3]
/// @param triangle three vertex indices
QVGEOM_API qvLinear::Normal meshTriNormal(float const* vertices, int const* triangle);

/// Gives every vertex the direction of the sum of its triangles' unit normals, each counted once per corner
/// whatever the triangle's size; (0, 0, 1) where there are none. Sums are kept in the float array, in
/// triangle order. The normals then count as computed. Prints its counts and sends one notice that normals
/// were modified. Nothing happens without vertices. O(V + T).
QVGEOM_API void meshComputeNormals(CompactMesh& mesh);

/// Gives every triangle its unit normal. Prints its counts and seconds and sends one notice that triangle
/// normals were modified. Nothing happens without triangles. O(T).
QVGEOM_API void meshComputeTriangleNormals(CompactMesh& mesh);

/// Scales n triples to unit length. Those with a squared length of at most `qvLinear::epsilon2Tol` become
/// (0, 0, 1); those that are not finite have no length and come out as NaN. Nothing happens for a null array
/// or n <= 0.
QVGEOM_API void meshNormalize(float* normals, int n);

/// The same for the normals of a mesh. Sends one notice that normals were modified; without normals nothing
/// happens.
QVGEOM_API void meshNormalize(PointMesh& mesh);

}  // namespace qvGeom
