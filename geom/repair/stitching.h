#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

/// Closes gaps between boundaries that run side by side, as where a mesh was put together from pieces.
///
/// The loops are sampled at a fifth of the distance tolerance; those with fewer than ten samples take no
/// part. Stretches of them that lie within the tolerance of each other (MeshLineTopology) are zipped together
/// (MeshStitchSeam). Pieces whose winding disagrees with that of their neighbours are turned over first;
/// stretches that cannot be made to agree stay open. A loop passes each of its vertices once, and is cut
/// short where boundaries meet in one: meshMakeManifold, before, makes them whole.
///
/// @param boundaries numbers of the loops, in any order; those out of range are passed over, and one that is
///   given twice counts once
/// @param distanceTolerance how far the sides of a gap may lie apart, in model units
/// @param seamTolerance how near to the end of an edge a vertex of the other side is taken for it, as a share
///   of the edge's length
/// @return whether the stitching was carried out, also when it found nothing to zip. False, with the mesh
///   as it was, when fewer than two loops have ten samples, a tolerance or a coordinate of a loop will not do
///   (not finite; a distance that is not positive), or there would be more than 2^26 samples, which take
///   gigabytes; false, with the turned pieces staying turned, when windings still disagree after one pass
///   over them
///
/// Changes the mesh by at most one notice for each piece turned over and one MeshModifyRep::merge, of which
/// all that is said there holds; the records describe the mesh as it was. O(V + T + n log n) for n samples.
/// Same result for any number of threads. One thread at a time.
QVGEOM_API bool meshStitch(CompactMesh& mesh, qv::Reference<MeshAdjTris> adjTris,
                           qv::Reference<MeshBoundaries> loops, const qv::vector<int>& boundaries,
                           double distanceTolerance, double seamTolerance);

/// The same for all loops.
QVGEOM_API bool meshStitch(CompactMesh& mesh, qv::Reference<MeshAdjTris> adjTris,
                           qv::Reference<MeshBoundaries> loops, double distanceTolerance,
                           double seamTolerance);

}  // namespace qvGeom
