#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

// One pass of smoothing each; to smooth more, call again.
//
// The selected vertices of the mesh move, all others stay and count as neighbours alike. New positions are
// worked out from the positions at the start of the call and written at its end, so that the order of the
// vertices does not matter. A vertex whose new position would not be finite keeps its old one. Normals stay
// as they are. One notice is sent, of a geometry that was modified, also when nothing moved.
//
// `progress` is looked at before every vertex as long as the number of selected vertices done is a multiple
// of 1000. When cancelled, no vertex moves and no notice is sent.
//
// `adjVertices` is to be that of the mesh as it is; with one for another number of vertices nothing moves. An
// operation runs on the calling thread and needs memory for the selected vertices.

/// Moves every selected vertex to the mean of its neighbours, which is summed up and divided in single
/// precision. A vertex without neighbours stays. O(V + neighbours of the selected).
QVGEOM_API void meshSmoothLaplacian(CompactMesh& mesh, const MeshAdjVertices& adjVertices,
                                    qvUtil::Progress& progress);

/// Moves every selected vertex along its normal, so that noise goes and sharp features stay: by a mean of the
/// heights of the vertices nearby over its tangent plane. Those count that can be reached from it over edges
/// without leaving the ball of radius `sigma` about it. Their weights fall with the distance, as a Gaussian
/// of width `sigma`, and with the height, as one whose width is the deviation of all these heights.
///
/// A vertex stays where nothing else lies in the ball; where the variance of the heights, in square units, is
/// below `qvLinear::epsilonTol`, which holds on planes and also where a single spike stands on one; and where
/// the weights sum up to less than that number.
///
/// @param sigma model units. With one that is not positive, and without normals, nothing moves
/// O(V) and, for each selected vertex, the number of those in the ball and around them.
/// After S. Fleishman, I. Drori and D. Cohen-Or, Bilateral mesh denoising (2003).
QVGEOM_API void meshSmoothBilateral(CompactMesh& mesh, const MeshAdjVertices& adjVertices, double sigma,
                                    qvUtil::Progress& progress);

}  // namespace qvGeom
