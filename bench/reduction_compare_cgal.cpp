// CGAL collapses edges, the cheapest first, and places the vertex that remains. Handing the mesh over and
// back is within the time.

#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh_simplification/Policies/Edge_collapse/Count_ratio_stop_predicate.h>
#include <CGAL/Surface_mesh_simplification/edge_collapse.h>

#include "bench/cgal_mesh.h"
#include "bench/reduction_scene.h"

namespace qvGeom {

CompactMesh reduceByCgal(const CompactMesh& mesh, double fraction) {
  auto surface = surfaceMeshOf<CGAL::Simple_cartesian<double>>(mesh);
  using Surface = decltype(surface);
  namespace simplification = CGAL::Surface_mesh_simplification;
  simplification::edge_collapse(surface, simplification::Count_ratio_stop_predicate<Surface>(fraction));
  surface.collect_garbage();
  shapes::Points points;
  for (const Surface::Vertex_index v : surface.vertices()) {
    const auto& p = surface.point(v);
    points.push_back({static_cast<float>(p.x()), static_cast<float>(p.y()), static_cast<float>(p.z())});
  }
  shapes::Tris tris;
  for (const auto face : surface.faces()) {
    auto h = surface.halfedge(face);
    std::array<int, 3> corners{};
    for (int& corner : corners) {
      corner = static_cast<int>(surface.target(h).idx());
      h = surface.next(h);
    }
    tris.push_back(corners);
  }
  return shapes::make(points, tris);
}

}  // namespace qvGeom
