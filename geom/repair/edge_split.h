#pragma once

#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

/// Puts a vertex on a boundary half-edge of a triangle and joins it to the opposite corner. The half-edge then
/// ends at the new vertex.
inline TopoMeshVertex splitBoundaryEdge(TopoMesh& mesh, TopoMeshEdge e, const qvLinear::Point& p) {
  const TopoMeshVertex v = mesh.subdivideEdge(e, p);
  if (v) mesh.subdivideFace(e.next(), e.prev());
  return v;
}

}  // namespace qvGeom
