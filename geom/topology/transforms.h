#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/ranges.h"
#include "geom/model/keel/strings.h"
#include "geom/model/keel/values.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/point_mesh.h"

namespace qvGeom {

// Maps applied to whole arrays, and boxes of triangles.
//
// Finite values stay finite: what would leave the range of floats becomes the largest float of its sign. A
// matrix or transform with an entry that is not finite is refused: nothing changes and nothing is sent.
// Arrays of 10000 elements and more use the shared thread pool; the result is the same for every number of
// threads. A null array, or a count of 0 or less, is left alone.

/// Maps n points, in double.
/// @param points [n][3]
QVGEOM_API void meshTransform(float* points, int n, qvLinear::AffineMatrixFlt const& matrix);

/// Maps n normals so that they stay perpendicular to the surface when its points go through `matrix`, and
/// normalises them as meshNormalize does. A matrix that flattens space to a plane leaves the plane's normal,
/// in either sense, or (0, 0, 1) for normals along the plane; one that leaves less than a plane counts as the
/// identity. A mirroring matrix mirrors the normals, but nobody turns the triangles round.
/// @param normals [n][3]
QVGEOM_API void meshTransformNormals(float* normals, int n, qvLinear::AffineMatrixFlt const& matrix);

/// Maps the vertices of a mesh and its vertex normals, if it has some, and sends one notice that the geometry
/// was modified. A matrix within `qvLinear::epsilonTolFlt` of the identity in every entry does nothing and
/// sends nothing.
QVGEOM_API void meshTransform(PointMesh& mesh, qvLinear::AffineMatrixFlt const& matrix);
/// The same with the triangle normals, if the mesh has some; still one notice.
QVGEOM_API void meshTransform(CompactMesh& mesh, qvLinear::AffineMatrixFlt const& matrix);

/// Maps n pairs of texture coordinates, in float. The identity does nothing.
/// @param uvs [n][2]
QVGEOM_API void meshTransform2d(float* uvs, int n, qvUtil::Transform2d const& transform);

/// Maps the values of a mesh's attribute channel, if it exists and has two components. One notice is sent for
/// the channel "uvs" or "sts", whether the mesh has it or not, and none for other channels. The identity does
/// nothing and sends nothing.
QVGEOM_API void meshTransform2d(PointMesh& mesh, qvString::CString const& channel,
                                qvUtil::Transform2d const& transform);

/// The transform that takes the rectangle `from` onto `to`. Where `from` has no width, or no height, all
/// goes to the minimum of `to`. Both are assumed finite.
QVGEOM_API qvUtil::Transform2d changeOfBasis2d(qvLinear::Range2d const& from, qvLinear::Range2d const& to);

/// The box of a triangle's corners. Coordinates that are not numbers change nothing, as in BoundingBox.
/// @param vertices [V]
QVGEOM_API void meshTriBoundingBox(MeshVertex const* vertices, MeshTriangle const& triangle,
                                   BoundingBox& box);
/// The same for n consecutive triangles, on the calling thread. @param boxes [n]
QVGEOM_API void meshTriBoundingBoxes(MeshVertex const* vertices, MeshTriangle const* triangles, int n,
                                     BoundingBox* boxes);

}  // namespace qvGeom
