#pragma once

#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

/// Puts a vertex on a half-edge and joins it to the opposite corners, so that triangles stay triangles. The
/// half-edge then ends at the new vertex.
inline TopoMeshVertex splitEdge(TopoMesh& mesh, TopoMeshEdge e, const qvLinear::Point& p) {
  const TopoMeshEdge twin = e.twin();
  const TopoMeshVertex v = mesh.subdivideEdge(e, p);
  if (!v) return v;
  mesh.subdivideFace(e.next(), e.prev());
  if (twin) mesh.subdivideFace(twin.next(), twin.prev());
  return v;
}

}  // namespace qvGeom
