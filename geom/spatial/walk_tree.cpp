#include "geom/spatial/walk_tree.h"

#include <algorithm>

namespace qvGeom {

bool partitionFits(const Octree& octree, const OctreeTris& octreeTris, int numTriangles) {
  if (octreeTris.getNumVoxels() != octree.getNumVoxels()) return false;
  const Array<int>& triangles = octreeTris.getData().members;
  return std::all_of(triangles.begin(), triangles.end(), [=](int t) { return t >= 0 && t < numTriangles; });
}

WalkTree::WalkTree(const Octree& octree, const OctreeTris& octreeTris, int numTriangles)
    : rootBox_(octree.getRoot()) {
  if (octree.getNumVoxels() > 0 && partitionFits(octree, octreeTris, numTriangles))
    root_ = add(octree, octreeTris, 0);
}

// Recursion goes no deeper than the octree.
int WalkTree::add(const Octree& octree, const OctreeTris& octreeTris, int index) {
  const Octree::Node& node = octree.getNodes()[static_cast<std::size_t>(index)];
  if (node.leaf >= 0) return octreeTris.numTris(node.leaf) > 0 ? ~node.leaf : kNone;
  const std::size_t place = nodes_.size();
  Node walk{};
  std::copy_n(node.box.min, 3, walk.lower);
  std::copy_n(node.box.max, 3, walk.upper);
  nodes_.push_back(walk);
  bool any = false;
  for (int c = 0; c < 8; ++c) {
    const int child = node.hasChild(c) ? add(octree, octreeTris, node.childIndex(c)) : kNone;
    nodes_[place].children[c] = child;
    any = any || child != kNone;
  }
  if (any) return static_cast<int>(place);
  nodes_.pop_back();  // nothing was added behind it
  return kNone;
}

}  // namespace qvGeom
