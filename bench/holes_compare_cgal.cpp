// CGAL fills, refines and fairs a hole in one call; the mesh is handed over and looked at afterwards within
// the time, as it is for ours.

#include <CGAL/Eigen_solver_traits.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/border.h>
#include <CGAL/Polygon_mesh_processing/triangulate_hole.h>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <tuple>
#include <vector>

#include "bench/cgal_mesh.h"
#include "bench/holes_scene.h"

namespace qvGeom {

FilledHole fillByCgal(const CompactMesh& mesh) {
  namespace processing = CGAL::Polygon_mesh_processing;
  auto surface = surfaceMeshOf<CGAL::Exact_predicates_inexact_constructions_kernel>(mesh);
  using Surface = decltype(surface);
  using Vertex = Surface::Vertex_index;
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
