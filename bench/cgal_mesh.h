#pragma once

#include <CGAL/Surface_mesh.h>

#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

/// A mesh in CGAL's half-edge form, with vertices and triangles numbered as they are; a triangle that would
/// make an edge non-manifold is left out.
template <typename Kernel>
CGAL::Surface_mesh<typename Kernel::Point_3> surfaceMeshOf(const CompactMesh& mesh) {
  using Surface = CGAL::Surface_mesh<typename Kernel::Point_3>;
  using Vertex = typename Surface::Vertex_index;
  Surface surface;
  surface.reserve(mesh.getNumVertices(), 3 * mesh.getNumTriangles() / 2, mesh.getNumTriangles());
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    const MeshVertex& p = mesh.getVertices()[v];
    surface.add_vertex({p.x, p.y, p.z});
  }
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    int const* v = mesh.getTriangles()[t].v;
    surface.add_face(Vertex(v[0]), Vertex(v[1]), Vertex(v[2]));
  }
  return surface;
}

}  // namespace qvGeom
