#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

/// Shoots single rays at a mesh, from both sides of its triangles, by the rules of intersectRayTriangle and
/// for hits at t > `qvLinear::epsilonTolFlt` alone. A closed surface leaks nowhere: no ray passes between
/// triangles that share an edge or a corner.
///
/// Mesh, octree and partition must outlive the tracer and stay as they are. An octree and a partition that do
/// not fit together or to the mesh, or no mesh, count as empty; a ray that is not finite, or without
/// direction, hits nothing. One thread at a time; several tracers may share their mesh. Construction O(T).
class QVGEOM_API RayTracer {
 public:
  RayTracer(Octree const& octree, OctreeTris const& octreeTris, CompactMesh const* mesh);
  ~RayTracer();
  RayTracer(const RayTracer&) = delete;
  RayTracer& operator=(const RayTracer&) = delete;

  /// Whether to look for the nearest hit instead of any. Off at first.
  void setFindNearestHit(bool nearest);
  /// @return whether the ray hits the mesh
  bool intersect(const qvLinear::PointFlt& origin, const qvLinear::Vector& dir);
  /// Ray parameter of the nearest hit of the last ray, when looking for nearest hits; otherwise, and without
  /// a hit, the largest float.
  double intersectionDist() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvGeom
