#pragma once

#include <cstdint>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/bounding_box.h"

namespace qvGeom {

class Quadtree;

/// One node of a quadtree; the planar counterpart of OctreeIterator. Of its box only x and y count.
class QVGEOM_API QuadtreeIterator : public BoundingBox {
 public:
  QuadtreeIterator() = default;

  bool isLeaf() const { return leaf_ >= 0; }
  /// Number of the leaf; -1 for inner nodes.
  int leaf() const { return leaf_; }
  int numPoints() const { return numPoints_; }
  int const* firstPoint() const { return points_; }

  /// Moves to child 0 to 3 (bit 0: upper half in x, bit 1: in y); false, with nothing changed, when there is
  /// none.
  bool descend(int child);

 private:
  friend class Quadtree;
  Quadtree const* tree_ = nullptr;
  int node_ = -1;
  int leaf_ = -1;
  int numPoints_ = 0;
  int const* points_ = nullptr;
};

/// Quadtree over the x and y of points; its leaves tile the root box. The rules are those of Octree.
class QVGEOM_API Quadtree : public qv::ReferenceCount {
 public:
  static constexpr int kMaxDepth = 20;
  static constexpr int kDefaultPerLeaf = 16;

  Quadtree() : Quadtree(0, nullptr, BoundingBox(), kDefaultPerLeaf) {}
  /// @param points [n][3]; z is ignored
  Quadtree(int n, float const* points, const BoundingBox& box, int perLeaf);
  ~Quadtree() override;

  int getNumLeaves() const { return numLeaves_; }
  int getDepth() const { return depth_; }
  QuadtreeIterator getRoot() const;

 private:
  friend class QuadtreeIterator;

  struct Node {
    BoundingBox box;
    int firstChild = -1;
    std::uint8_t children = 0;
    int voxel = -1;
    int pointsBegin = 0;
    int pointsEnd = 0;
  };

  QuadtreeIterator at(int node) const;

  qv::vector<Node> nodes_;
  qv::vector<int> points_;
  int numLeaves_ = 0;
  int depth_ = 1;
};

}  // namespace qvGeom
