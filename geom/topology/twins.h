#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

/// Makes opposite half-edges of neighbouring faces twins.
///
/// Looks at the first three half-edges of every face and among them only at those without a twin. Each takes
/// the oldest opposite one that has none yet, the oldest first; where three or more faces meet at an edge,
/// the ones that come too late stay boundary. Half-edges that start where they end are left alone. O(V +
/// F), and O(E log E) for E half-edges without twin at one vertex. Prints its count and seconds on the debug
/// channel.
QVGEOM_API void meshTwin(TopoMesh& mesh);

}  // namespace qvGeom
