#include "geom/spatial/octree_iterators.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace qvGeom {
namespace {

bool meets(const BoundingBox& node, const Frustum& frustum) { return intersects(node, frustum); }
bool meets(const BoundingBox& node, const BoundingBox& box) { return node.intersects(box); }
bool meets(const BoundingBox& node, const Sphere& sphere) { return intersects(node, sphere); }
bool meets(const BoundingBox& node, const Ray& ray) {
  return ray.intersects(node, 0, std::numeric_limits<float>::max());
}

qvLinear::Vector orderingDirection(const Frustum& frustum) { return frustum.getVector(); }
qvLinear::Vector orderingDirection(const BoundingBox&) { return qvLinear::Vector::x; }
qvLinear::Vector orderingDirection(const Sphere&) { return qvLinear::Vector::x; }
qvLinear::Vector orderingDirection(const Ray& ray) { return ray.direction(); }

}  // namespace

template <typename Shape>
struct OctreeShapeIt<Shape>::Impl {
  // A level leaves at most seven siblings behind while one is followed.
  explicit Impl(const Octree& tree)
      : octree(tree),
        stack(std::make_unique<OctreeIterator[]>(8 * static_cast<std::size_t>(tree.getDepth()))) {}

  bool topIsInner() const { return size > 0 && !stack[size - 1].isLeaf(); }

  void pushIfMet(const OctreeIterator& node) {
    if (meets(node, *shape)) stack[size++] = node;
  }
  void descendToLeaf() {
    while (topIsInner()) {
      const OctreeIterator node = stack[--size];
      for (int i = 7; i >= 0; --i) {
        OctreeIterator child = node;
        if (child.descend(order[i])) pushIfMet(child);
      }
    }
  }

  const Octree& octree;
  const Shape* shape = nullptr;
  std::unique_ptr<OctreeIterator[]> stack;
  std::size_t size = 0;
  int order[8] = {};
};

template <typename Shape>
OctreeShapeIt<Shape>::OctreeShapeIt(const Octree& octree) : impl_(std::make_unique<Impl>(octree)) {}

template <typename Shape>
OctreeShapeIt<Shape>::OctreeShapeIt(const Octree& octree, const Shape& shape) : OctreeShapeIt(octree) {
  reset(shape);
}

template <typename Shape>
OctreeShapeIt<Shape>::~OctreeShapeIt() = default;

template <typename Shape>
void OctreeShapeIt<Shape>::reset(const Shape& shape) {
  impl_->shape = &shape;
  Octree::getNodeOrdering(orderingDirection(shape), impl_->order);
  impl_->size = 0;
  impl_->pushIfMet(impl_->octree.getRoot());
  impl_->descendToLeaf();
}

template <typename Shape>
bool OctreeShapeIt<Shape>::valid() const {
  return impl_->size > 0;
}

template <typename Shape>
OctreeIterator OctreeShapeIt<Shape>::get() const {
  return impl_->stack[impl_->size - 1];
}

template <typename Shape>
void OctreeShapeIt<Shape>::next() {
  --impl_->size;
  impl_->descendToLeaf();
}

template class OctreeShapeIt<Frustum>;
template class OctreeShapeIt<BoundingBox>;
template class OctreeShapeIt<Ray>;
template class OctreeShapeIt<Sphere>;

void OctreeLeafIterator::reset(const Octree& octree) {
  stack_.clear();
  stack_.reserve(8 * static_cast<std::size_t>(octree.getDepth()));
  stack_.push_back(octree.getRoot());
  if (!stack_.back().isLeaf()) next();
}

void OctreeLeafIterator::next() {
  if (stack_.back().isLeaf()) stack_.pop_back();
  while (!stack_.empty() && !stack_.back().isLeaf()) {
    const OctreeIterator node = stack_.back();
    stack_.pop_back();
    for (int c = 0; c < 8; ++c) {
      stack_.push_back(node);
      if (!stack_.back().descend(c)) stack_.pop_back();
    }
  }
}

}  // namespace qvGeom
