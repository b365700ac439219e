#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/array.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

/// Counts the connected components; triangles that share a vertex are connected.
/// Components are numbered from 0 in the order of their lowest triangle.
/// O((V + T) log V) at worst, linear in practice. Assumes triangle indices in range, runs on the calling
/// thread and may be called from several threads on one mesh. Prints its counts and seconds on the debug
/// channel.
/// @param adjTris         the record of this mesh
/// @param vertexComponent null, or receives the component of each vertex, -1 for vertices without triangle
/// @return the number of components
QVGEOM_API int meshComponents(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                              Array<int>* vertexComponent);

/// Counts the components of faces that are connected through twins; faces that share a vertex alone are
/// apart. O(F log F). Runs on the calling thread and may be called from several threads on one mesh.
QVGEOM_API int meshComponents(TopoMesh& mesh);

}  // namespace qvGeom
