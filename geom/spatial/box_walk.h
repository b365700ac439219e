#pragma once

#include "geom/model/trellis/octree.h"

namespace qvGeom {

/// Depth-first walk over the nodes that meet a box, in the order of OctreeBBoxIntersectIt but without
/// iterators: the halves of an axis that the box reaches decide which children are met. Hidden from users of
/// the library.
class BoxWalk {
 public:
  explicit BoxWalk(const Octree& octree) : nodes_(octree.getNodes().data()) {
    Octree::getNodeOrdering(qvLinear::Vector::x, order_);
  }

  const Octree::Node& node(int index) const { return nodes_[index]; }

  /// Calls visit(index, level) for every node below and including `index`, which the box must meet; a level
  /// is one more than that of the parent. Recursion goes no deeper than the octree.
  template <typename Visit>
  void run(const BoundingBox& box, int index, int level, Visit& visit) const {
    visit(index, level);
    const Octree::Node& node = nodes_[index];
    if (node.children == 0) return;
    // The first child is the lower half along every axis; an axis that is not split has no upper half.
    float const* split = nodes_[node.firstChild].box.max;
    unsigned lower = 0;
    unsigned upper = 0;
    for (int k = 0; k < 3; ++k) {
      if (box.min[k] <= split[k]) lower |= 1u << k;
      if (box.max[k] >= split[k]) upper |= 1u << k;
    }
    for (const int c : order_) {
      const unsigned bits = static_cast<unsigned>(c);
      const bool isMet = (bits & ~upper) == 0 && (~bits & 7u & ~lower) == 0;
      if (isMet && node.hasChild(c)) run(box, node.childIndex(c), level + 1, visit);
    }
  }
  /// From the root, if the box meets it.
  template <typename Visit>
  void run(const BoundingBox& box, Visit& visit) const {
    if (nodes_[0].box.intersects(box)) run(box, 0, 0, visit);
  }

 private:
  Octree::Node const* nodes_;
  int order_[8];
};

}  // namespace qvGeom
