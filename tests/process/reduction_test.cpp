#include "geom/process/reduction.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "geom/edit/vertex_removal.h"
#include "geom/model/trellis/mesh_coord.h"
#include "geom/topology/measures.h"
#include "geom/topology/twins.h"

#include "tests/support/surface_checks.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using Removed = qv::vector<Point>;
using Positions = std::vector<std::array<double, 3>>;

// What limits a reduction: the share of vertices to keep, or a tolerance.
struct Limit {
  bool isTolerance;
  double value;

  double reduce(CompactMesh& mesh, Removed& removed, qvUtil::Progress&& progress = qvUtil::Progress()) const {
    if (isTolerance) return meshReduceWithTolerance(mesh, value, progress, removed);
    meshReduceToFraction(mesh, value, progress, removed);
    return 0;
  }
};
Limit fraction(double f) { return {false, f}; }
Limit tolerance(double d) { return {true, d}; }

CompactMesh roughened(CompactMesh mesh, float size, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<float> noise(0, size);
  for (int i = 0; i < 3 * mesh.getNumVertices(); ++i) mesh.getVerticesRaw()[i] += noise(random);
  return mesh;
}

CompactMesh flatGrid(int w, int h) {
  CompactMesh mesh = shapes::grid(w, h);
  for (int v = 0; v < mesh.getNumVertices(); ++v) mesh.getVertices()[v].z = 0;
  return mesh;
}

// Tetrahedra, each with a flat vertex in its base.
CompactMesh pieces(int n) {
  shapes::Points points;
  shapes::Tris tris;
  for (int a = 0; a < 5 * n; a += 5) {
    const auto x = static_cast<float>(a);
    points.insert(points.end(), {{x, 0, 0}, {x + 2, 0, 0}, {x, 2, 0}, {x, 0, 2}, {x + 0.5f, 0.5f, 0}});
    const int b = a + 1, c = a + 2, d = a + 3, e = a + 4;
    tris.insert(tris.end(), {{a, c, e}, {c, b, e}, {b, a, e}, {a, b, d}, {b, c, d}, {c, a, d}});
  }
  return shapes::make(points, tris);
}

// Of what is left and what was removed, sorted: nothing may be moved, lost or made up.
Positions allPositions(const CompactMesh& mesh, const Removed& removed) {
  Removed points = removed;
  for (int v = 0; v < mesh.getNumVertices(); ++v) points.push_back(mesh.getVertices()[v].asPoint());
  Positions all;
  const auto sortable = [](double c) { return std::isnan(c) ? 1e300 : c; };
  for (const Point& p : points) all.push_back({sortable(p[0]), sortable(p[1]), sortable(p[2])});
  std::sort(all.begin(), all.end());
  return all;
}

double distanceTo(const CompactMesh& mesh, const Point& p) {
  double nearest = HUGE_VAL;
  MeshCoord foot;
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    if (foot.project(t, mesh.getVerticesRaw(), mesh.getTrianglesRaw(), p))
      nearest = std::min(nearest, distance(p, foot.evaluate(mesh.getVertices(), mesh.getTriangles())));
  return nearest;
}

TEST(Reduction, TakesTheMiddleOutOfAGrid) {
  for (const Limit& limit : {fraction(0.5), tolerance(0.5)}) {
    CompactMesh mesh = flatGrid(2, 2);
    NoticeLog notices(mesh);
    Removed removed{{9, 9, 9}};
    EXPECT_EQ(limit.reduce(mesh, removed), 0);
    EXPECT_EQ(removed, (Removed{{9, 9, 9}, {0.5, 0.5, 0}}));
    EXPECT_TRUE(mesh.getNumVertices() == 8 && mesh.getNumTriangles() == 6);
    EXPECT_NEAR(meshArea({{}, &mesh}, MeshChannel::vertices), 1, 1e-6);
    EXPECT_EQ(Adjacency(mesh).boundaries.getLength(0), 8);
    EXPECT_TRUE(notices.sent.size() == 1 && notices.sent[0].first == MeshModification::TopologyModified);
    EXPECT_EQ(mesh.getSelectedVertices().size() + mesh.getSelectedTriangles().size(), 0);
  }
}

