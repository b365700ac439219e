#include "geom/spatial/circle_intersect.h"

#include <cmath>
#include <cstddef>

#include "geom/model/keel/tolerances.h"
#include "geom/model/keel/visit_stamps.h"
#include "geom/model/trellis/mesh_coord.h"
#include "geom/spatial/octree_iterators.h"
#include "geom/spatial/walk_tree.h"
#include "geom/topology/normals.h"

namespace qvGeom {

using qvLinear::Line;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;

int circlePlaneIntersect(const Plane& circle, double radius, const Plane& plane, Point* out) {
  bool ok = false;
  const Line line = intersect(circle, plane, ok);
  if (!ok) return 0;
  const Point& center = circle.point;
  const Point c = project(center, line);
  const double h2 = radius * radius - distance2(center, c);
  if (!(h2 >= 0)) return 0;
  const Vector offset = std::sqrt(h2) * line.direction;
  out[0] = c + offset;
  out[1] = c - offset;
  return equivalent(out[0], out[1], qvLinear::epsilonTol) ? 1 : 2;
}

class MeshCircleIntersect::Impl {
 public:
  Impl(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris, double tolerance)
      : octree_(octree),
        octreeTris_(octreeTris),
        tolerance_(tolerance),
        vertices_(mesh.getVerticesRaw()),
        triangles_(mesh.getTrianglesRaw()),
        fits_(partitionFits(octree, octreeTris, mesh.getNumTriangles())),
        seen_(static_cast<std::size_t>(mesh.getNumTriangles())) {}

  void run(const Plane& circle, double radius, qv::vector<Point>& points) {
    if (!fits_ || !(radius > 0) || !std::isfinite(radius) || !circle.isValid()) return;
    const Vector u = radius * circle.normal.orthogonalVector();
    seen_.next();
    PointFlt previous(circle.point + u);
    for (int k = 1; k <= 12; ++k) {
      const PointFlt next(circle.point + rotate(u, circle.normal, k * 6.283185307179586 / 12));
      BoundingBox box;
      box.extend(previous);
      box.extend(next);
      // The chord's cube holds the arc over it.
      box.extendToCube();
      for (OctreeBBoxIntersectIt it(octree_, box); it.valid(); it.next())
        testVoxel(it.get().voxel(), circle, radius, points);
      previous = next;
    }
  }

 private:
  void testVoxel(int voxel, const Plane& circle, double radius, qv::vector<Point>& points) {
    int const* list = octreeTris_.firstTri(voxel);
    for (int i = 0; i < octreeTris_.numTris(voxel); ++i)
      if (!seen_.seen(static_cast<std::size_t>(list[i]))) testTriangle(list[i], circle, radius, points);
  }

  void testTriangle(int tri, const Plane& circle, double radius, qv::vector<Point>& points) const {
    Point corners[3];
    for (int c = 0; c < 3; ++c) {
      float const* p = vertices_ + std::ptrdiff_t{3} * triangles_[std::ptrdiff_t{3} * tri + c];
      corners[c] = Point(p[0], p[1], p[2]);
    }
    Point found[2];
    const Plane plane(corners[0], triNormal(corners[0], corners[1], corners[2]));
    const int count = circlePlaneIntersect(circle, radius, plane, found);
    for (int i = 0; i < count; ++i) {
      MeshCoord coord;
      if (coord.project(tri, vertices_, triangles_, found[i]) &&
          equivalent(coord.evaluate(vertices_, triangles_), found[i], tolerance_))
        points.push_back(found[i]);
    }
  }

  Octree const& octree_;
  OctreeTris const& octreeTris_;
  double tolerance_;
  float const* vertices_;
  int const* triangles_;
  bool fits_;
  qvUtil::VisitStamps seen_;
};

MeshCircleIntersect::MeshCircleIntersect(CompactMesh const& mesh, Octree const& octree,
                                         OctreeTris const& octreeTris, double tolerance)
    : impl_(std::make_unique<Impl>(mesh, octree, octreeTris, tolerance)) {}
MeshCircleIntersect::~MeshCircleIntersect() = default;

void MeshCircleIntersect::operator()(const Plane& circle, double radius, qv::vector<Point>& points) {
  impl_->run(circle, radius, points);
}

}  // namespace qvGeom
