#pragma once

#include <memory>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/trellis/frustum.h"
#include "geom/model/trellis/octree.h"
#include "geom/spatial/box_tests.h"
#include "geom/spatial/ray.h"

namespace qvGeom {

/// Visits, depth first, the leaf voxels that meet a query shape:
///
///   for (OctreeRayIntersectIt it(octree, ray); it.valid(); it.next()) visit(it.get());
///
/// A leaf is yielded when it and all its ancestors pass the test of the shape. Siblings come front to back
/// along the direction of a frustum or a ray, and along +x for boxes and balls. The octree and the shape, of
/// which only the address is kept, must outlive the iteration. `reset` starts anew at any time, without
/// allocating; `get` and `next` may be called while `valid`. One thread at a time.
template <typename Shape>
class QVGEOM_API OctreeShapeIt {
 public:
  /// Exhausted until `reset`.
  explicit OctreeShapeIt(const Octree& octree);
  OctreeShapeIt(const Octree& octree, const Shape& shape);
  ~OctreeShapeIt();
  OctreeShapeIt(const OctreeShapeIt&) = delete;
  OctreeShapeIt& operator=(const OctreeShapeIt&) = delete;

  void reset(const Shape& shape);
  bool valid() const;
  /// The current leaf.
  OctreeIterator get() const;
  void next();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

extern template class QVGEOM_API OctreeShapeIt<Frustum>;
extern template class QVGEOM_API OctreeShapeIt<BoundingBox>;
extern template class QVGEOM_API OctreeShapeIt<Ray>;
extern template class QVGEOM_API OctreeShapeIt<Sphere>;

using OctreeIntersectIt = OctreeShapeIt<Frustum>;
using OctreeBBoxIntersectIt = OctreeShapeIt<BoundingBox>;
/// For ray parameters from 0 on: nothing behind the origin.
using OctreeRayIntersectIt = OctreeShapeIt<Ray>;
using OctreeSphereIntersectIt = OctreeShapeIt<Sphere>;

/// Visits all leaf voxels of an octree, which must outlive the iteration; depth first, child 7 before child
/// 0.
class QVGEOM_API OctreeLeafIterator {
 public:
  explicit OctreeLeafIterator(const Octree& octree) { reset(octree); }

  void reset(const Octree& octree);
  bool valid() const { return !stack_.empty(); }
  OctreeIterator get() const { return stack_.back(); }
  void next();

 private:
  qv::vector<OctreeIterator> stack_;
};

}  // namespace qvGeom
