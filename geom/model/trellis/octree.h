#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/spatial_tree.h"

namespace qvGeom {

/// One node of an octree, as a small value. Usable wherever a BoundingBox is expected: as the node's box.
/// Valid while its octree lives unchanged. The default one designates no node: voxel -1, a box that contains
/// nothing, not a leaf, no children. Children are numbered 0 to 7.
class QVGEOM_API OctreeIterator : public SpatialTreeIterator<3> {
 public:
  OctreeIterator() = default;

  /// Number of the leaf voxel; -1 for inner nodes.
  int voxel() const { return leafNumber(); }

 private:
  friend class Octree;
  explicit OctreeIterator(const SpatialTree<3>& tree, int node = 0) : SpatialTreeIterator(tree, node) {}
};

/// Octree over points whose leaves tile the root box: splitting a node makes children for every part of it,
/// empty parts too, because surfaces cross places that hold no point. Siblings share the very same float as
/// their common face. Keeps the numbers of the points but no pointer to them.
///
/// Leaves are numbered 0 to getNumVoxels() - 1 in depth-first order of creation, children in ascending order.
class QVGEOM_API Octree : public qv::ReferenceCount {
 public:
  static constexpr int kMaxDepth = SpatialTree<3>::kMaxDepth;  ///< levels, the root being the first
  static constexpr int kDefaultPerLeaf = SpatialTree<3>::kDefaultPerLeaf;

  /// An octree without voxels.
  Octree() : Octree(0, nullptr, BoundingBox(), true, kDefaultPerLeaf) {}
  /// @param n       number of points; without points there is no voxel, and the root is an inner node with an
  ///                empty box and no children
  /// @param points  [n][3]; NaN coordinates count as lying in the lower half everywhere
  /// @param box     box of the root; points outside are filed in the nearest part. An axis along which it is
  ///                empty, or not finite, is never split
  /// @param flag    changes nothing
  /// @param perLeaf a node with more points is split, until kMaxDepth or until no axis has a float between
  ///                its bounds; below 1 counts as kDefaultPerLeaf
  /// O(n depth); memory for n indices and the nodes, and for the indices once more while building.
  Octree(int n, float const* points, const BoundingBox& box, bool flag, int perLeaf);
  ~Octree() override;

  int getNumVoxels() const { return tree_.numLeaves; }
  /// Number of levels; 1 for a lone root.
  int getDepth() const { return tree_.depth; }
  OctreeIterator getRoot() const { return OctreeIterator(tree_); }
  /// Number of points that it was built over.
  int getNumPoints() const { return static_cast<int>(tree_.points.size()); }

  /// The nodes in one array, the root first and the children of a node side by side in ascending order: for
  /// walks that meet too many nodes to carry an iterator for each.
  using Node = SpatialTree<3>::Node;
  const qv::vector<Node>& getNodes() const { return tree_.nodes; }
  /// @param node index of one of them
  OctreeIterator getNode(int node) const { return OctreeIterator(tree_, node); }

  std::size_t getSizeInBytes() const { return sizeof(*this) - sizeof(tree_) + tree_.getSizeInBytes(); }

  /// Fills `order` with the children 0 to 7 front to back along `dir`: by the projection of (+-1, +-1, +-1)
  /// on it, compared without rounding, ties by child number. A permutation for every direction, also zero or
  /// NaN.
  static void getNodeOrdering(const qvLinear::Vector& dir, int order[8]);

 private:
  SpatialTree<3> tree_;
};

}  // namespace qvGeom
