#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <numeric>
#include <vector>

#include "geom/model/keel/random.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/quadtree.h"

namespace qvGeom {
namespace {

BoundingBox boxOf(float lower, float upper) {
  const double minMax[] = {lower, lower, lower, upper, upper, upper};
  return BoundingBox(minMax);
}

struct Cloud {
  const char* name;
  int count;
  float ex, ey, ez;
  BoundingBox box = {};
  std::vector<float> xyz = {};
};

std::vector<Cloud> makeClouds() {
  const float next = std::nextafter(1.0f, 2.0f), inf = INFINITY;
  std::vector<Cloud> clouds{
      // In the box of their points.
      Cloud{"random", 2000, 1, 1, 1}, Cloud{"NaN and infinity", 600, 1, 1, 1}, Cloud{"flat", 1000, 1, 1, 0},
      Cloud{"collinear", 500, 0, 1, 0}, Cloud{"identical", 100, 0, 0, 0}, Cloud{"one point", 1, 1, 1, 1},
      Cloud{"no point", 0, 1, 1, 1},
      // In others.
      Cloud{"identical inside", 99, 0, 0, 0, boxOf(-1, 1)},
      Cloud{"one float wide", 99, 1, 1, 1, boxOf(1, next)},
      Cloud{"whole range", 99, 3e38f, 3e38f, 3e38f, boxOf(-3.4e38f, 3.4e38f)},
      Cloud{"outside", 99, 4, 4, 4, boxOf(1, 2)}, Cloud{"inverted box", 99, 1, 1, 1, boxOf(1, 0)},
      Cloud{"infinite box", 99, 1, 1, 1, boxOf(-inf, inf)}, Cloud{"NaN box", 99, 1, 1, 1, boxOf(NAN, NAN)},
      Cloud{"only NaN", 99, NAN, NAN, NAN, boxOf(0, 1)}};
  for (Cloud& c : clouds) {
    for (int i = 0; i < c.count; ++i)
      for (const float e : {c.ex, c.ey, c.ez})
        c.xyz.push_back(0.25f + e * static_cast<float>(qvUtil::drand48()));
    for (int i = 0; i < c.count && &c < &clouds[7]; ++i) c.box.extend(&c.xyz[3 * i]);
  }
  for (std::size_t i = 0; i < 1800; i += 7) clouds[1].xyz[i] = i % 2 ? NAN : INFINITY;
  return clouds;
}

bool closedContains(const BoundingBox& box, float const* p, int axes) {
  for (int k = 0; k < axes; ++k)
    if (!(box.min[k] <= p[k] && p[k] <= box.max[k])) return false;
  return true;
}

int numberOf(const OctreeIterator& it) { return it.voxel(); }
int numberOf(const QuadtreeIterator& it) { return it.leaf(); }

// Walks a tree in ascending order of children and checks what must hold at every node. Children that halve
// their parent exactly, from the given box on, tile it.
template <int Axes, typename Iterator>
struct Walk {
  const Cloud& cloud;
  const int perLeaf;
  int deepest = 0, leaves = 0;
  std::vector<int> indices = {};

  // Returns the number of points below the node.
  int visit(const Iterator& node, int level) {
    deepest = std::max(deepest, level);
    float middle[Axes];
    int axes = 0, points = 0;
    for (int k = 0; k < Axes; ++k) {
      middle[k] = 0.5f * node.min[k] + 0.5f * node.max[k];
      if (node.min[k] < middle[k] && middle[k] < node.max[k]) axes |= 1 << k;
    }
    if (node.isLeaf()) {
      EXPECT_TRUE(node.numPoints() <= perLeaf || level == 20 || !axes);
      return visitLeaf(node);
    }
    EXPECT_EQ(numberOf(node), -1);
    for (int c = 0; c < 1 << Axes; ++c) {
      Iterator child = node;
      const bool exists = child.descend(c);
      EXPECT_EQ(exists, (c & ~axes) == 0) << "every part has its child, nothing else has";
      if (!exists) continue;
      for (int k = 0; k < Axes; ++k) {
        const bool split = axes >> k & 1, upper = c >> k & 1;
        EXPECT_EQ(child.min[k], split && upper ? middle[k] : node.min[k]);
        EXPECT_EQ(child.max[k], split && !upper ? middle[k] : node.max[k]);
      }
      points += visit(child, level + 1);
    }
    EXPECT_GT(points, perLeaf) << "split without need";
    return points;
  }

