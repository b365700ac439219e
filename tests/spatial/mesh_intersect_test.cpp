#include "geom/spatial/mesh_intersect.h"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <map>

#include "tests/support/mesh_checks.h"
#include "tests/support/spatial.h"

namespace qvGeom {
namespace {

using qvLinear::AffineMatrix;
using qvLinear::Point;
using qvLinear::Vector;
using Pairs = std::deque<MeshIntersectPair>;

struct Triangle {
  Point p[3];
};
Triangle triangleOf(const CompactMesh& mesh, int t, const AffineMatrix& m = {}) {
  Triangle result;
  for (int k = 0; k < 3; ++k) result.p[k] = m.apply(mesh.getVertices()[mesh.getTriangles()[t][k]].asPoint());
  return result;
}
bool cross(const Triangle& p, const Triangle& q, Point& s0, Point& s1) {
  return intersect(p.p[0], p.p[1], p.p[2], q.p[0], q.p[1], q.p[2], s0, s1);
}
Point at(const CompactMesh& mesh, const MeshCoord& c) {
  return c.evaluate(mesh.getVertices(), mesh.getTriangles());
}

MeshCoord coordOf(const CompactMesh& mesh, int tri, const Point& p) {
  MeshCoord c;
  c.setFromPoint(tri, mesh.getVerticesRaw(), mesh.getTrianglesRaw(), p);
  return c;
}

TEST(TriangleTriangle, CrossAlongTheCommonSegmentOnly) {
  const Triangle base{{{-1, -1, 0}, {1, -1, 0}, {0.5, 1, 0}}};
  Point s0(7, 7, 7), s1 = s0;
  ASSERT_TRUE(cross(base, {{{0, -0.5, -1}, {0, -0.5, 1}, {0, 2, 0.5}}}, s0, s1));
  if (s0[1] > s1[1]) std::swap(s0, s1);
  EXPECT_LT(distance(s0, Point(0, -0.5, 0)) + distance(s1, Point(0, 1.0 / 3, 0)), 1e-12);
  // A corner, or an edge, in the other plane still cuts it: signs decide, not quotients.
  EXPECT_TRUE(cross(base, {{{0, 0, 0}, {0, -3, 1}, {0, -3, -1}}}, s0, s1));
  EXPECT_TRUE(cross(base, {{{0, 0, 0}, {0, -0.5, 0}, {0, 0, 1}}}, s0, s1));
  EXPECT_LT(distance(s0, s1) - 0.5, 1e-12);
  const Point kept = s0;
  for (const Triangle& q :
       {Triangle{{{-1, -1, 0}, {1, -1, 0}, {0, 0.5, 0}}},      // in the plane, facing the same way
        Triangle{{{1, -1, 0}, {-1, -1, 0}, {0, 0.5, 0}}},      // and the other
        Triangle{{{-1, -1, 1}, {1, -1, 1}, {0, 0.5, 1}}},      // parallel
        Triangle{{{0, 0, 0}, {0, -0.5, 1}, {0, 0.5, 1}}},      // touches in a point
        Triangle{{{2, 0, 1}, {2, 0, -1}, {3, 0, 0}}},          // crosses the plane beside it
        Triangle{{{0, 0, 1e-14}, {0, -0.5, 1}, {0, 0.5, 1}}},  // above, by next to nothing
        Triangle{{{0, 0, -1}, {0, 0, 1}, {0, 0, NAN}}}, Triangle{{{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}}})
    EXPECT_FALSE(cross(base, q, s0, s1));
  EXPECT_TRUE(s0 == kept) << "written on true only";
}

TEST(MeshIntersect, SelfIntersectionsAreThoseOfAllPairs) {
  int crossings = 0;
  forHardMeshes(1500, [&](const Indexed& m) {
    std::map<std::pair<int, int>, std::pair<Point, Point>> expected;
    for (int i = 0; i < m.mesh.getNumTriangles(); ++i)
      for (int j = 0; j < i; ++j) {
        const MeshTriangle &a = m.mesh.getTriangles()[i], &b = m.mesh.getTriangles()[j];
        if (std::find_first_of(a.v, a.v + 3, b.v, b.v + 3) != a.v + 3) continue;
        Point s0, s1;
        if (cross(triangleOf(m.mesh, i), triangleOf(m.mesh, j), s0, s1)) expected[{i, j}] = {s0, s1};
      }
    crossings += static_cast<int>(expected.size());
    Pairs first;
    MeshIntersect intersect(m.mesh, m.octree, m.tris);
    forThreadCounts([&] {
      DebugLog log;
      qvUtil::Progress progress;
      Pairs pairs(3);
      intersect.selfIntersect(progress, pairs);
      ASSERT_EQ(pairs.size(), 2 * expected.size());
      int last = -1;
      for (std::size_t k = 0; k < pairs.size(); k += 2) {
        const int i = pairs[k].first.triangle, j = pairs[k + 1].first.triangle;
        ASSERT_TRUE(i >= last && expected.count({i, j}) && pairs[k].second.triangle == i);
        last = i;
        const auto& [s0, s1] = expected[{i, j}];
        for (const int tri : {i, j}) {
          const MeshCoord ends[] = {coordOf(m.mesh, tri, s0), coordOf(m.mesh, tri, s1)};
          ASSERT_EQ(pairs[k + (tri == j)], (MeshIntersectPair{ends[0], ends[1]}));
        }
      }
      if (first.empty()) first = pairs;
      EXPECT_EQ(pairs, first);
      const std::string head = "qvGeom::meshSelfIntersect: " + std::to_string(m.mesh.getNumTriangles()) +
                               " triangles\n    " + std::to_string(pairs.size()) +
                               " tri/tri intersections\n    ";
      EXPECT_EQ(log.messages.at(0).find(head), 0u);
    });
  });
  EXPECT_GT(crossings, 100);
}

TEST(MeshIntersect, CrossingsWithAnotherMeshAreThoseOfAllPairs) {
  const Indexed a(shapes::torus(24, 16)), b(shapes::torus(20, 12), 4);
  AffineMatrix turned = AffineMatrix(AffineMatrix::scale(1, 1.2, 0.9)) *
                        AffineMatrix::rotate(Vector(1, 2, 3), Vector(-1, 0.3, 0.2));
  for (int c = 0; c < 3; ++c) turned.m[3][c] = 0.3 * c - 0.2;
  const AffineMatrix flipped = AffineMatrix::scale(-1, 1, 1), shifted = AffineMatrix::translation({2, 0, 0});
  for (const AffineMatrix& m : {turned, AffineMatrix(), flipped, shifted}) {
    std::vector<std::pair<int, int>> expected;
    for (int i = 0; i < a.mesh.getNumTriangles(); ++i)
      for (int j = 0; j < b.mesh.getNumTriangles(); ++j) {
        Point s0, s1;
        if (cross(triangleOf(a.mesh, i, m), triangleOf(b.mesh, j), s0, s1)) expected.emplace_back(i, j);
      }
    MeshIntersect intersect(a.mesh, a.octree, a.tris);
    Pairs first;
    forThreadCounts([&] {
      DebugLog log;
      qvUtil::Progress progress;
      Pairs pairs1(1), pairs2(2);
      intersect.intersect(b.mesh, b.octree, b.tris, m, progress, pairs1, pairs2);
      ASSERT_EQ(pairs1.size(), pairs2.size());
      std::vector<std::pair<int, int>> found;
      for (std::size_t k = 0; k < pairs1.size(); ++k) {
        found.emplace_back(pairs1[k].first.triangle, pairs2[k].first.triangle);
        ASSERT_LT(distance(m.apply(at(a.mesh, pairs1[k].first)), at(b.mesh, pairs2[k].first)), 1e-5);
        ASSERT_LT(distance(m.apply(at(a.mesh, pairs1[k].second)), at(b.mesh, pairs2[k].second)), 1e-5);
      }
      EXPECT_TRUE(std::is_sorted(pairs1.begin(), pairs1.end(),
                                 [](auto& p, auto& q) { return p.first.triangle < q.first.triangle; }));
      std::sort(found.begin(), found.end());
      ASSERT_EQ(found, expected);
      if (first.empty()) first = pairs2;
      EXPECT_EQ(pairs2, first);
      EXPECT_EQ(log.messages.at(0).find("meshIntersect: triangles1(768) triangles2(480)\n    " +
                                        std::to_string(found.size()) + " intersections, "),
                0u);
    });
  }
}

TEST(MeshIntersect, LeavesOrEmptiesItsResultsWhereThereIsNothingToFind) {
  const Indexed a(shapes::torus(24, 16)), b(shapes::torus(20, 12));
  MeshIntersect intersect(a.mesh, a.octree, a.tris);
  DebugLog log;
  qvUtil::Progress progress;
  Pairs pairs1(1), pairs2(2);
  intersect.intersect(b.mesh, b.octree, b.tris, AffineMatrix::translation({9, 0, 0}), progress, pairs1,
                      pairs2);
  EXPECT_EQ(log.messages, (std::vector<std::string>{"qvGeom::meshIntersect: bboxes don't overlap\n"}));
  EXPECT_TRUE(pairs1.size() == 1 && pairs2.size() == 2);
  intersect.intersect(b.mesh, b.octree, b.tris, AffineMatrix::scale(1, 1, 0), progress, pairs1, pairs2);
  EXPECT_TRUE(log.messages.size() == 1 && pairs1.empty() && pairs2.empty()) << "singular";
  pairs1.resize(1);
  MeshIntersect(a.mesh, a.octree, b.tris).selfIntersect(progress, pairs1);
  EXPECT_TRUE(pairs1.empty()) << "records of different meshes";

  // Cancelled at its n-th question, it keeps what the chunks before found.
  struct Impatient : qvUtil::Progress {
    int left = 0;
    bool cancelled() override { return --left < 0; }
  };
  qvUtil::ThreadPool::get().setNumThreads(1);
  Pairs whole, whole2;
  intersect.intersect(b.mesh, b.octree, b.tris, AffineMatrix::translation({1, 0, 0.1}), progress, whole,
                      whole2);
  std::size_t last = 0;
  for (const int chunks : {0, 1, 20, 63, 64, 65}) {
    Impatient impatient;
    impatient.left = chunks;
    intersect.intersect(b.mesh, b.octree, b.tris, AffineMatrix::translation({1, 0, 0.1}), impatient, pairs1,
                        pairs2);
    ASSERT_TRUE(pairs1.size() >= last && std::equal(pairs1.begin(), pairs1.end(), whole.begin()));
    EXPECT_TRUE(chunks == 0 ? pairs1.empty() : chunks < 64 || pairs1.size() == whole.size());
    last = pairs1.size();
  }
  qvUtil::ThreadPool::get().setNumThreads(2);
}

}  // namespace
}  // namespace qvGeom
