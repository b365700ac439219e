#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/lines.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/mesh_coord.h"

namespace qvGeom {

/// Picks the triangle that a line hits first, among those that may meet a window on the screen.
///
/// Vertices are projected in single precision and divided by w; a triangle with all corners to one side of
/// the window is passed over. The line is tested from both sides of the triangles (intersectRayTriangle) from
/// its origin, rounded to single precision; hits behind the origin count, and the smallest parameter wins,
/// the lowest triangle on a tie.
/// @param x, y, halfSize centre of the window and half its side, in the units that `m` projects to
/// @param line           the pick line, in space
/// @return weights and number of the triangle; (0, 0, 0, -1) when nothing was hit
///
/// A triangle that reaches behind the eye is projected as it stands and may be missed. O(V + T) on the thread
/// pool; the result does not depend on the number of threads. One call at a time; the mesh may be read by
/// others meanwhile.
QVGEOM_API MeshCoord meshRayIntersectScreen(const CompactMesh& mesh, const qvLinear::ProjMatrixFlt& m, int x,
                                            int y, int halfSize, const qvLinear::Line& line);
/// The same for the window [-1, 1] x [-1, 1], the whole view in clip space.
QVGEOM_API MeshCoord meshRayIntersectScreen(const CompactMesh& mesh, const qvLinear::ProjMatrixFlt& m,
                                            const qvLinear::Line& line);

}  // namespace qvGeom