TEST(Reduction, LeavesTheMeshAloneWhereThereIsNothingToDo) {
  const CompactMesh torus = shapes::torus(8, 6), flat = flatGrid(4, 4);
  const std::tuple<const char*, CompactMesh, Limit> cases[] = {
      {"all of them", torus, fraction(1)},
      {"NaN", torus, fraction(NAN)},
      {"none is flat enough", torus, tolerance(1e-9)},
      {"nothing is below 0", flat, tolerance(0)},
      {"negative", flat, tolerance(-1)},
      {"NaN", flat, tolerance(NAN)},
      {"empty", CompactMesh(), fraction(0)},
      {"points only", shapes::make(shapes::Points(5), {}), tolerance(1)},
      {"would become flat", shapes::make({{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}}), fraction(0)},
      {"a triangle five times", shapes::make(shapes::Tris(5, {0, 1, 2})), fraction(0)}};
  for (const auto& [name, before, limit] : cases) {
    SCOPED_TRACE(name);
    CompactMesh mesh = before;
    NoticeLog notices(mesh);
    Removed removed;
    EXPECT_EQ(limit.reduce(mesh, removed), 0);
    EXPECT_TRUE(notices.sent.empty() && removed.empty() && indicesOf(mesh) == indicesOf(before));
  }
}

TEST(Reduction, KeepsSurfacesAndTheirBoundaries) {
  const std::tuple<const char*, CompactMesh, int> meshes[] = {
      {"torus", shapes::torus(40, 30), 0},
      {"rough", roughened(shapes::torus(30, 40), 0.02f, 1), 0},
      {"very rough", roughened(shapes::torus(30, 20), 0.2f, 2), 0},
      {"height field", shapes::grid(30, 25), 1},
      {"flat", flatGrid(31, 17), 1},
      {"pieces", pieces(50), 0}};
  for (const auto& [name, mesh, boundaries] : meshes)
    for (const Limit& limit : {fraction(0.5), fraction(0.1), fraction(-3), tolerance(0.001), tolerance(0.03),
                               tolerance(0.3), tolerance(HUGE_VAL)}) {
      SCOPED_TRACE(name + std::string(limit.isTolerance ? ", tolerance " : ", fraction ") +
                   std::to_string(limit.value));
      CompactMesh reduced = mesh;
      Removed removed;
      const double error = limit.reduce(reduced, removed);
      EXPECT_EQ(allPositions(reduced, removed), allPositions(mesh, {}));
      // Each removal takes two triangles.
      EXPECT_EQ(reduced.getNumTriangles() + 2 * static_cast<int>(removed.size()), mesh.getNumTriangles());
      expectSurface(reduced, boundaries);
      for (int loop = 0; loop < boundaries; ++loop)
        EXPECT_EQ(Adjacency(reduced).boundaries.getLength(loop), Adjacency(mesh).boundaries.getLength(loop));
      if (limit.isTolerance) {
        EXPECT_LE(error, limit.value * (1 + 1e-6));
        for (std::size_t i = 0; i < removed.size(); i += 5)
          ASSERT_LE(distanceTo(reduced, removed[i]), error + 1e-6);
      } else {
        const double target = std::floor(mesh.getNumVertices() * std::max(limit.value, 0.0));
        EXPECT_GE(reduced.getNumVertices(), target);
        EXPECT_TRUE(reduced.getNumVertices() == target || mesh.getNumVertices() < 1200 || limit.value < 0.5);
      }
      forThreadCounts([&, &whole = mesh] {
        CompactMesh again = whole;
        Removed removedAgain;
        limit.reduce(again, removedAgain);
        EXPECT_TRUE(positionsOf(again) == positionsOf(reduced) && removedAgain == removed);
        EXPECT_EQ(indicesOf(again), indicesOf(reduced));
      });
    }
}

TEST(Reduction, KeepsTheBatchesSoFarWhenCancelled) {
  const CompactMesh before = roughened(shapes::torus(40, 30), 0.01f, 3);
  for (const Limit& limit : {fraction(0.02), tolerance(0.05)}) {
    std::set<int> counts;
    bool heard = true;
    for (int k = 0; heard; ++k) {
      SCOPED_TRACE(k);
      CompactMesh mesh = before;
      CancelAfter progress(k);
      Removed removed;
      limit.reduce(mesh, removed, std::move(progress));
      heard = progress.heard();
      if (!counts.insert(mesh.getNumVertices()).second) continue;
      EXPECT_EQ(allPositions(mesh, removed), allPositions(before, {}));
      expectSurface(mesh, 0);
    }
    EXPECT_GT(counts.size(), 4u);
    EXPECT_EQ(counts.count(before.getNumVertices()), limit.isTolerance ? 0u : 1u) << "cancelled at once";
  }
}

