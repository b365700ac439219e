#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/lines.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/frustum.h"
#include "geom/model/trellis/octree.h"

namespace qvGeom {

/// Picks a triangle under the line of sight of a view volume: the first one that the line hits in the order
/// of the walk, which goes through the leaf voxels that meet the volume, front to back, through the vertices
/// of each and through the triangles around each. Not always the nearest; hits behind the start of the line
/// count too. Prints where, or that there is none.
/// @param vertexOctree over the vertices of this mesh, as `adjTris`; with others nothing is hit
/// @param hit, tri     the point, and the triangle's number unless null; written on a hit only
/// O(V) bits of memory per call.
QVGEOM_API bool meshRayIntersect(CompactMesh const& mesh, Octree const& vertexOctree,
                                 MeshAdjTris const& adjTris, Frustum const& frustum, qvLinear::PointFlt& hit,
                                 int* tri);

/// A line against one triangle of a mesh, by the rules of intersectRayTriangle: both sides, also behind the
/// line's origin, which is rounded to single precision. @param hit written on a hit only
QVGEOM_API bool meshRayTriIntersect(CompactMesh const& mesh, int tri, const qvLinear::Line& line,
                                    qvLinear::PointFlt& hit);
QVGEOM_API bool meshRayTriIntersect(CompactMesh const& mesh, int tri, const qvLinear::Line& line,
                                    qvLinear::Point& hit);

/// Whether no plane of the volume has the point more than `qvLinear::epsilonTol` outside.
QVGEOM_API bool pointFrustumIntersect(const qvLinear::Point& p, Frustum const& frustum);

/// Whether a segment meets a view volume. @param hit on true: `a` when one of the ends is inside, else where
/// the segment crosses the first side, in a fixed order of two triangles each, that it hits
QVGEOM_API bool lineFrustumIntersect(const qvLinear::PointFlt& a, const qvLinear::PointFlt& b,
                                     Frustum const& frustum, qvLinear::PointFlt& hit);
QVGEOM_API bool lineFrustumIntersect(const qvLinear::PointFlt& a, const qvLinear::PointFlt& b,
                                     Frustum const& frustum);

}  // namespace qvGeom