  int visitLeaf(const Iterator& leaf) {
    EXPECT_EQ(numberOf(leaf), leaves++);
    for (const int c : {-1, 0, 64}) EXPECT_FALSE(Iterator(leaf).descend(c));
    const std::vector<int> run(leaf.firstPoint(), leaf.firstPoint() + leaf.numPoints());
    EXPECT_TRUE(std::is_sorted(run.begin(), run.end()));
    for (const int i : run) {
      float const* p = &cloud.xyz[3 * i];
      EXPECT_TRUE(!closedContains(cloud.box, p, Axes) || closedContains(leaf, p, Axes)) << "point " << i;
    }
    indices.insert(indices.end(), run.begin(), run.end());
    return leaf.numPoints();
  }
};

template <int Axes, typename Iterator>
void expectSoundTree(const Cloud& cloud, int perLeaf, const Iterator& root, int numLeaves, int depth) {
  SCOPED_TRACE(testing::Message() << cloud.name << ", " << perLeaf << " a leaf, axes " << Axes);
  if (cloud.count == 0) {
    EXPECT_TRUE(!root.isLeaf() && !Iterator(root).descend(0) && !root.isValid() && numLeaves == 0 &&
                depth == 1);
    return;
  }
  Walk<Axes, Iterator> walk{cloud, perLeaf};
  EXPECT_EQ(walk.visit(root, 1), cloud.count);
  EXPECT_TRUE(walk.leaves == numLeaves && walk.deepest == depth && depth <= 20) << depth;
  EXPECT_EQ(std::memcmp(root.min, cloud.box.min, sizeof(BoundingBox)), 0);
  std::sort(walk.indices.begin(), walk.indices.end());
  std::vector<int> each(cloud.xyz.size() / 3);
  std::iota(each.begin(), each.end(), 0);
  EXPECT_EQ(walk.indices, each) << "each point in exactly one run";
}

TEST(Trees, LeavesTileTheBoxAndShareOutThePoints) {
  qvUtil::srand48(20);
  for (const Cloud& cloud : makeClouds())
    for (const int perLeaf : {1, 16}) {
      const Octree octree(cloud.count, cloud.xyz.data(), cloud.box, true, perLeaf);
      expectSoundTree<3>(cloud, perLeaf, octree.getRoot(), octree.getNumVoxels(), octree.getDepth());
      const Quadtree quadtree(cloud.count, cloud.xyz.data(), cloud.box, perLeaf);
      expectSoundTree<2>(cloud, perLeaf, quadtree.getRoot(), quadtree.getNumLeaves(), quadtree.getDepth());
    }
}

TEST(Trees, LimitsOfSplitting) {
  const std::vector<float> same(3 * 17, 0.25f);
  struct Case {
    int points, perLeaf, depth;
  };
  for (const auto& [n, perLeaf, depth] :
       {Case{17, 16, 20}, {17, 17, 1}, {16, 0, 1}, {17, -5, 20}, {-3, 16, 1}})
    EXPECT_EQ(Octree(n, same.data(), boxOf(-1, 1), false, perLeaf).getDepth(), depth) << n << ' ' << perLeaf;
  EXPECT_EQ(Octree(5, nullptr, boxOf(-1, 1), true, 16).getNumVoxels(), 0);

  const float points[] = {NAN, 0.9f, 0.9f, 0.9f, 0.9f, 0.9f};
  const Octree octree(2, points, boxOf(0, 1), true, 1);
  OctreeIterator below = octree.getRoot(), none;
  ASSERT_TRUE(below.descend(6) && below.numPoints() == 1) << "NaN counts as the lower half";
  EXPECT_EQ(*below.firstPoint(), 0);
  EXPECT_TRUE(!none.descend(0) && !none.isLeaf() && none.voxel() == -1 && !none.contains(below));
}

TEST(Trees, ChildrenAreOrderedFrontToBack) {
  // Uneven scales hide a component from the sum of all three; the odd ones compare to nothing.
  std::vector<qvLinear::Vector> dirs;
  for (const qvLinear::Vector& s :
       {qvLinear::Vector(1, 1, 1), {1e-20, 1, 1e20}, {1, 1, 1e-20}, {1e308, 1e308, 1e308}})
    for (int d = 0; d < 27; ++d)
      dirs.push_back({s[0] * (d % 3 - 1), s[1] * (d / 3 % 3 - 1), s[2] * (d / 9 - 1)});
  for (const double odd : {double{NAN}, -double{INFINITY}})
    for (const double other : {0.0, 1.0, double{INFINITY}}) dirs.push_back({odd, other, odd});
  std::vector<int> order(8), place(8);
  for (const qvLinear::Vector& dir : dirs) {
    SCOPED_TRACE(testing::Message() << "direction " << dir[0] << ", " << dir[1] << ", " << dir[2]);
    Octree::getNodeOrdering(dir, order.data());
    place.assign(8, -1);
    for (int i = 0; i < 8; ++i) place.at(order[i]) = i;
    ASSERT_EQ(std::count(place.begin(), place.end(), -1), 0) << "not a permutation";
    for (int edge = 0; edge < 24 && !std::isnan(dir[0] + dir[1] + dir[2]); ++edge) {
      const int c = edge / 3, k = edge % 3;
      EXPECT_TRUE((c >> k & 1) || (place[c] < place[c | 1 << k]) == !(dir[k] < 0))
          << c << " along axis " << k;
    }
  }
  Octree::getNodeOrdering({1e-20, 1, 1}, order.data());
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 4, 3, 5, 6, 7})) << "ties by number";
}

}  // namespace
}  // namespace qvGeom