TEST(Reduction, SplitsManyCandidatesIntoBatches) {
  const CompactMesh before = flatGrid(700, 700);
  CompactMesh mesh = before;
  NoticeLog notices(mesh);
  Removed removed;
  fraction(0.79).reduce(mesh, removed);  // 103 thousand are to go, in one iteration
  EXPECT_EQ(mesh.getNumVertices(), static_cast<int>(701 * 701 * 0.79));
  EXPECT_EQ(notices.sent.size(), 2u);
  EXPECT_EQ(allPositions(mesh, removed), allPositions(before, {}));
  EXPECT_NEAR(meshArea({{}, &mesh}, MeshChannel::vertices), 1, 1e-4);
}

TEST(Reduction, SurvivesBadMeshes) {
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    CompactMesh mesh = seed % 3 == 0   ? shapes::soup(8 + seed % 30, 20 + seed % 80, random)
                       : seed % 3 == 1 ? roughened(shapes::torus(9, 8), 0.1f, seed)
                                       : shapes::grid(9, 8);
    float* p = mesh.getVerticesRaw();
    int* t = mesh.getTrianglesRaw();
    const auto any = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const int n = mesh.getNumVertices(), numTris = mesh.getNumTriangles();
    for (int i = 0; i < 4; ++i) {
      if (seed % 5 == 1) std::copy_n(p + 3 * any(n), 3, p + 3 * any(n));
      if (seed % 5 == 2) p[any(3 * n)] = std::array{kNan, kInf, -kInf, kMax}[random() % 4];
      if (seed % 5 == 3) t[any(3 * numTris)] = any(n);
      if (seed % 5 == 4) std::copy_n(t + 3 * any(numTris), 3, t + 3 * any(numTris));
    }
    for (const Limit& limit : {fraction(0), tolerance(0.3), tolerance(HUGE_VAL)}) {
      CompactMesh reduced = mesh;
      Removed removed;
      EXPECT_TRUE(std::isfinite(limit.reduce(reduced, removed)));
      expectSound(reduced);
      ASSERT_EQ(allPositions(reduced, removed), allPositions(mesh, {}));
      EXPECT_EQ(reduced.getNumTriangles() + 2 * static_cast<int>(removed.size()), numTris);
    }
  }
}

Positions rotated(Positions triangle) {
  std::rotate(triangle.begin(), std::min_element(triangle.begin(), triangle.end()), triangle.end());
  return triangle;
}
Positions::value_type at(const Point& p) { return {p[0], p[1], p[2]}; }

// By position: a vertex may have come back as another.
std::multiset<Positions> trianglesOf(const TopoMesh& mesh) {
  std::multiset<Positions> all;
  for (const TopoMeshFace f : test::listFrom(mesh.firstFace())) {
    const TopoMeshEdge e = f.firstEdge();
    all.insert(rotated({at(e.start().point()), at(e.end().point()), at(e.prev().start().point())}));
  }
  return all;
}

TEST(VertexRemoval, RestoresTheSameTriangles) {
  int removals = 0;
  for (unsigned seed = 0; removals < 10000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const float size = 0.05f * static_cast<float>(seed % 9);
    const CompactMesh mesh =
        seed % 3 == 0 ? shapes::soup(6, 9, random) : roughened(shapes::torus(6, 5), size, seed);
    TopoMesh topo;
    std::vector<TopoMeshVertex> vertices;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
      vertices.push_back(topo.allocVertex(mesh.getVertices()[v].asPoint()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
      int const* v = mesh.getTriangles()[t].v;
      topo.allocTriangle(vertices[v[0]], vertices[v[1]], vertices[v[2]]);
    }
    meshTwin(topo);
    const Adjacency adjacency(mesh);
    VertexRemoval removal(topo);
    const auto before = trianglesOf(topo);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
      const int n = adjacency.vertices.numAdjVertices(v);
      if (n < 3 || n != adjacency.tris.numTris(v)) continue;
      if (removal.lowerValence(vertices[v], n)) {
        ++removals;
        removal.removeAndRelax();
        const auto between = trianglesOf(topo);
        ASSERT_EQ(between.size() + 2, before.size());
        for (const auto& t : removal.newTriangles())
          EXPECT_EQ(between.count(rotated({at(t[0]), at(t[1]), at(t[2])})), 1u);
        removal.restore();
      }
      ASSERT_EQ(trianglesOf(topo), before);
      ASSERT_TRUE(test::isValid(topo));
    }
  }
}

}  // namespace
}  // namespace qvGeom
