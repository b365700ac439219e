#pragma once

#include <limits>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/lanes.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

/// Whether a partition is of this octree and names triangles of the mesh only. Where it is not, queries find
/// nothing: nothing is read out of range. O(size of the partition).
bool partitionFits(const Octree& octree, const OctreeTris& octreeTris, int numTriangles);

/// The part of an octree that leads to triangles, laid out for queries: inner nodes only, each with the
/// planes that cut it into its children, because the boxes of all eight follow from those. Children are
/// numbered as the octree numbers them.
///
/// Holds nothing when octree, partition and mesh do not belong together.
class WalkTree {
 public:
  /// A child: an inner node by its index, a voxel by its complement, or neither.
  static constexpr int kNone = std::numeric_limits<int>::min();
  static bool isVoxel(int child) { return child < 0; }
  static int voxelOf(int child) { return ~child; }

  // One line of the cache; loads of four floats are welcome.
  struct alignas(64) Node {
    float lower[4];
    float upper[4];
    int children[8];

    /// Of an axis that is not split, the upper bound: only lower halves exist there.
    float middle(int k) const { return SpatialTree<3>::middle(lower[k], upper[k]); }
  };
  static_assert(sizeof(Node) == 64);

  /// @param numTriangles those of the mesh, which the partition must not exceed
  WalkTree(const Octree& octree, const OctreeTris& octreeTris, int numTriangles);

  /// kNone when there is nothing to find.
  int getRoot() const { return root_; }
  const BoundingBox& getRootBox() const { return rootBox_; }
  const Node& operator[](int inner) const { return nodes_[static_cast<std::size_t>(inner)]; }
  void prefetch(int inner) const { qvUtil::prefetch(&nodes_[static_cast<std::size_t>(inner)]); }

 private:
  int add(const Octree& octree, const OctreeTris& octreeTris, int node);

  qv::vector<Node> nodes_;
  BoundingBox rootBox_;
  int root_ = kNone;
};

}  // namespace qvGeom
