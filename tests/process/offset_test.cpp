#include "geom/process/offset.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <set>

#include "geom/construct/primitives.h"
#include "geom/spatial/closest_point.h"
#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/spatial.h"

namespace qvGeom {
namespace {

using qvLinear::Point;

struct Subject : Indexed, Adjacency {
  explicit Subject(CompactMesh m) : Indexed(std::move(m)), Adjacency(mesh) {}
  MeshOffset offset(double d) const { return {mesh, octree, boundaries, Adjacency::tris, d}; }
  auto layer(double d) const { return std::unique_ptr<CompactMesh>(offset(d).calculate(false)); }
};

struct Shell {
  Shell(const Subject& s, double d) : mesh(s.offset(d).calculate(map, moved)) {}
  Point at(int v) const { return mesh->getVertices()[v].asPoint(); }
  Array<int> map{1}, moved{2};
  std::unique_ptr<CompactMesh> mesh;
};

// NaN unless every edge has two triangles, of one winding.
double closedVolume(const CompactMesh& mesh) {
  std::set<std::pair<int, int>> there, back;
  double sum = 0;
  for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
    int const* const t = mesh.getTrianglesRaw() + i / 3 * 3;
    const auto at = [&](int k) { return mesh.getVertices()[t[k]].asPoint() - Point(); };
    if (i % 3 == 0) sum += dot(at(0), cross(at(1), at(2))) / 6;
    there.emplace(t[i % 3], t[(i + 1) % 3]);
    back.emplace(t[(i + 1) % 3], t[i % 3]);
  }
  return there == back && there.size() == 3u * mesh.getNumTriangles() ? sum : std::nan("");
}

TEST(MeshOffset, SquareBecomesSlab) {
  const Subject square(
      shapes::make({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {7, 7, 7}}, {{0, 1, 2}, {0, 2, 3}}));
  const Shell shell(square, 0.1);
  EXPECT_NEAR(closedVolume(*shell.mesh), 0.1, 1e-6);
  const auto layer = square.layer(0.1);
  EXPECT_THAT(positionsOf(*layer), areNear({0, 0, -.1f, 1, 0, -.1f, 1, 1, -.1f, 0, 1, -.1f, 7, 7, 6.9f}));
  EXPECT_EQ(indicesOf(*layer), (Ints{2, 1, 0, 3, 2, 0}));
  EXPECT_EQ(layer->getNormals()->z, -1);
}

TEST(MeshOffset, VolumeOfAClosedShellFollowsTheArea) {
  CompactMesh sphere;
  constructSphere(Point(), 1, 12, sphere);
  for (const float scale : {1e-3f, 1.0f, 1e6f})
    for (CompactMesh mesh : {sphere, shapes::torus(40, 30)}) {
      const Subject s(shapes::mapped(mesh, [scale](MeshVertex v) {
        return MeshVertex{scale * v.x, scale * v.y, scale * v.z};
      }));
      const double area = scale * scale * meshArea({qvLinear::AffineMatrixFlt(), &mesh}, MeshChannel(0));
      for (const double d : {1e-3 * scale, -1e-3 * scale}) {
        const Shell shell(s, d);
        EXPECT_NEAR(closedVolume(*shell.mesh) / (area * d), 1, 0.02);
        for (int v = 0; v < s.mesh.getNumVertices(); ++v) {
          EXPECT_EQ(shell.at(shell.map[v]), s.mesh.getVertices()[v].asPoint());
          EXPECT_NEAR(distance(shell.at(shell.map[v]), shell.at(shell.moved[v])) / std::fabs(d), 1, 1e-3);
        }
      }
    }
  EXPECT_NEAR(closedVolume(*Subject(sphere).layer(0.5)), -closedVolume(sphere) / 8, 0.005);
}

TEST(MeshOffset, RemovesWhatComesTooNearOrFolds) {
  // A height field whose copy crosses itself; what is left has to lie far enough away, and face down.
  const Subject s(shapes::grid(40, 40));
  for (const double d : {0.17, 0.2, -0.2, -0.3}) {
    SCOPED_TRACE(d);
    const Shell shell(s, d);
    EXPECT_EQ(closedVolume(*shell.mesh) > 0, d > 0);
    const int n = s.mesh.getNumVertices(), alive = shell.mesh->getNumVertices() - n;
    EXPECT_TRUE(alive > n / 4 && alive < n) << alive;
    for (const int v : shell.moved)
      EXPECT_TRUE(v < 0 || meshClosestVertex2(s.mesh, s.octree, shell.at(v)) > 0.999 * d * d);
    const auto layer = s.layer(d);
    for (int t = 0; t < layer->getNumTriangles(); ++t)
      EXPECT_LE(meshTriNormal(layer->getVerticesRaw(), layer->getTriangles()[t].v)[2], 0);
  }
}

TEST(MeshOffset, AnyInputHasAnOutcome) {
  forHardMeshes(20000, [](const Indexed& indexed) {
    const Subject s(indexed.mesh);
    for (const double d : {0.0, 0.05, -0.3, 2.0, 1e30}) {
      const Shell shell(s, d);
      expectSound(*shell.mesh);
      expectSound(*s.layer(d));
      const auto before = positionsOf(s.mesh), after = positionsOf(*shell.mesh);
      EXPECT_TRUE(std::isfinite(std::accumulate(after.begin(), after.end(), 0.0)) ||
                  !std::isfinite(std::accumulate(before.begin(), before.end(), 0.0)));
    }
    for (const double d : {double{kNan}, -double{kInf}, s.mesh.getNumVertices() > 0 ? 1e39 : kInf}) {
      const Shell shell(s, d);
      EXPECT_TRUE(!shell.mesh && !s.layer(d) && shell.map.size() == 1 && shell.moved.size() == 2) << d;
    }
  });
  const Subject a(shapes::torus(4, 4)), b(shapes::torus(5, 4));
  EXPECT_FALSE(MeshOffset(a.mesh, b.octree, a.boundaries, b.Adjacency::tris, 1).calculate(true));
}

}  // namespace
}  // namespace qvGeom
