#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

// Turning triangles over on request, by exchanging their corners 0 and 1. Twice restores the triangles. Each
// function runs on the calling thread, prints its counts and seconds on the debug channel and sends one
// TopologyModified notice, also when there was nothing to turn. O(V + T).

/// Turns over every triangle, strip and fan. Triangle normals are negated, vertex normals when asked for.
///
/// Strips of odd length are reversed, of length 4 get their inner points exchanged. A longer strip of even
/// length cannot be turned as a whole: it becomes the triangle (p2, p1, p0) and the strip from p1 on, and the
/// strip arrays grow by one strip and two points for each. Strips shorter than 3 hold no triangle and stay.
/// Fans keep their centre and get the other points reversed. Strip and fan lengths add up to their points.
/// @param reverseNormals whether vertex normals point the wrong way too; the notice says normals modified, or
///                       else valid
QVGEOM_API void meshReverseWinding(CompactMesh& mesh, bool reverseNormals);

/// Turns over the piece of the mesh that holds the given triangle: all that is connected to it through shared
/// vertices. The triangle selection then holds that piece. Otherwise as `meshReverseSelectedWinding`.
/// @param adjTris  the record of this mesh
/// @param triangle in [0, T); any other number selects nothing
QVGEOM_API void meshReverseWinding(CompactMesh& mesh, MeshAdjTris const& adjTris, int triangle);

/// Turns over the selected triangles with their triangle normals, and negates the vertex normals at their
/// corners, each once. Strips and fans stay as they are.
QVGEOM_API void meshReverseSelectedWinding(CompactMesh& mesh);

}  // namespace qvGeom
