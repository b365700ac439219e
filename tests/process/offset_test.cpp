#include "geom/process/offset.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <memory>

#include "geom/construct/primitives.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/spatial.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using Result = std::unique_ptr<CompactMesh>;

struct Subject : Indexed, Adjacency {
  explicit Subject(CompactMesh m) : Indexed(std::move(m)), Adjacency(mesh) {}
  MeshOffset offset(double distance) const {
    return MeshOffset(mesh, octree, boundaries, Adjacency::tris, distance);
  }
};

double volume(const CompactMesh& mesh) {
  double sum = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const auto corner = [&](int k) {
      return mesh.getVertices()[mesh.getTriangles()[t][k]].asPoint() - Point();
    };
    sum += dot(corner(0), cross(corner(1), corner(2))) / 6;
  }
  return sum;
}

// Every edge has two triangles, of one winding.
bool isClosed(const CompactMesh& mesh) {
  std::map<std::pair<int, int>, int> ways;
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    for (int k = 0; k < 3; ++k) ++ways[{mesh.getTriangles()[t][k], mesh.getTriangles()[t][(k + 1) % 3]}];
  return std::all_of(ways.begin(), ways.end(), [&](const auto& way) {
    return way.second == 1 && ways.contains({way.first.second, way.first.first});
  });
}

CompactMesh sphere(double radius) {
  CompactMesh mesh;
  constructSphere(Point(), static_cast<float>(radius), 12, mesh);
  return mesh;
}

TEST(MeshOffset, SquareBecomesSlab) {
  const Subject square(
      shapes::make({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {7, 7, 7}}, {{0, 1, 2}, {0, 2, 3}}));
  const Result shell(square.offset(0.1).calculate(true)), layer(square.offset(0.1).calculate(false));
  EXPECT_EQ(indicesOf(*shell).size(), 3u * 12);
  EXPECT_TRUE(isClosed(*shell));
  EXPECT_NEAR(volume(*shell), 0.1, 1e-6);
  EXPECT_THAT(positionsOf(*layer), areNear({0, 0, -.1f, 1, 0, -.1f, 1, 1, -.1f, 0, 1, -.1f, 7, 7, 6.9f}));
  EXPECT_EQ(indicesOf(*layer), (Ints{2, 1, 0, 3, 2, 0}));
  EXPECT_THAT(normalsOf(*layer), areNear({0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, 1}));
}

TEST(MeshOffset, ClosedSurfacesKeepTheirVerticesAndTheirVolumeFollowsTheArea) {
  for (const double scale : {1e-3, 1.0, 1e4})
    for (const CompactMesh& mesh : {sphere(1), shapes::torus(40, 30)}) {
      const Subject s(shapes::mapped(mesh, [&](MeshVertex v) {
        const float f = static_cast<float>(scale);
        return MeshVertex{f * v.x, f * v.y, f * v.z};
      }));
      const double area =
          meshArea({qvLinear::AffineMatrixFlt(), const_cast<CompactMesh*>(&s.mesh)}, MeshChannel(0));
      const double small = 1e-3 * scale;
      for (const double d : {small, -small}) {
        Array<int> map, moved;
        const Result shell(s.offset(d).calculate(map, moved));
        EXPECT_TRUE(isClosed(*shell));
        EXPECT_NEAR(volume(*shell), area * d, 0.02 * area * small);
        EXPECT_EQ(shell->getNumTriangles(), 2 * s.mesh.getNumTriangles());
        for (int v = 0; v < s.mesh.getNumVertices(); ++v) {
          EXPECT_EQ(floatsOf(&shell->getVertices()[map[v]].x, 3), floatsOf(&s.mesh.getVertices()[v].x, 3));
          const Point from = s.mesh.getVertices()[v].asPoint(), to = shell->getVertices()[moved[v]].asPoint();
          EXPECT_NEAR(distance(from, to), std::fabs(d), 1e-6 * scale);
        }
      }
    }
  const Subject ball(sphere(1));
  const Result half(ball.offset(0.5).calculate(false));
  EXPECT_NEAR(volume(*half), -volume(ball.mesh) / 8, 0.01);
  for (int v = 0; v < half->getNumVertices(); ++v)
    EXPECT_NEAR(distance(half->getVertices()[v].asPoint(), Point()), 0.5, 0.005);
}

