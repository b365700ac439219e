// CGAL's boxes and trees, as its manual recommends them where speed counts: plain doubles for distances and
// rays, and the kernel of exact decisions and plain constructions for crossings, which it requires.

#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/AABB_triangle_primitive.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/self_intersections.h>
#include <CGAL/Simple_cartesian.h>
#include <CGAL/box_intersection_d.h>
#include <cmath>
#include <iterator>
#include <utility>
#include <vector>

#include "bench/cgal_mesh.h"
#include "bench/spatial_compare.h"

namespace qvGeom {
namespace {

using Fast = CGAL::Simple_cartesian<double>;
using Exact = CGAL::Exact_predicates_inexact_constructions_kernel;

using FastTriangles = std::vector<Fast::Triangle_3>;
using Primitive = CGAL::AABB_triangle_primitive<Fast, FastTriangles::const_iterator>;
using Tree = CGAL::AABB_tree<CGAL::AABB_traits<Fast, Primitive>>;

using ExactMesh = CGAL::Surface_mesh<Exact::Point_3>;
using ExactTriangles = std::vector<Exact::Triangle_3>;
using TriangleBox = CGAL::Box_intersection_d::Box_with_handle_d<double, 3, ExactTriangles::const_iterator>;

template <typename Kernel>
std::vector<typename Kernel::Triangle_3> trianglesOf(const CompactMesh& mesh,
                                                     const qvLinear::AffineMatrix& m) {
  std::vector<typename Kernel::Point_3> points;
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    const qvLinear::Point p = m.apply(mesh.getVertices()[v].asPoint());
    points.emplace_back(p[0], p[1], p[2]);
  }
  std::vector<typename Kernel::Triangle_3> triangles;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    int const* v = mesh.getTriangles()[t].v;
    triangles.emplace_back(points[v[0]], points[v[1]], points[v[2]]);
  }
  return triangles;
}

std::vector<TriangleBox> boxesOf(const ExactTriangles& triangles) {
  std::vector<TriangleBox> boxes;
  boxes.reserve(triangles.size());
  for (auto t = triangles.begin(); t != triangles.end(); ++t) boxes.emplace_back(t->bbox(), t);
  return boxes;
}

Fast::Point_3 pointOf(const qvLinear::PointFlt& p) { return {p[0], p[1], p[2]}; }

class CgalSide : public SpatialSide {
 public:
  explicit CgalSide(const SpatialScene& scene)
      : mesh_(scene.mesh),
        triangles_(trianglesOf<Fast>(mesh_, {})),
        tree_(triangles_.cbegin(), triangles_.cend()) {
    tree_.build();
    tree_.accelerate_distance_queries();
  }

  Tally closest(const Points& points) override {
    Tally tally;
    for (const qvLinear::PointFlt& p : points) {
      const Fast::Point_3 q = pointOf(p);
      tally.distance += std::sqrt(CGAL::squared_distance(q, tree_.closest_point(q)));
      ++tally.count;
    }
    return tally;
  }
  Tally nearestHits(const Shots& shots) override {
    Tally tally;
    for (const Shot& shot : shots) {
      const Fast::Point_3 origin = pointOf(shot.origin);
      const Fast::Vector_3 dir(shot.dir[0], shot.dir[1], shot.dir[2]);
      const auto hit = tree_.first_intersection(Fast::Ray_3(origin, dir));
      if (!hit) continue;
      ++tally.count;
      if (const Fast::Point_3* p = boost::get<Fast::Point_3>(&hit->first))
        tally.distance += std::sqrt(CGAL::squared_distance(origin, *p) / dir.squared_length());
    }
    return tally;
  }
  Tally selfIntersection() override {
    if (surface_.is_empty()) surface_ = surfaceMeshOf<Exact>(mesh_);
    std::vector<std::pair<ExactMesh::Face_index, ExactMesh::Face_index>> pairs;
    CGAL::Polygon_mesh_processing::self_intersections<CGAL::Sequential_tag>(surface_,
                                                                            std::back_inserter(pairs));
    return {pairs.size(), 0};
  }
  Tally crossTurnedCopy() override {
    if (original_.empty()) {
      original_ = trianglesOf<Exact>(mesh_, {});
      turned_ = trianglesOf<Exact>(mesh_, turnOfCopy());
    }
    std::vector<TriangleBox> boxes1 = boxesOf(turned_), boxes2 = boxesOf(original_);
    std::vector<Exact::Segment_3> segments;
    CGAL::box_intersection_d(boxes1.begin(), boxes1.end(), boxes2.begin(), boxes2.end(),
                             [&](const TriangleBox& a, const TriangleBox& b) {
                               if (!CGAL::do_intersect(*a.handle(), *b.handle())) return;
                               const auto common = CGAL::intersection(*a.handle(), *b.handle());
                               if (!common) return;
                               if (const auto* s = boost::get<Exact::Segment_3>(&*common))
                                 segments.push_back(*s);
                             });
    return {segments.size(), 0};
  }

 private:
  const CompactMesh& mesh_;
  FastTriangles triangles_;
  Tree tree_;
  ExactMesh surface_;  // this and what follows on first use: no part of the tree
  ExactTriangles original_;
  ExactTriangles turned_;
};

}  // namespace

std::unique_ptr<SpatialSide> makeCgal(const SpatialScene& scene) { return std::make_unique<CgalSide>(scene); }

}  // namespace qvGeom
