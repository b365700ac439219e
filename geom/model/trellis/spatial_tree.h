#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/trellis/bounding_box.h"

namespace qvGeom {

/// What Octree and Quadtree share: a tree over points that halves its boxes along the first `Axes` axes at
/// once. The two classes state the rules; this one keeps the nodes in one array, so that walking down is a
/// bit count and an addition.
template <int Axes>
class SpatialTree {
 public:
  static constexpr int kMaxDepth = 20;
  static constexpr int kDefaultPerLeaf = 16;
  static constexpr int kNumChildren = 1 << Axes;

  struct Node {
    BoundingBox box;      // stored, since halving it again would have to round in the same way
    int firstChild = -1;  // the existing children stand side by side, in ascending order
    int leaf = -1;        // -1 for inner nodes
    int pointsBegin = 0;  // range of `points`
    int pointsEnd = 0;
    std::uint8_t children = 0;  // bit c: child c exists

    bool hasChild(int c) const { return (children >> c & 1) != 0; }
    /// Index of a child that exists.
    int childIndex(int c) const {
      return firstChild + std::popcount(static_cast<unsigned>(children) & ((1u << c) - 1));
    }
  };

  /// Where an axis of a node is split: halfway, or at the upper bound where no float lies between the two,
  /// which leaves the axis whole.
  static float middle(float lower, float upper) {
    // Halved before adding: the sum of two large floats may not be one.
    const float at = 0.5f * lower + 0.5f * upper;
    return lower < at && at < upper ? at : upper;
  }

  SpatialTree(int n, float const* coordinates, const BoundingBox& box, int perLeaf);

  std::size_t getSizeInBytes() const {
    return sizeof(*this) + nodes.capacity() * sizeof(Node) + points.capacity() * sizeof(int);
  }

  qv::vector<Node> nodes;  // the root first
  qv::vector<int> points;  // indices, each leaf's as one run
  int numLeaves = 0;
  int depth = 1;
};

extern template class QVGEOM_API SpatialTree<2>;
extern template class QVGEOM_API SpatialTree<3>;

/// One node of a SpatialTree, as a small value. The default one designates no node: an empty box, not a leaf,
/// no children.
template <int Axes>
class SpatialTreeIterator : public BoundingBox {
 public:
  SpatialTreeIterator() = default;

  bool isLeaf() const { return node_ && node_->leaf >= 0; }
  /// The points of a leaf: indices of the points that the tree was built from, ascending. 0 for inner nodes.
  int numPoints() const { return isLeaf() ? node_->pointsEnd - node_->pointsBegin : 0; }
  int const* firstPoint() const { return isLeaf() ? tree_->points.data() + node_->pointsBegin : nullptr; }

  /// Moves to a child: bit k of its number is set for the upper half of axis k.
  /// @return false, with nothing changed, when there is no such child: in a leaf, and in the upper half of an
  /// axis along which the node has no extent to split
  bool descend(int child) {
    if (child < 0 || child >= SpatialTree<Axes>::kNumChildren || !node_) return false;
    if (!node_->hasChild(child)) return false;
    moveTo(node_->childIndex(child));
    return true;
  }

 protected:
  explicit SpatialTreeIterator(const SpatialTree<Axes>& tree, int node = 0) : tree_(&tree) { moveTo(node); }
  int leafNumber() const { return node_ ? node_->leaf : -1; }

 private:
  void moveTo(int node) {
    node_ = tree_->nodes.data() + node;
    static_cast<BoundingBox&>(*this) = node_->box;
  }

  SpatialTree<Axes> const* tree_ = nullptr;
  typename SpatialTree<Axes>::Node const* node_ = nullptr;
};

}  // namespace qvGeom
