#include "geom/model/trellis/spatial_tree.h"

#include <algorithm>

namespace qvGeom {
namespace {

// Depth first, so that leaves are numbered as they come. A node's points are one range of the index array;
// splitting it is one stable counting sort of that range by child, which leaves each child a range of its own
// and the indices ascending within it.
template <int Axes>
class Builder {
 public:
  using Tree = SpatialTree<Axes>;
  using Node = typename Tree::Node;

  Builder(Tree& tree, float const* coordinates, int perLeaf)
      : tree_(tree),
        coordinates_(coordinates),
        perLeaf_(perLeaf < 1 ? Tree::kDefaultPerLeaf : perLeaf),
        childOf_(tree.points.size()),
        sorted_(tree.points.size()) {}

  // Recursion goes no deeper than kMaxDepth.
  void build(int index, int level) {
    tree_.depth = std::max(tree_.depth, level);
    const Node node = tree_.nodes[index];  // a copy: the array grows underneath
    Split split;
    if (level == Tree::kMaxDepth || node.pointsEnd - node.pointsBegin <= perLeaf_ ||
        !findSplit(node, split)) {
      tree_.nodes[index].leaf = tree_.numLeaves++;
      return;
    }
    int ends[Tree::kNumChildren];
    partition(node, split, ends);
    const int firstChild = static_cast<int>(tree_.nodes.size());
    addChildren(index, node, split, ends);
    const int endChild = static_cast<int>(tree_.nodes.size());
    for (int child = firstChild; child < endChild; ++child) build(child, level + 1);
  }

 private:
  struct Split {
    float at[Axes];
    int axes = 0;  // bit k: axis k is split
  };

  // Written so that empty, infinite and NaN bounds are never split: their middle is not strictly inside.
  static bool findSplit(const Node& node, Split& split) {
    for (int k = 0; k < Axes; ++k) {
      split.at[k] = Tree::middle(node.box.min[k], node.box.max[k]);
      if (split.at[k] < node.box.max[k]) split.axes |= 1 << k;
    }
    return split.axes != 0;
  }

  // On return child c owns the range of points that ends at ends[c] and starts where the one before it ends.
  void partition(const Node& node, const Split& split, int (&ends)[Tree::kNumChildren]) {
    int* const points = tree_.points.data();
    int count[Tree::kNumChildren] = {};
    for (int i = node.pointsBegin; i < node.pointsEnd; ++i) {
      float const* p = coordinates_ + std::size_t{3} * points[i];
      int child = 0;
      for (int k = 0; k < Axes; ++k) child |= (p[k] > split.at[k]) << k;  // NaN stays below
      child &= split.axes;
      childOf_[i] = static_cast<std::uint8_t>(child);
      ++count[child];
    }
    int next[Tree::kNumChildren];
    int begin = node.pointsBegin;
    for (int c = 0; c < Tree::kNumChildren; ++c) {
      next[c] = begin;
      ends[c] = begin += count[c];
    }
    for (int i = node.pointsBegin; i < node.pointsEnd; ++i) sorted_[next[childOf_[i]]++] = points[i];
    std::copy(sorted_.data() + node.pointsBegin, sorted_.data() + node.pointsEnd, points + node.pointsBegin);
  }

  // Every part of the box gets its child, with or without points: the leaves have to tile the root.
  void addChildren(int index, const Node& parent, const Split& split, const int (&ends)[Tree::kNumChildren]) {
    tree_.nodes[index].firstChild = static_cast<int>(tree_.nodes.size());
    int begin = parent.pointsBegin;
    for (int c = 0; c < Tree::kNumChildren; ++c) {
      if (c & ~split.axes) continue;
      Node child;
      child.box = parent.box;
      for (int k = 0; k < Axes; ++k)
        if (split.axes >> k & 1) ((c >> k & 1) ? child.box.min : child.box.max)[k] = split.at[k];
      child.pointsBegin = begin;
      child.pointsEnd = begin = ends[c];
      tree_.nodes[index].children |= static_cast<std::uint8_t>(1 << c);
      tree_.nodes.push_back(child);
    }
  }

  Tree& tree_;
  float const* coordinates_;
  int perLeaf_;
  qv::vector<std::uint8_t> childOf_;  // by position in the index array, for the node being split
  qv::vector<int> sorted_;
};

}  // namespace

template <int Axes>
SpatialTree<Axes>::SpatialTree(int n, float const* coordinates, const BoundingBox& box, int perLeaf)
    : nodes(1) {
  // The lone root then is an inner node without children, at which every walk ends at once.
  if (n <= 0 || !coordinates) return;
  points.resize(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) points[i] = i;
  nodes[0].box = box;
  nodes[0].pointsEnd = n;
  Builder<Axes>(*this, coordinates, perLeaf).build(0, 1);
  nodes.shrink_to_fit();  // trees are kept far longer than they take to build
}

template class SpatialTree<2>;
template class SpatialTree<3>;

}  // namespace qvGeom
