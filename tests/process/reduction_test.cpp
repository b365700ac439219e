#include "geom/process/reduction.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "geom/edit/vertex_removal.h"
#include "geom/model/trellis/mesh_coord.h"
#include "geom/topology/measures.h"
#include "geom/topology/twins.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/surface_checks.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using Removed = qv::vector<Point>;
using Positions = std::vector<std::array<double, 3>>;

constexpr bool kFraction = false, kTolerance = true;

double reduce(CompactMesh& mesh, bool byTolerance, double limit, Removed& removed,
              qvUtil::Progress& progress) {
  if (byTolerance) return meshReduceWithTolerance(mesh, limit, progress, removed);
  meshReduceToFraction(mesh, limit, progress, removed);
  return 0;
}
double reduce(CompactMesh& mesh, bool byTolerance, double limit, Removed& removed) {
  qvUtil::Progress progress;
  return reduce(mesh, byTolerance, limit, removed, progress);
}

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

CompactMesh pieces(int n) {
  shapes::Points points;
  shapes::Tris tris;
  for (int i = 0; i < n; ++i) {  // a tetrahedron, with its top cut in three by a flat vertex
    const auto x = static_cast<float>(3 * i);
    points.insert(points.end(), {{x, 0, 0}, {x + 2, 0, 0}, {x, 2, 0}, {x, 0, 2}, {x + 0.5f, 0.5f, 0}});
    const int a = 5 * i, b = a + 1, c = a + 2, d = a + 3, e = a + 4;
    tris.insert(tris.end(), {{a, c, e}, {c, b, e}, {b, a, e}, {a, b, d}, {b, c, d}, {c, a, d}});
  }
  return shapes::make(points, tris);
}

// Of what is left and what was removed, sorted: none may be moved, lost or made up. By bits, for NaN.
Positions allPositions(const CompactMesh& mesh, const Removed& removed) {
  Positions all;
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    const Point p = mesh.getVertices()[v].asPoint();
    all.push_back({p[0], p[1], p[2]});
  }
  for (const Point& p : removed) all.push_back({p[0], p[1], p[2]});
  for (auto& p : all)
    for (double& c : p)
      if (std::isnan(c)) c = std::numeric_limits<double>::max();
  std::sort(all.begin(), all.end());
  return all;
}

float areaOf(CompactMesh& mesh) { return meshArea({{}, &mesh}, MeshChannel::vertices); }

double distanceTo(const CompactMesh& mesh, const Point& p) {
  double nearest = std::numeric_limits<double>::infinity();
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    MeshCoord foot;
    if (foot.project(t, mesh.getVerticesRaw(), mesh.getTrianglesRaw(), p))
      nearest = std::min(nearest, distance(p, foot.evaluate(mesh.getVertices(), mesh.getTriangles())));
  }
  return nearest;
}

TEST(Reduction, TakesTheMiddleOutOfAGrid) {
  for (const bool byTolerance : {kFraction, kTolerance}) {
    CompactMesh mesh = flatGrid(2, 2);
    NoticeLog notices(mesh);
    Removed removed{{9, 9, 9}};
    EXPECT_EQ(reduce(mesh, byTolerance, 0.5, removed), 0);
    ASSERT_TRUE(removed.size() == 2 && removed[0] == Point(9, 9, 9) && removed[1] == Point(0.5, 0.5, 0));
    EXPECT_EQ(mesh.getNumVertices(), 8);
    EXPECT_EQ(mesh.getNumTriangles(), 6);
    EXPECT_NEAR(areaOf(mesh), 1, 1e-6);
    EXPECT_EQ(Adjacency(mesh).boundaries.getLength(0), 8);
    EXPECT_TRUE(notices.sent.size() == 1 && notices.sent[0].first == MeshModification::TopologyModified);
    EXPECT_EQ(mesh.getSelectedVertices().size() + mesh.getSelectedTriangles().size(), 0);
  }
}