TEST(MeshOffset, RemovesWhatComesTooNearOrFolds) {
  // A valley of a grid, bent so tightly that the moved copy crosses itself.
  const Subject valley(shapes::mapped(shapes::grid(40, 20), [](MeshVertex v) {
    return MeshVertex{v.x, v.y, 3 * std::fabs(v.x - 0.5f) + 0.01f * std::sin(40 * v.y)};
  }));
  const Subject torus(shapes::torus(40, 30));
  const std::tuple<const Subject*, double, int> cases[] = {
      {&valley, 0.2, 620},  {&valley, 0.05, 620}, {&valley, -0.2, 620},
      {&valley, -0.1, 620}, {&torus, 0.8, 560},   {&torus, 1.0, 560},
      {&torus, -1.5, 560},  {&torus, 1.1, 560},   {&torus, 1.2, 560}};
  for (const auto& [s, d, most] : cases) {
    Array<int> map, moved;
    const Result shell(s->offset(d).calculate(map, moved));
    const Result again(s->offset(d).calculate(true));
    EXPECT_EQ(indicesOf(*shell), indicesOf(*again));
    EXPECT_TRUE(isClosed(*shell));
    int alive = 0;
    for (const int v : moved) alive += v >= 0;
    EXPECT_EQ(shell->getNumVertices(), s->mesh.getNumVertices() + alive);
    EXPECT_LT(alive, most);
    EXPECT_GT(alive, most / 4) << alive;
    std::printf("%g %d\n", d, alive);
  }
}

TEST(MeshOffset, AnyInputHasAnOutcome) {
  forHardMeshes(20000, [](const Indexed& indexed) {
    const Subject s(indexed.mesh);
    const auto before = positionsOf(s.mesh);
    for (const double d : {0.0, 0.05, -0.3, 2.0, 1e30}) {
      Array<int> map, moved;
      const Result shell(s.offset(d).calculate(map, moved)), layer(s.offset(d).calculate(false));
      expectSound(*shell);
      expectSound(*layer);
      ASSERT_EQ(map.size(), s.mesh.getNumVertices());
      for (const int v : moved) EXPECT_LT(v, shell->getNumVertices());
      for (const float x : positionsOf(*layer))
        EXPECT_TRUE(std::isfinite(x) ||
                    std::count_if(before.begin(), before.end(), [](float c) { return c != c; }));
    }
    for (const double d : {double{kNan}, double{kInf}, -double{kInf}, 1e39}) {
      if (s.mesh.getNumVertices() == 0 && d == 1e39) continue;
      Array<int> map(1), moved(2);
      EXPECT_EQ(s.offset(d).calculate(map, moved), nullptr);
      EXPECT_EQ(s.offset(d).calculate(false), nullptr);
      EXPECT_EQ(map.size() + moved.size(), 3);
    }
  });
  const Subject a(shapes::torus(4, 4)), b(shapes::torus(5, 4)), open(shapes::grid(9, 9));
  EXPECT_EQ(MeshOffset(a.mesh, b.octree, a.boundaries, a.Adjacency::tris, 1).calculate(true), nullptr);
  EXPECT_EQ(MeshOffset(a.mesh, a.octree, open.boundaries, a.Adjacency::tris, 1).calculate(true), nullptr);
  EXPECT_EQ(MeshOffset(a.mesh, a.octree, a.boundaries, b.Adjacency::tris, 1).calculate(true), nullptr);
}

}  // namespace
}  // namespace qvGeom
