#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

namespace cutSurface {

/// Cuts a connected mesh open along edges until it is a disc: along all inner edges that a breadth-first
/// spanning tree of the triangles does not cross. The tree begins with all triangles around vertex 0, or,
/// when no triangle uses it, around the first corner of triangle 0. Neighbours are visited in the order of
/// their edges, so the cut depends on the numbering of the mesh and on nothing else. A mesh that is a disc
/// already is cut too, from its boundary inwards, and stays one piece.
///
/// A vertex on the cut is split once for every further wedge of triangles that the cut separates around it.
/// New vertices follow behind all others, in the order of the vertices that they were split from; they have
/// their position and nothing else (other channels are zero). Triangles keep their number and order; no
/// corner moves. Only the piece that holds the first triangles is cut; others stay whole.
///
/// Sends one notice, of a topology that was modified, without a map; none for a mesh without triangles.
/// Edges of more than two triangles and flipped triangles are cut in some way that depends on nothing but
/// their numbers; the result need be no disc then. At a vertex of the cut, triangles that hang together by no
/// edge get vertices of their own; those that repeat a vertex stay as they are, and nothing is joined to
/// them.
///
/// O(V + T log T). One thread at a time.
QVGEOM_API void makeDisk(CompactMesh& mesh);
/// The same, given up when cancelled. @return false when cancelled: the mesh is as it was
QVGEOM_API bool makeDisk(CompactMesh& mesh, qvUtil::Progress& progress);

}  // namespace cutSurface

}  // namespace qvGeom
