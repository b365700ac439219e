#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

// Removal of vertices, the flattest first. Removing one leaves a triangulation of the hole around it, of the
// vertices that are there; nothing is moved. Vertices on a boundary, at an edge with more than two triangles
// or where several fans meet stay. A closed, manifold or oriented mesh remains so.
//
// Work goes in iterations, each over an independent set of vertices, and these in batches; every batch that
// removes something ends with one notice, of a topology that was modified, and empty selections. Vertices
// near those removed are numbered anew and have a position only: texture coordinates and other channels are
// zero there. Normals are to be computed anew. Positions that are not finite spoil only what touches them.
//
// When cancelled, the mesh keeps the batches so far. The result is the same for any number of threads.
// One iteration costs O((V + T) log V). Prints counts and seconds on the debug channel.

/// Reduces the mesh to a share of its vertices. Ends earlier when no vertex can be removed, or an iteration
/// removed less than a hundredth of those left.
/// @param fraction of the vertices to keep, rounded down to a number of vertices; nothing happens for 1 and
///                 more, and for NaN, and a negative one counts as 0
/// @param removed  the positions of the vertices that were removed are appended, in order of removal
QVGEOM_API void meshReduceToFraction(CompactMesh& mesh, double fraction, qvUtil::Progress& progress,
                                     qv::vector<qvLinear::Point>& removed);

/// Reduces the mesh as far as all vertices removed lie within a distance of it. Ends when no vertex can be
/// removed, or an iteration removed less than a hundredth of those left.
/// @param tolerance model units; nothing happens unless it is positive
/// @param removed   as above
/// @return the largest distance found from a removed vertex to the mesh, at most `tolerance` up to rounding;
///         0 when none was removed. When cancelled, vertices of the last batch may not have been measured.
QVGEOM_API double meshReduceWithTolerance(CompactMesh& mesh, double tolerance, qvUtil::Progress& progress,
                                          qv::vector<qvLinear::Point>& removed);

}  // namespace qvGeom