TEST(Reduction, LeavesTheMeshAloneWhereThereIsNothingToDo) {
  const double nan = std::nan("");
  std::mt19937 random(1);
  const CompactMesh torus = shapes::torus(8, 6), soup = shapes::soup(4, 9, random);
  const std::tuple<const char*, CompactMesh, bool, double> cases[] = {
      {"all of them", torus, kFraction, 1.0},
      {"more", torus, kFraction, 7.0},
      {"NaN", torus, kFraction, nan},
      {"rounded down to one less, and none is flat enough", torus, kTolerance, 1e-9},
      {"nothing is below 0", flatGrid(4, 4), kTolerance, 0.0},
      {"negative", flatGrid(4, 4), kTolerance, -1.0},
      {"NaN", flatGrid(4, 4), kTolerance, nan},
      {"empty", CompactMesh(), kFraction, 0.0},
      {"empty", CompactMesh(), kTolerance, 1.0},
      {"points only", shapes::make(shapes::Points(5), {}), kFraction, 0.0},
      {"boundary only", shapes::make({{0, 1, 2}}), kTolerance, 1.0},
      {"a tetrahedron would become flat", shapes::make({{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}}),
       kFraction, 0.0},
      {"a triangle five times", shapes::make(shapes::Tris(5, {0, 1, 2})), kFraction, 0.0}};
  for (const auto& [name, before, byTolerance, limit] : cases) {
    SCOPED_TRACE(name);
    CompactMesh mesh = before;
    NoticeLog notices(mesh);
    Removed removed;
    EXPECT_EQ(reduce(mesh, byTolerance, limit, removed), 0);
    EXPECT_TRUE(notices.sent.empty() && removed.empty());
    EXPECT_TRUE(positionsOf(mesh) == positionsOf(before) && indicesOf(mesh) == indicesOf(before));
  }
}

TEST(Reduction, KeepsSurfacesAndTheirBoundaries) {
  struct Case {
    const char* name;
    CompactMesh mesh;
    int boundaries;
  };
  for (const Case& c :
       {Case{"torus", shapes::torus(40, 30), 0}, Case{"rough", roughened(shapes::torus(30, 40), 0.02f, 1), 0},
        Case{"very rough", roughened(shapes::torus(30, 20), 0.2f, 2), 0},
        Case{"height field", shapes::grid(30, 25), 1}, Case{"flat", flatGrid(31, 17), 1},
        Case{"pieces", pieces(50), 0}})
    for (const auto& [byTolerance, limit] : {std::pair(kFraction, 0.5),
                                             {kFraction, 0.1},
                                             {kFraction, -3.0},
                                             {kTolerance, 0.001},
                                             {kTolerance, 0.03},
                                             {kTolerance, 0.3},
                                             {kTolerance, HUGE_VAL}}) {
      SCOPED_TRACE(c.name + std::string(byTolerance ? ", tolerance " : ", fraction ") +
                   std::to_string(limit));
      CompactMesh first;
      Removed firstRemoved;
      forThreadCounts([&] {
        CompactMesh mesh = c.mesh;
        Removed removed;
        const double error = reduce(mesh, byTolerance, limit, removed);
        if (first.getNumVertices() == 0) {
          first = mesh, firstRemoved = removed;
          EXPECT_TRUE(!byTolerance || error <= limit * (1 + 1e-6)) << error;
          for (std::size_t i = 0; byTolerance && i < removed.size(); i += 7)
            ASSERT_LE(distanceTo(mesh, removed[i]), error + 1e-6) << i;
        }
        EXPECT_TRUE(positionsOf(mesh) == positionsOf(first) && indicesOf(mesh) == indicesOf(first) &&
                    removed == firstRemoved);
      });
      EXPECT_EQ(allPositions(first, firstRemoved), allPositions(c.mesh, {}));
      const int n = c.mesh.getNumVertices();
      const auto target = static_cast<int>(n * std::max(limit, 0.0));
      EXPECT_TRUE(byTolerance || first.getNumVertices() >= target);
      // Each removal takes two triangles; what is left is a surface like the one before.
      EXPECT_EQ(c.mesh.getNumTriangles() - first.getNumTriangles(),
                2 * static_cast<int>(firstRemoved.size()));
      expectSurface(first, c.boundaries);
      const Adjacency before(c.mesh), after(first);
      for (int loop = 0; loop < c.boundaries; ++loop)
        EXPECT_EQ(after.boundaries.getLength(loop), before.boundaries.getLength(loop));
    }
}

