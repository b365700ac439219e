#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/spatial_tree.h"

namespace qvGeom {

/// One node of a quadtree; the planar counterpart of OctreeIterator. Of its box only x and y count. Children
/// are numbered 0 to 3.
class QVGEOM_API QuadtreeIterator : public SpatialTreeIterator<2> {
 public:
  QuadtreeIterator() = default;

  /// Number of the leaf; -1 for inner nodes.
  int leaf() const { return leafNumber(); }

 private:
  friend class Quadtree;
  explicit QuadtreeIterator(const SpatialTree<2>& tree) : SpatialTreeIterator(tree) {}
};

/// Quadtree over the x and y of points; its leaves tile the root box. The rules are those of Octree.
class QVGEOM_API Quadtree : public qv::ReferenceCount {
 public:
  static constexpr int kMaxDepth = SpatialTree<2>::kMaxDepth;
  static constexpr int kDefaultPerLeaf = SpatialTree<2>::kDefaultPerLeaf;

  Quadtree() : Quadtree(0, nullptr, BoundingBox(), kDefaultPerLeaf) {}
  /// @param points [n][3]; z is ignored
  Quadtree(int n, float const* points, const BoundingBox& box, int perLeaf);
  ~Quadtree() override;

  int getNumLeaves() const { return tree_.numLeaves; }
  int getDepth() const { return tree_.depth; }
  QuadtreeIterator getRoot() const { return QuadtreeIterator(tree_); }

 private:
  SpatialTree<2> tree_;
};

}  // namespace qvGeom
