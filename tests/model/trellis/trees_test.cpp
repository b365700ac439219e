#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <vector>

#include "geom/model/keel/random.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/quadtree.h"

namespace qvGeom {
namespace {

struct Cloud {
  std::string name;
  std::vector<float> xyz;
  BoundingBox box;
  int count() const { return static_cast<int>(xyz.size() / 3); }
};

BoundingBox boxOf(float lower, float upper) {
  const double minMax[] = {lower, lower, lower, upper, upper, upper};
  return BoundingBox(minMax);
}

Cloud scatter(const char* name, int n, float ex, float ey, float ez) {
  Cloud cloud{name, {}, {}};
  for (int i = 0; i < n; ++i)
    for (const float e : {ex, ey, ez}) cloud.xyz.push_back(0.25f + e * static_cast<float>(qvUtil::drand48()));
  for (int i = 0; i < n; ++i) cloud.box.extend(&cloud.xyz[3 * i]);
  return cloud;
}

Cloud inBox(const char* name, float extent, const BoundingBox& box) {
  Cloud cloud = scatter(name, 100, extent, extent, extent);
  cloud.box = box;
  return cloud;
}

std::vector<Cloud> makeClouds() {
  std::vector<Cloud> clouds = {scatter("random", 2000, 1, 1, 1),
                               scatter("flat", 1000, 1, 1, 0),
                               scatter("collinear", 500, 0, 1, 0),
                               scatter("identical", 100, 0, 0, 0),
                               scatter("one point", 1, 1, 1, 1),
                               scatter("no point", 0, 1, 1, 1),
                               scatter("NaN and infinity among them", 600, 1, 1, 1),
                               inBox("identical inside a box", 0, boxOf(-1, 1)),
                               inBox("box one float wide", 1, boxOf(1, std::nextafter(1.0f, 2.0f))),
                               inBox("whole float range", 3e38f, boxOf(-3.4e38f, 3.4e38f)),
                               inBox("points outside the box", 4, boxOf(1, 2)),
                               inBox("points off a flat box", 4, boxOf(1, 2)),
                               inBox("empty box", 1, BoundingBox()),
                               inBox("infinite box", 1, boxOf(-INFINITY, INFINITY)),
                               inBox("NaN box", 1, boxOf(NAN, NAN)),
                               inBox("only NaN", NAN, boxOf(0, 1))};
  std::vector<float>& xyz = clouds[6].xyz;
  for (std::size_t i = 0; i < xyz.size(); i += 7) xyz[i] = i % 2 ? NAN : INFINITY;
  clouds[11].box.max[1] = 1;
  return clouds;
}

bool closedContains(const BoundingBox& box, float const* p, int axes) {
  for (int k = 0; k < axes; ++k)
    if (!(box.min[k] <= p[k] && p[k] <= box.max[k])) return false;
  return true;
}

int numberOf(const OctreeIterator& it) { return it.voxel(); }
int numberOf(const QuadtreeIterator& it) { return it.leaf(); }

// Walks a tree in ascending order of children and checks what must hold at every node.
template <int Axes, typename Iterator>
struct Walk {
  const Cloud& cloud;
  const int perLeaf;
  int deepest = 0;
  std::vector<Iterator> leaves = {};
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
    EXPECT_EQ(numberOf(leaf), static_cast<int>(leaves.size()));
    for (const int c : {-1, 0, 64}) EXPECT_FALSE(Iterator(leaf).descend(c));
    const std::vector<int> run(leaf.firstPoint(), leaf.firstPoint() + leaf.numPoints());
    EXPECT_TRUE(std::is_sorted(run.begin(), run.end()));
    for (const int i : run) {
      float const* p = &cloud.xyz[3 * i];
      EXPECT_TRUE(!closedContains(cloud.box, p, Axes) || closedContains(leaf, p, Axes)) << "point " << i;
    }
    indices.insert(indices.end(), run.begin(), run.end());
    leaves.push_back(leaf);
    return leaf.numPoints();
  }
};

// Sizes, along the axes that have any, add up to the box's, and no sample of it is left out.
template <int Axes, typename Iterator>
void expectTiled(const BoundingBox& box, const std::vector<Iterator>& leaves) {
  double sum = 0;
  for (const Iterator& leaf : leaves) {
    double share = 1;
    for (int k = 0; k < Axes; ++k)
      if (box.max[k] > box.min[k])
        share *= (double{leaf.max[k]} - leaf.min[k]) / (double{box.max[k]} - box.min[k]);
    sum += share;
  }
  EXPECT_NEAR(sum, 1, 1e-9);
  for (int sample = 0; sample < 50; ++sample) {
    float p[3];
    for (int k = 0; k < 3; ++k) {
      const auto t = static_cast<float>(sample < 8 ? sample >> k & 1 : qvUtil::drand48());
      p[k] = std::clamp((1 - t) * box.min[k] + t * box.max[k], box.min[k], box.max[k]);
    }
    const auto holds = [&](const Iterator& leaf) { return closedContains(leaf, p, Axes); };
    EXPECT_TRUE(std::any_of(leaves.begin(), leaves.end(), holds));
  }
}

template <int Axes, typename Iterator>
void expectSoundTree(const Cloud& cloud, int perLeaf, const Iterator& root, int numLeaves, int depth) {
  SCOPED_TRACE(cloud.name + ", " + std::to_string(perLeaf) + " a leaf, axes " + std::to_string(Axes));
  if (cloud.count() == 0) {
    EXPECT_TRUE(!root.isLeaf() && !root.isValid() && numLeaves == 0 && depth == 1);
    for (int c = 0; c < 1 << Axes; ++c) EXPECT_FALSE(Iterator(root).descend(c));
    return;
  }
  Walk<Axes, Iterator> walk{cloud, perLeaf};
  EXPECT_EQ(walk.visit(root, 1), cloud.count());
  EXPECT_EQ(static_cast<int>(walk.leaves.size()), numLeaves);
  EXPECT_EQ(walk.deepest, depth);
  EXPECT_LE(depth, 20);
  std::sort(walk.indices.begin(), walk.indices.end());
  std::vector<int> each(cloud.xyz.size() / 3);
  std::iota(each.begin(), each.end(), 0);
  EXPECT_EQ(walk.indices, each) << "each point in exactly one run";
  if (cloud.box.isValid() && std::isfinite(cloud.box.max[0])) expectTiled<Axes>(cloud.box, walk.leaves);
}

TEST(Trees, LeavesTileTheBoxAndShareOutThePoints) {
  constexpr std::uint32_t kSeed = 20;
  SCOPED_TRACE("seed " + std::to_string(kSeed));
  qvUtil::srand48(kSeed);
  for (const Cloud& cloud : makeClouds())
    for (const int perLeaf : {1, 16}) {
      const Octree octree(cloud.count(), cloud.xyz.data(), cloud.box, true, perLeaf);
      expectSoundTree<3>(cloud, perLeaf, octree.getRoot(), octree.getNumVoxels(), octree.getDepth());
      const Quadtree quadtree(cloud.count(), cloud.xyz.data(), cloud.box, perLeaf);
      expectSoundTree<2>(cloud, perLeaf, quadtree.getRoot(), quadtree.getNumLeaves(), quadtree.getDepth());
    }
}

TEST(Trees, LimitsOfSplitting) {
  const std::vector<float> same(3 * 17, 0.25f);
  const auto depth = [&](int points, int perLeaf) {
    return Octree(points, same.data(), boxOf(-1, 1), false, perLeaf).getDepth();
  };
  EXPECT_EQ(depth(17, 16), 20);
  EXPECT_EQ(depth(17, 17), 1) << "exactly as many points as a leaf may hold";
  EXPECT_EQ(depth(16, 0), 1);
  EXPECT_EQ(depth(17, -5), 20);
  EXPECT_EQ(depth(-3, 16), 1);
  EXPECT_EQ(Octree(0, same.data(), boxOf(-1, 1), true, 16).getNumVoxels(), 0);
  EXPECT_EQ(Octree(5, nullptr, boxOf(-1, 1), true, 16).getNumVoxels(), 0);

  const float points[] = {NAN, 0.9f, 0.9f, 0.9f, 0.9f, 0.9f};
  const Octree octree(2, points, boxOf(0, 1), true, 1);
  OctreeIterator below = octree.getRoot(), none;
  ASSERT_TRUE(below.descend(6)) << "NaN counts as the lower half";
  ASSERT_EQ(below.numPoints(), 1);
  EXPECT_EQ(*below.firstPoint(), 0);
  EXPECT_TRUE(!none.descend(0) && !none.isLeaf() && none.voxel() == -1 && !none.contains(below));
}

std::vector<int> orderOf(const qvLinear::Vector& dir) {
  std::vector<int> order(8);
  Octree::getNodeOrdering(dir, order.data());
  return order;
}

void expectFrontToBack(const qvLinear::Vector& dir) {
  SCOPED_TRACE(testing::Message() << "direction " << dir[0] << ", " << dir[1] << ", " << dir[2]);
  int place[8] = {}, visits[8] = {}, i = 0;
  for (const int c : orderOf(dir)) {
    ASSERT_TRUE(c >= 0 && c < 8 && ++visits[c] == 1) << "not a permutation";
    place[c] = i++;
  }
  if (std::isnan(dir[0] + dir[1] + dir[2])) return;
  for (int c = 0; c < 8; ++c)
    for (int k = 0; k < 3; ++k)
      EXPECT_TRUE((c >> k & 1) || (place[c] < place[c | 1 << k]) == !(dir[k] < 0))
          << c << " along axis " << k;
}

TEST(Trees, ChildrenAreOrderedFrontToBack) {
  // Uneven scales hide a component from the sum of all three.
  const qvLinear::Vector scales[] = {{1, 1, 1}, {1e-20, 1, 1e20}, {1, 1, 1e-20}, {1e308, 1e308, 1e308}};
  for (const auto& scale : scales)
    for (int d = 0; d < 27; ++d)
      expectFrontToBack({scale[0] * (d % 3 - 1), scale[1] * (d / 3 % 3 - 1), scale[2] * (d / 9 - 1)});
  for (const double odd : {double{NAN}, -double{INFINITY}})
    for (const double other : {0.0, 1.0, double{INFINITY}}) expectFrontToBack({odd, other, odd});
  EXPECT_EQ(orderOf({1, 1, 1}), (std::vector<int>{0, 1, 2, 4, 3, 5, 6, 7})) << "ties by number";
  EXPECT_EQ(orderOf({0, -1, 0}), (std::vector<int>{2, 3, 6, 7, 0, 1, 4, 5}));
  EXPECT_EQ(orderOf({1e-20, 1, 1}), (std::vector<int>{0, 1, 2, 4, 3, 5, 6, 7}));
  EXPECT_EQ(orderOf({5, 2, 1}), (std::vector<int>{0, 4, 2, 6, 1, 5, 3, 7}));
}

}  // namespace
}  // namespace qvGeom