TEST(Reduction, CancelsBetweenBatches) {
  const CompactMesh before = roughened(shapes::torus(40, 30), 0.01f, 3);
  for (const auto& [byTolerance, limit] : {std::pair(kFraction, 0.02), {kTolerance, 0.05}}) {
    std::set<int> counts;
    bool heard = true;
    for (int k = 0; heard && k < 2000; k += k < 400 ? 1 : 50) {
      SCOPED_TRACE(k);
      CompactMesh mesh = before;
      CancelAfter progress(k);
      Removed removed;
      reduce(mesh, byTolerance, limit, removed, progress);
      heard = progress.heard();
      counts.insert(mesh.getNumVertices());
      ASSERT_EQ(allPositions(mesh, removed), allPositions(before, {}));
      expectSurface(mesh, 0);
    }
    EXPECT_TRUE(!heard && counts.count(before.getNumVertices()) == 1 && counts.size() > 4) << counts.size();
  }
}

TEST(Reduction, ReportsProgressThatGrows) {
  for (const auto& [byTolerance, limit] : {std::pair(kFraction, 0.1), {kTolerance, 0.05}}) {
    std::vector<double> reports;
    std::string lastCaption;
    qvUtil::Progress progress(
        [&](double fraction, char const* caption) { reports.push_back(fraction), lastCaption = caption; });
    CompactMesh mesh = roughened(shapes::torus(40, 30), 0.01f, 3);
    Removed removed;
    reduce(mesh, byTolerance, limit, removed, progress);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()) && !reports.empty());
    if (!byTolerance) continue;
    EXPECT_EQ(lastCaption, "Reducing (" + std::to_string(mesh.getNumVertices()) + " verts)");
    EXPECT_GT(reports.back(), 0.5);
  }
}

TEST(Reduction, SplitsManyCandidatesIntoBatches) {
  CompactMesh mesh = flatGrid(700, 700);
  const float area = areaOf(mesh);
  const CompactMesh before = mesh;
  DebugLog log;
  NoticeLog notices(mesh);
  Removed removed;
  reduce(mesh, kFraction, 0.79, removed);  // 103 thousand are to go, in one iteration
  EXPECT_EQ(mesh.getNumVertices(), static_cast<int>(701 * 701 * 0.79));
  EXPECT_EQ(std::count_if(log.messages.begin(), log.messages.end(),
                          [](const std::string& m) { return m.find("flatness") != m.npos; }),
            1);
  EXPECT_EQ(notices.sent.size(), 2u);
  EXPECT_EQ(allPositions(mesh, removed), allPositions(before, {}));
  EXPECT_NEAR(areaOf(mesh), area, 1e-4);
}

