#include "geom/spatial/quadtree_iterator.h"

#include <cstddef>

namespace qvGeom {

// The path from the root to the current leaf; every entry remembers the child it was left by.
struct QuadtreeIntersectIt::Impl {
  struct Entry {
    QuadtreeIterator node;
    int child = -1;
  };

  Impl(const Quadtree& quadtree, const BoundingBox& queryBox)
      : box(queryBox), path(std::make_unique<Entry[]>(static_cast<std::size_t>(quadtree.getDepth()))) {
    path[0].node = quadtree.getRoot();
  }

  const BoundingBox& box;
  std::unique_ptr<Entry[]> path;
  std::ptrdiff_t top = 0;
};

QuadtreeIntersectIt::QuadtreeIntersectIt() = default;
QuadtreeIntersectIt::QuadtreeIntersectIt(const Quadtree& quadtree, const BoundingBox& box) {
  reset(quadtree, box);
}
QuadtreeIntersectIt::~QuadtreeIntersectIt() = default;

void QuadtreeIntersectIt::reset(const Quadtree& quadtree, const BoundingBox& box) {
  impl_.reset();
  if (!box.intersects2D(quadtree.getRoot())) return;
  impl_ = std::make_unique<Impl>(quadtree, box);
  if (!quadtree.getRoot().isLeaf()) next();
}

QuadtreeIterator QuadtreeIntersectIt::get() const { return impl_->path[impl_->top].node; }

void QuadtreeIntersectIt::next() {
  while (impl_->top >= 0) {
    Impl::Entry& entry = impl_->path[impl_->top];
    if (++entry.child >= 4) {
      --impl_->top;
      continue;
    }
    QuadtreeIterator child = entry.node;
    if (!child.descend(entry.child) || !impl_->box.intersects2D(child)) continue;
    impl_->path[++impl_->top] = {child, -1};
    if (child.isLeaf()) return;
  }
  impl_.reset();
}

}  // namespace qvGeom
