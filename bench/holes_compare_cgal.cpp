// CGAL fills, refines and fairs a hole in one call; the mesh is handed over and looked at afterwards within
// the time, as it is for ours.

#include <CGAL/Eigen_solver_traits.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/border.h>
#include <CGAL/Polygon_mesh_processing/triangulate_hole.h>
#include <CGAL/Surface_mesh.h>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <tuple>
#include <vector>

#include "bench/holes_scene.h"

namespace qvGeom {

FilledHole fillByCgal(const CompactMesh& mesh) {
  using Surface = CGAL::Surface_mesh<CGAL::Exact_predicates_inexact_constructions_kernel::Point_3>;
  using Vertex = Surface::Vertex_index;
  namespace processing = CGAL::Polygon_mesh_processing;
  Surface surface;
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    const MeshVertex& p = mesh.getVertices()[v];
    surface.add_vertex({p.x, p.y, p.z});
  }
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    int const* v = mesh.getTriangles()[t].v;
    surface.add_face(Vertex(v[0]), Vertex(v[1]), Vertex(v[2]));
  }
  std::vector<Surface::Halfedge_index> borders;
  processing::extract_boundary_cycles(surface, std::back_inserter(borders));
  FilledHole filled;
  std::vector<Vertex> added;
  for (const Surface::Halfedge_index border : borders) {
    // The band has two; the hole is the one above.
    const double height = surface.point(surface.target(border)).z();
    if (height < surface.point(surface.target(borders.front())).z() ||
        height < surface.point(surface.target(borders.back())).z())
      continue;
    std::vector<Surface::Face_index> faces;
    const bool faired = std::get<0>(processing::triangulate_refine_and_fair_hole(
        surface, border, std::back_inserter(faces), std::back_inserter(added)));
    if (!faired) return filled;
  }
  filled.newVertices = static_cast<int>(added.size());
  for (const Vertex v : added) {
    const auto& p = surface.point(v);
    filled.depth = std::max(filled.depth, 10 - std::sqrt(p.x() * p.x() + p.y() * p.y() + p.z() * p.z()));
  }
  return filled;
}

}  // namespace qvGeom