TEST(Reduction, SurvivesBadMeshes) {
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    CompactMesh mesh = seed % 3 == 0
                           ? shapes::soup(8 + seed % 30, 20 + static_cast<int>(random() % 80), random)
                       : seed % 3 == 1 ? roughened(shapes::torus(9, 8), 0.1f, seed)
                                       : shapes::grid(9, 8);
    for (int i = 0; i < 4; ++i) {  // corners at one place, not finite, enormous; bent triangles
      float* p = mesh.getVerticesRaw();
      const auto n = static_cast<unsigned>(mesh.getNumVertices()),
                 t = static_cast<unsigned>(mesh.getNumTriangles());
      if (seed % 5 == 1) std::copy_n(p + 3 * (random() % n), 3, p + 3 * (random() % n));
      if (seed % 5 == 2) p[random() % (3 * n)] = std::array{kNan, kInf, -kInf, kMax}[random() % 4];
      if (seed % 5 == 3) mesh.getTrianglesRaw()[random() % (3 * t)] = static_cast<int>(random() % n);
      if (seed % 5 == 4)
        std::copy_n(mesh.getTrianglesRaw() + 3 * (random() % t), 3,
                    mesh.getTrianglesRaw() + 3 * (random() % t));
    }
    for (const auto& [byTolerance, limit] :
         {std::pair(kFraction, 0.0), {kTolerance, 0.3}, {kTolerance, HUGE_VAL}}) {
      CompactMesh reduced = mesh;
      Removed removed;
      EXPECT_TRUE(std::isfinite(reduce(reduced, byTolerance, limit, removed)));
      expectSound(reduced);
      ASSERT_EQ(allPositions(reduced, removed), allPositions(mesh, {}));
      EXPECT_EQ(mesh.getNumTriangles() - reduced.getNumTriangles(), 2 * static_cast<int>(removed.size()));
    }
  }
}

// By position, as a vertex may come back as another.
std::multiset<Positions> trianglesOf(const TopoMesh& mesh) {
  std::multiset<Positions> all;
  for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInMesh()) {
    Positions corners;
    for (TopoMeshEdge e = f.firstEdge(); corners.size() < 3; e = e.next())
      corners.push_back({e.start().point()[0], e.start().point()[1], e.start().point()[2]});
    std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()), corners.end());
    all.insert(corners);
  }
  return all;
}

TEST(VertexRemoval, RestoresTheSameTriangles) {
  int removals = 0, refusals = 0;
  for (unsigned seed = 0; removals < 10000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const CompactMesh mesh = seed % 3 == 0
                                 ? shapes::soup(10, 40, random)
                                 : roughened(shapes::torus(6, 5), 0.05f * static_cast<float>(seed % 9), seed);
    TopoMesh topo;
    std::vector<TopoMeshVertex> vertices;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
      vertices.push_back(topo.allocVertex(mesh.getVertices()[v].asPoint()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
      int const* v = mesh.getTriangles()[t].v;
      topo.allocTriangle(vertices[v[0]], vertices[v[1]], vertices[v[2]]);
    }
    meshTwin(topo);
    for (int i = 0; i < 30; ++i)
      topo.swapEdge(test::listFrom(topo.firstEdge())[random() % static_cast<unsigned>(topo.numEdges())]);
    VertexRemoval removal(topo);
    for (const TopoMeshVertex v : test::listFrom(topo.firstVertex())) {
      const auto before = trianglesOf(topo);
      std::set<TopoMeshVertex> neighbours;
      int numTriangles = 0;
      for (const TopoMeshEdge e : test::listFrom(topo.firstEdge())) {
        if (e.start() != v) continue;
        ++numTriangles;
        neighbours.insert({e.end(), e.prev().start()});
      }
      neighbours.erase(v);
      const auto n = static_cast<int>(neighbours.size());
      if (n < 3 || n != numTriangles) continue;
      if (!removal.lowerValence(v, n)) {
        ++refusals;
      } else {
        ++removals;
        removal.removeAndRelax();
        EXPECT_FALSE(v.isAlive());
        const auto between = trianglesOf(topo);
        ASSERT_EQ(between.size() + 2, before.size());
        for (const auto& t : removal.newTriangles()) {
          Positions corners;
          for (const Point& p : t) corners.push_back({p[0], p[1], p[2]});
          std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()), corners.end());
          EXPECT_EQ(between.count(corners), 1u);
        }
        removal.restore();
      }
      ASSERT_EQ(trianglesOf(topo), before);
      ASSERT_TRUE(test::isValid(topo));
    }
  }
  EXPECT_GT(refusals, 100);
}

}  // namespace
}  // namespace qvGeom
