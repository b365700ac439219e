#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/trellis/quadtree.h"

namespace qvGeom {

/// Visits the leaves of a quadtree that meet a box in x and y (touching counts), depth first, children in
/// ascending order. Tree and box must outlive the iteration. `get` and `next` may be called while `valid`.
class QVGEOM_API QuadtreeIntersectIt {
 public:
  /// Exhausted until `reset`.
  QuadtreeIntersectIt();
  QuadtreeIntersectIt(const Quadtree& quadtree, const BoundingBox& box);
  ~QuadtreeIntersectIt();
  QuadtreeIntersectIt(const QuadtreeIntersectIt&) = delete;
  QuadtreeIntersectIt& operator=(const QuadtreeIntersectIt&) = delete;

  void reset(const Quadtree& quadtree, const BoundingBox& box);
  bool valid() const { return impl_ != nullptr; }
  QuadtreeIterator get() const;
  void next();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;  // null when exhausted
};

}  // namespace qvGeom
