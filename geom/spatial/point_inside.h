#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"
#include "geom/spatial/closest_point.h"

namespace qvGeom {

/// Tells on which side of a closed, outward oriented surface a point lies: by the vertex normals,
/// interpolated, whatever their lengths, at the nearest point. Without them the triangle's own is taken.
///
/// Mesh, octree and partition must outlive it and stay as they are. One thread at a time, with all copies.
class QVGEOM_API MeshPtInside {
 public:
  enum Result { Inside = 0, Outside = 1, OnSurface = 2 };

  /// @param tolerance distance below which a point lies on the surface, model units; at 0 or below, or NaN,
  /// none does
  MeshPtInside(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris, double tolerance);
  /// Shares the working memory of `other`, which must outlive the copy.
  MeshPtInside(const MeshPtInside& other) = default;
  MeshPtInside& operator=(const MeshPtInside&) = delete;

  /// Outside for points beyond the box of the mesh, points that are not finite, and meshes without triangles.
  Result evaluate(const qvLinear::Point& p);

 private:
  CompactMesh const& mesh_;
  MeshClosestPoint closest_;
  BoundingBox box_;
  double tolerance_;
};

}  // namespace qvGeom
