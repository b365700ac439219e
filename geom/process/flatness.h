#pragma once

#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

/// How far a vertex and its neighbours lie off a plane through them: the largest distance, in model units,
/// from the plane that is fitted to them all. The largest double for a vertex with fewer than three
/// neighbours, or near a position that is not finite. The fit takes scatter below epsilonTol for none: where
/// vertices are closer than about 1e-5 every vertex counts as flat.
/// @param adjVertices of this mesh
/// @param flatness    receives one value per vertex
/// Prints its seconds. O(V + neighbours).
void meshFlatness(CompactMesh const& mesh, MeshAdjVertices const& adjVertices, double* flatness);

}  // namespace qvGeom
