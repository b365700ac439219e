#include <algorithm>
#include <gtest/gtest.h>
#include <utility>

#include "geom/spatial/box_tests.h"
#include "geom/spatial/quadtree_iterator.h"
#include "geom/spatial/scene_bounding_box.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/spatial.h"

namespace qvGeom {
namespace {

using qvLinear::Normal;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;
using qvLinear::VectorFlt;

BoundingBox boxOf(const Point& min, const Point& max) {
  BoundingBox box;
  box.extend(PointFlt(min));
  box.extend(PointFlt(max));
  return box;
}

TEST(BoxTests, TouchingMeetsAndAnyGapSeparates) {
  const BoundingBox unit = boxOf({0, 0, 0}, {1, 1, 1});
  const float above = std::nextafter(1.0f, 2.0f);
  struct Case {
    float p[9];
    bool meets;
  };
  for (const Case& c :
       {Case{{4, 0, 0, 0, 4, 0, 0, 0, 4}, false}, Case{{1.5f, 0, 0, 0, 1.5f, 0, 0, 0, 1.5f}, true},
        Case{{3, 0, 0, 0, 3, 0, 0, 0, 3}, true}, Case{{-9, -9, 1, 9, -9, 1, 0, 9, 1}, true},
        Case{{-9, -9, above, 9, -9, above, 0, 9, above}, false}, Case{{1, 1, 1, 2, 2, 2, 3, 3, 3}, true},
        Case{{2, -1, 0, 3, 2, 0, 3, 2, 1}, false}, Case{{1.5f, 0, 0, 3, 1.5f, 0, 3, 3, 1}, false},
        Case{{0.5f, 0.5f, 0.5f}, true}}) {
    for (int turn = 0; turn < 3; ++turn) {
      float const* p[3] = {c.p + turn * 3, c.p + (turn + 1) % 3 * 3, c.p + (turn + 2) % 3 * 3};
      EXPECT_EQ(intersects(unit, p[0], p[1], p[2]), c.meets) << testing::PrintToString(c.p);
    }
  }
  const float a[] = {1.5f, 0, 0.5f}, b[] = {0, 1.5f, 0.5f}, c[] = {2.5f, 0, 0.5f}, d[] = {0, 2.5f, 0.5f};
  EXPECT_TRUE(intersects(unit, a, b) && !intersects(unit, a, a));
  EXPECT_FALSE(intersects(unit, c, d));
  const Plane x2(Point(2, 0, 0), Normal(1, 0, 0));
  EXPECT_EQ(intersects(boxOf({3, 0, 0}, {4, 1, 1}), x2), 1);
  EXPECT_EQ(intersects(unit, x2), -1);
  EXPECT_EQ(intersects(boxOf({1, 0, 0}, {2, 1, 1}), x2), 0) << "touching";
  EXPECT_TRUE(intersects(unit, Sphere{{2, 0.5, 0.5}, 1}));
  EXPECT_FALSE(intersects(unit, Sphere{{2, 2, 0.5}, 1}));
  const Frustum frustum;  // [-1, 1]^3
  EXPECT_TRUE(intersects(boxOf({-9, -9, -9}, {9, 9, 9}), frustum) &&
              intersects(boxOf({1, 1, 1}, {2, 2, 2}), frustum));
  EXPECT_FALSE(intersects(boxOf({-1, -1, 1.1}, {1, 1, 2}), frustum));
  EXPECT_TRUE(contains(frustum, Point(1, -1, 1)) && !contains(frustum, Point(1, -1, 1.01)));
  EXPECT_TRUE(contains(unit, PointFlt(0, 1, 0)) && !contains(unit, PointFlt(0, above, 0)));
  EXPECT_FALSE(contains(unit, PointFlt(NAN, 0, 0)));
  float min, max;
  project(boxOf({1, 2, 3}, {2, 4, 6}), VectorFlt(1, -1, 2), min, max);
  EXPECT_TRUE(min == 1 - 4 + 6 && max == 2 - 2 + 12);
}

// Against points sampled on the triangle: one in the box means that they meet, and where they meet there is a
// sample in a box that is larger by the distance between samples.
TEST(BoxTests, AgreeWithSamplesOnRandomTriangles) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> at(-2, 2);
  const BoundingBox unit = boxOf({-0.5, -0.5, -0.5}, {0.5, 0.5, 0.5});
  BoundingBox larger = unit;
  larger.extend(0.15f);
  for (int i = 0; i < 3000; ++i) {
    float p[9];
    for (float& x : p) x = at(random);
    bool sampled = false, near = false;
    for (int u = 0; u <= 40; ++u)
      for (int v = 0; u + v <= 40; ++v) {
        const float a = static_cast<float>(u) / 40, b = static_cast<float>(v) / 40;
        PointFlt q;
        for (int k = 0; k < 3; ++k) q[k] = p[k] * a + p[3 + k] * b + p[6 + k] * (1 - a - b);
        sampled = sampled || contains(unit, q);
        near = near || contains(larger, q);
      }
    const bool meets = intersects(unit, p, p + 3, p + 6);
    ASSERT_TRUE(meets ? near : !sampled) << i;
  }
}

template <typename It, typename Shape, typename Test>
void expectLeaves(const Indexed& m, const Shape& shape, const Test& meets, const Vector& along) {
  std::vector<int> expected, found;
  for (const OctreeIterator& leaf : m.leaves())
    if (meets(leaf)) expected.push_back(leaf.voxel());
  PointFlt previous;
  for (It it(m.octree, shape); it.valid(); it.next()) found.push_back(it.get().voxel());
  std::vector<int> sorted = found;
  std::sort(sorted.begin(), sorted.end());
  std::sort(expected.begin(), expected.end());
  ASSERT_EQ(sorted, expected);
  if (found.size() < 2 || length2(along) == 0) return;
  // Front to back: the root's halves along a direction that follows an axis come one after the other.
  std::vector<double> depth(m.leaves().size());
  for (const OctreeIterator& leaf : m.leaves())
    depth[static_cast<std::size_t>(leaf.voxel())] = dot(Point(leaf.center()) - Point(), along);
  const double middle = dot(Point(m.box.center()) - Point(), along);
  EXPECT_TRUE(std::is_partitioned(found.begin(), found.end(),
                                  [&](int v) { return depth[static_cast<std::size_t>(v)] <= middle; }));
}

TEST(OctreeIterators, YieldExactlyTheLeavesThatPass) {
  std::mt19937 random(11);
  forHardMeshes(3000, [&](const Indexed& m) {
    for (int i = 0; i < 30; ++i) {
      const Point p = hardPoint(m, 1.2, random), q = hardPoint(m, 1.2, random);
      const BoundingBox box = boxOf(p, q);
      expectLeaves<OctreeBBoxIntersectIt>(
          m, box, [&](auto& l) { return l.intersects(box); }, Vector::x);
      const Sphere sphere{p, distance(p, q) / 2};
      expectLeaves<OctreeSphereIntersectIt>(
          m, sphere, [&](auto& l) { return intersects(l, sphere); }, Vector::x);
      const PointFlt origin(p);
      const Vector dirs[] = {q - p, {0, 0, -1}, {1, 0, 0}};
      const Ray ray(origin, dirs[i % 3]);
      expectLeaves<OctreeRayIntersectIt>(
          m, ray, [&](auto& l) { return ray.intersects(l, 0, 3e38f); }, i % 3 ? dirs[i % 3] : Vector());
      Point corners[8];
      for (int c = 0; c < 8; ++c) {
        const bool far = c >= 4, right = c % 4 == 1 || c % 4 == 2, up = c % 4 >= 2;
        corners[c] = p + Vector(right ? 1 : -1, up ? 1 : -1, 3) * ((far ? 0.5 : 0.1) * (1 + distance(p, q)));
      }
      const Frustum f(corners);
      expectLeaves<OctreeIntersectIt>(
          m, f, [&](auto& l) { return intersects(l, f); }, Vector());
    }
    std::vector<int> all;
    for (const OctreeIterator& leaf : m.leaves()) all.push_back(leaf.voxel());
    ASSERT_EQ(static_cast<int>(all.size()), m.octree.getNumVoxels());
    EXPECT_TRUE(std::is_sorted(all.rbegin(), all.rend())) << "child 7 first";
    EXPECT_FALSE(OctreeRayIntersectIt(m.octree).valid() || OctreeSphereIntersectIt(m.octree).valid());
  });
}

// What the partition says, word by word, with the public iterator and one remembered voxel per chunk.
std::vector<std::vector<int>> partitionOf(const Indexed& m, int chunks, int& coherent) {
  std::vector<std::vector<int>> sets(static_cast<std::size_t>(m.octree.getNumVoxels()));
  const int n = m.mesh.getNumTriangles();
  for (int c = 0, t = 0; c < chunks; ++c) {
    OctreeIterator remembered;
    for (const int end = t + n / chunks + (c < n % chunks ? 1 : 0); t < end; ++t) {
      BoundingBox box;
      float const* p[3];
      for (int k = 0; k < 3; ++k) box.extend(p[k] = &m.mesh.getVertices()[m.mesh.getTriangles()[t][k]].x);
      if (remembered.contains(box)) {
        sets[static_cast<std::size_t>(remembered.voxel())].push_back(t);
        ++coherent;
        continue;
      }
      for (OctreeBBoxIntersectIt it(m.octree, box); it.valid(); it.next()) {
        remembered = it.get();
        if (intersects(remembered, p[0], p[1], p[2]))
          sets[static_cast<std::size_t>(remembered.voxel())].push_back(t);
      }
    }
  }
  return sets;
}

TEST(OctreePartition, FilesAsStatedForEveryNumberOfThreads) {
  forHardMeshes(20000, [](const Indexed& m) {
    forThreadCounts([&] {
      DebugLog log;
      OctreeTris tris;
      computeOctreeTris(m.mesh, m.octree, tris);
      const int n = m.mesh.getNumTriangles(), voxels = m.octree.getNumVoxels();
      if (voxels == 0) {
        EXPECT_TRUE(log.messages.empty());
        return;
      }
      int coherent = 0;
      const auto expected = partitionOf(m, qvUtil::ThreadPool::get().getNumThreads(), coherent);
      std::size_t pairs = 0;
      for (int v = 0; v < voxels; ++v) {
        const auto& set = expected[static_cast<std::size_t>(v)];
        pairs += set.size();
        ASSERT_EQ(std::vector<int>(tris.firstTri(v), tris.firstTri(v) + tris.numTris(v)), set)
            << "voxel " << v;
      }
      char counts[120];
      std::snprintf(counts, sizeof counts, "(%.2f coherence, %.2f voxels/tri, ", n ? double(coherent) / n : 0,
                    n ? static_cast<double>(pairs) / n : 0);
      ASSERT_EQ(log.messages.size(), 1u);
      EXPECT_EQ(log.messages[0].find("OctreeTris:  Partitioned " + std::to_string(n) + " triangles into " +
                                     std::to_string(voxels) + " voxels in "),
                0u);
      EXPECT_NE(log.messages[0].find(std::string(" seconds.\n             ") + counts), std::string::npos)
          << log.messages[0];
    });
  });
}

TEST(OctreePartition, LinesAndAnEmptyOctree) {
  Indexed m(shapes::grid(20, 20));
  m.mesh.resizeLineArray(m.mesh.getNumTriangles());
  for (int i = 0; i < m.mesh.getNumLines(); ++i)
    m.mesh.getLines()[i] = {{m.mesh.getTriangles()[i][0], m.mesh.getTriangles()[(i * 7) % 800][1]}};
  OctreeLines lines;
  DebugLog log;
  meshOctreeLines(m.mesh, m.octree, lines);
  EXPECT_NE(log.messages.at(0).find("OctreeLines:  Partitioned 800 lines into "), std::string::npos);
  EXPECT_NE(log.messages.at(0).find(" duplication, "), std::string::npos);
  for (const OctreeIterator& leaf : m.leaves()) {
    const auto has = [&](int i) {
      int const* list = lines.firstLine(leaf.voxel());
      return std::binary_search(list, list + lines.numLines(leaf.voxel()), i);
    };
    for (int i = 0; i < m.mesh.getNumLines(); ++i) {
      const MeshLine& l = m.mesh.getLines()[i];
      ASSERT_TRUE(!has(i) || intersects(leaf, &m.mesh.getVertices()[l[0]].x, &m.mesh.getVertices()[l[1]].x));
    }
  }
  OctreeLines kept;
  kept.swap(lines);
  const int before = kept.getNumVoxels();
  meshOctreeLines(m.mesh, Octree(), kept);
  EXPECT_TRUE(kept.getNumVoxels() == before && log.messages.size() == 1)
      << "nothing happens, and nothing is said";
}

TEST(QuadtreeIterator, YieldsTheLeavesUnderTheBox) {
  std::mt19937 random(5);
  const Indexed m(shapes::grid(30, 30));
  const Quadtree tree(m.mesh.getNumVertices(), m.mesh.getVerticesRaw(), m.box, 4);
  const auto count = [&](const BoundingBox& box) {
    int n = 0, last = -1;
    for (QuadtreeIntersectIt it(tree, box); it.valid(); it.next(), ++n) {
      EXPECT_TRUE(it.get().intersects2D(box) && it.get().leaf() > last) << "ascending";
      last = it.get().leaf();
    }
    return n;
  };
  EXPECT_EQ(count(m.box), tree.getNumLeaves());
  EXPECT_EQ(count(boxOf({2, 2, 0}, {3, 3, 0})), 0);
  for (int i = 0; i < 50; ++i) {
    // Split in two, a box meets the leaves of both parts; those on the cut twice.
    const Point p = hardPoint(m, 1, random), q = hardPoint(m, 1, random);
    const BoundingBox whole = boxOf(p, q);
    BoundingBox left = whole, right = whole, cut = whole;
    left.max[0] = right.min[0] = cut.min[0] = cut.max[0] = whole.center()[0];
    EXPECT_EQ(count(left) + count(right) - count(cut), count(whole));
  }
}

TEST(SceneBoundingBox, KnowsUntilAnExtremeGoes) {
  SceneBoundingBox scene;
  const BoundingBox a = boxOf({0, 0, 0}, {1, 1, 1}), b = boxOf({0, 0.2, 0.2}, {2, 0.8, 0.8});
  const BoundingBox inner = boxOf({0.4, 0.4, 0.4}, {0.6, 0.6, 0.6}),
                    low = boxOf({-1, 0.3, 0.3}, {0, 0.5, 0.5});
  scene.addItemBox(a);
  scene.addItemBox(inner);
  scene.removeItemBox(inner);
  EXPECT_TRUE(scene.known());
  scene.addItemBox(b);
  scene.removeItemBox(b);
  EXPECT_TRUE(!scene.known() && equivalent(scene.getSceneBox(), boxOf({0, 0, 0}, {2, 1, 1}), 0));
  scene.addItemBox(boxOf({0, 0, 0}, {2, 0.1, 0.1}));
  EXPECT_TRUE(scene.known()) << "both ends of x were gone";
  scene.addItemBox(low);
  scene.removeItemBox(low);
  scene.removeItemBox(boxOf({1.5, 0.3, 0.3}, {2, 0.5, 0.5}));
  scene.addItemBox(low);
  EXPECT_TRUE(scene.known()) << "only the lower end had moved, to the upper one";
  scene.reset();
  scene.addItemBox(a);
  EXPECT_TRUE(scene.known() && equivalent(scene.getSceneBox(), a, 0));
}

}  // namespace
}  // namespace qvGeom
