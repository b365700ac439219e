#pragma once

#include <memory>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/lines.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

/// Where a circle meets a plane.
/// @param circle the plane of the circle, with its centre as the plane's point
/// @param out    room for two points, written as far as they exist
/// @return 2; 1 when both are the same to within `qvLinear::epsilonTol` (both are written); 0 when they do
/// not meet, or the planes are parallel
QVGEOM_API int circlePlaneIntersect(const qvLinear::Plane& circle, double radius,
                                    const qvLinear::Plane& plane, qvLinear::Point* out);

/// Where circles pierce the triangles of a mesh. Mesh, octree and partition must outlive it and stay as they
/// are; when they do not fit together there are no points. One thread at a time. Construction O(T).
class QVGEOM_API MeshCircleIntersect {
 public:
  /// @param tolerance how far from a triangle a point may lie and count as on it, model units
  MeshCircleIntersect(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris,
                      double tolerance);
  ~MeshCircleIntersect();
  MeshCircleIntersect(const MeshCircleIntersect&) = delete;
  MeshCircleIntersect& operator=(const MeshCircleIntersect&) = delete;

  /// Appends the points in the order of twelve boxes along the circle, of the leaf voxels in each and of the
  /// triangles in those; up to two for each triangle, and none where the triangle lies in the circle's plane.
  /// Nothing for a radius that is not positive and finite, or a plane that is not valid.
  /// @param circle the plane of the circle, with its centre as the plane's point
  void operator()(const qvLinear::Plane& circle, double radius, qv::vector<qvLinear::Point>& points);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvGeom
