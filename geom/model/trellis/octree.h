#pragma once

#include <cstdint>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/bounding_box.h"

namespace qvGeom {

class Octree;

/// One node of an octree, as a small value. Usable wherever a BoundingBox is expected: as the node's box.
/// Valid while its octree lives unchanged. The default one designates no node: voxel -1, a box that contains
/// nothing, not a leaf, no children.
class QVGEOM_API OctreeIterator : public BoundingBox {
 public:
  OctreeIterator() = default;

  bool isLeaf() const { return voxel_ >= 0; }
  /// Number of the leaf voxel; -1 for inner nodes.
  int voxel() const { return voxel_; }
  /// The points of a leaf: indices of the points that the octree was built from, ascending. 0 for inner
  /// nodes.
  int numPoints() const { return numPoints_; }
  int const* firstPoint() const { return points_; }

  /// Moves to child 0 to 7: bit k of the number is set for the upper half of axis k.
  /// @return false, with nothing changed, when there is no such child: in a leaf, and in the upper half of an
  /// axis along which the node has no extent to split
  bool descend(int child);

 private:
  friend class Octree;
  Octree const* tree_ = nullptr;
  int node_ = -1;
  int voxel_ = -1;
  int numPoints_ = 0;
  int const* points_ = nullptr;
};

/// Octree over points whose leaves tile the root box: splitting a node makes children for every part of it,
/// empty parts too, because surfaces cross places that hold no point. Siblings share the very same float as
/// their common face. Keeps the numbers of the points but no pointer to them.
///
/// Leaves are numbered 0 to getNumVoxels() - 1 in depth-first order of creation, children in ascending order.
class QVGEOM_API Octree : public qv::ReferenceCount {
 public:
  static constexpr int kMaxDepth = 20;  ///< levels, the root being the first
  static constexpr int kDefaultPerLeaf = 16;

  /// An octree without voxels.
  Octree() : Octree(0, nullptr, BoundingBox(), true, kDefaultPerLeaf) {}
  /// @param n       number of points; without points there is no voxel
  /// @param points  [n][3]; NaN coordinates count as lying in the lower half everywhere
  /// @param box     box of the root; points outside are filed in the nearest part
  /// @param flag    changes nothing
  /// @param perLeaf a node with more points is split, until kMaxDepth or until no axis has a float between
  /// its
  ///                bounds; below 1 counts as kDefaultPerLeaf
  /// O(n depth); memory for n indices and the nodes.
  Octree(int n, float const* points, const BoundingBox& box, bool flag, int perLeaf);
  ~Octree() override;

  int getNumVoxels() const { return numVoxels_; }
  /// Number of levels; 1 for a lone root.
  int getDepth() const { return depth_; }
  OctreeIterator getRoot() const;
  std::size_t getSizeInBytes() const;

  /// Fills `order` with the children 0 to 7 front to back along `dir`: by the projection of (+-1, +-1, +-1)
  /// on it, ties by child number. A permutation for every direction, also zero or NaN.
  static void getNodeOrdering(const qvLinear::Vector& dir, int order[8]);

 private:
  friend class OctreeIterator;

  struct Node {
    BoundingBox box;
    int firstChild = -1;        // the existing children stand side by side, in ascending order
    std::uint8_t children = 0;  // bit c: child c exists
    int voxel = -1;
    int pointsBegin = 0;
    int pointsEnd = 0;
  };

  OctreeIterator at(int node) const;

  qv::vector<Node> nodes_;
  qv::vector<int> points_;  // indices, each leaf's as one run
  int numVoxels_ = 0;
  int depth_ = 1;
};

}  // namespace qvGeom
