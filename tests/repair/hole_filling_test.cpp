#include "geom/repair/hole_filling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "geom/edit/edge_swap.h"
#include "geom/repair/hole_patch.h"
#include "geom/topology/twins.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/surface_checks.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using Triple = std::array<float, 3>;
using shapes::Points;
using shapes::Tris;

Triple at(const CompactMesh& mesh, int v) {
  const MeshVertex& p = mesh.getVertices()[v];
  return {p.x, p.y, p.z};
}

// Fails where an old vertex is no more to be found.
std::set<Triple> newPoints(const CompactMesh& before, const CompactMesh& after) {
  std::set<Triple> added;
  for (int v = 0; v < after.getNumVertices(); ++v) added.insert(at(after, v));
  for (int v = 0; v < before.getNumVertices(); ++v) EXPECT_EQ(added.erase(at(before, v)), 1u) << v;
  return added;
}

// With loops as given, or those of the mesh. @return what meshHoleFill returns
int fill(CompactMesh& mesh, const qv::list<int>& holes, int quality, const std::vector<Ints>& loops = {}) {
  const Adjacency adjacency(mesh);
  Array<int> lengths, vertices;
  for (const Ints& loop : loops) {
    lengths.push_back(static_cast<int>(loop.size()));
    for (const int v : loop) vertices.push_back(v);
  }
  const MeshBoundaries given(lengths, vertices);
  qvUtil::Progress progress;
  return meshHoleFill(mesh, adjacency.tris, adjacency.vertices, loops.empty() ? adjacency.boundaries : given,
                      holes, static_cast<HoleQuality>(quality), progress);
}

// Without the triangles about a point. Vertices stay.
CompactMesh cut(CompactMesh mesh, const qvLinear::Point& centre, double radius) {
  Tris tris;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const MeshTriangle& v = mesh.getTriangles()[t];
    qvLinear::Vector sum;
    for (int k = 0; k < 3; ++k) sum += mesh.getVertices()[v[k]].asPoint() - centre;
    if (length(sum) > 3 * radius) tris.push_back({v[0], v[1], v[2]});
  }
  mesh.copyTriangles(static_cast<int>(tris.size()), tris.front().data());
  return mesh;
}

// Rings of n points on a cylinder of radius 1, with nearly equal edges.
CompactMesh cylinder(int n, int rings) {
  Points points;
  for (int j = 0; j <= rings; ++j)
    for (int i = 0; i < n; ++i) {
      const double turn = 2 * M_PI * (i - 0.5 * j) / n;
      points.push_back({static_cast<float>(std::cos(turn)), static_cast<float>(std::sin(turn)),
                        static_cast<float>(1.6 * j * std::sin(M_PI / n))});
    }
  return shapes::make(points, shapes::squares(n, rings, [n](int i, int j) { return j * n + i % n; }));
}

struct Surface {
  const char* name;
  double (*height)(double x, double y);
};
constexpr Surface kSurfaces[] = {
    {"sphere", [](double x, double y) { return std::sqrt(4 - x * x - y * y); }},
    {"torus", [](double x, double y) { return std::sqrt(2.25 - std::pow(std::hypot(x, y + 3) - 3, 2)); }},
    {"saddle", [](double x, double y) { return 0.3 * (x * x - y * y); }}};

TEST(HoleFilling, ContinuesTheSurface) {
  for (const Surface& surface : kSurfaces)
    for (const int quality : {0, 1, 2}) {
      SCOPED_TRACE(std::string(surface.name) + " at quality " + std::to_string(quality));
      CompactMesh whole = shapes::grid(60, 60);
      for (int v = 0; v < whole.getNumVertices(); ++v) {
        MeshVertex& p = whole.getVertices()[v];
        p.x = 2 * p.x - 1;
        p.y = 2 * p.y - 1;
        p.z = static_cast<float>(surface.height(p.x, p.y));
      }
      const CompactMesh before = cut(whole, {0, 0, surface.height(0, 0)}, 0.5);
      CompactMesh mesh = before;
      ASSERT_EQ(fill(mesh, {1}, quality), 1);
      expectSurface(mesh, 1);
      const std::set<Triple> added = newPoints(before, mesh);
      EXPECT_EQ(added.size() > 200, quality > 0) << added.size();
      double worst = 0;
      for (const auto& [x, y, z] : added) worst = std::max(worst, std::fabs(z - surface.height(x, y)));
      EXPECT_EQ(worst < 0.02, quality != 1) << worst;
    }
}

void minimizeAngles(TopoMeshEdge e, bool& veto) {
  const qvLinear::Point q[] = {e.start().point(), e.end().point(), e.prev().start().point(),
                               e.twin().prev().start().point()};
  const auto angleAt = [&](int at, int a, int b) { return qvLinear::angle(q[a] - q[at], q[b] - q[at]); };
  if (angleAt(1, 2, 3) + angleAt(0, 2, 3) >= angleAt(2, 0, 1) + angleAt(3, 0, 1)) veto = true;
}

// The refinement as it is defined, with sets and full sweeps.
void refinePlainly(TopoMesh& mesh, std::vector<TopoMeshFace> faces, std::vector<double>& scale) {
  MeshEdgeSwapper swapper;
  qvRTB::SignalBase client;
  swapper.getVetoSignal().connect(client, minimizeAngles);
  std::set<TopoMeshFace> patch(faces.begin(), faces.end());
  std::set<TopoMeshEdge> inner;
  for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh())
    if (e.twin() && e < e.twin() && patch.count(e.face()) && patch.count(e.twin().face())) inner.insert(e);
  for (int pass = 0; pass < 100; ++pass) {
    std::vector<TopoMeshFace> next;
    for (const TopoMeshFace f : faces) {
      const TopoMeshEdge sides[] = {f.firstEdge(), f.firstEdge().next(), f.firstEdge().prev()};
      const qvLinear::Point c = f.centroid();
      double sum = 0;
      for (const TopoMeshEdge e : sides) sum += scale[e.start().number()];
      bool split = sum > 0;
      for (const TopoMeshEdge e : sides) {
        const double d = M_SQRT2 * distance(c, e.start().point());
        split = split && d > scale[e.start().number()] && d > sum / 3;
      }
      if (!split) next.push_back(f);
      if (!split) continue;
      scale.push_back(sum / 3);
      for (TopoMeshEdgeVertexIterator it(mesh.subdivideFace(f, c)); it.valid(); it.next()) {
        inner.insert(it.get());
        next.push_back(it.get().face());
      }
      for (const TopoMeshEdge e : sides)
        if ((inner.count(e) || inner.count(e.twin())) && swapper.shouldSwap(e)) mesh.swapEdge(e);
    }
    if (next.size() == faces.size()) break;
    faces = next;
    meshSwapEdgesRepeatedly(mesh, inner, swapper);
  }
}

// The swaps must be the same ones in the same order, though few edges are asked and few angles computed. Flat
// regular polygons are full of ties.
TEST(HoleFilling, RefinesAsDefined) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    TopoMesh meshes[2];
    for (TopoMesh& mesh : meshes) {
      std::mt19937 random(seed);
      std::uniform_real_distribution<double> uniform(0.5, 2);
      const int n = 3 + static_cast<int>(seed);
      std::vector<TopoMeshVertex> v;
      std::vector<TopoMeshFace> faces;
      std::vector<double> scale(static_cast<std::size_t>(n) + 2);
      for (int i = 0; i < n; ++i) {
        const double turn = i * 2 * M_PI / n, r = seed % 5 ? uniform(random) : 1;
        v.push_back(mesh.allocVertex({r * std::cos(turn), r * std::sin(turn), seed % 3 * uniform(random)}));
        scale[v[i].number()] = (i == 4 && seed % 16 == 4) || seed % 7 == 6 ? 0 : uniform(random) * 5 / n;
      }
      const TopoMeshVertex apex = mesh.allocVertex({0, 0, -9});
      for (int i = 0; i < n; ++i) mesh.allocTriangle(v[i], v[(i + 1) % n], apex);
      for (int i = 1; i + 1 < n; ++i) faces.push_back(mesh.allocTriangle(v[0], v[i + 1], v[i]));
      meshTwin(mesh);
      qvUtil::Progress progress;
      if (&mesh == meshes) {
        HolePatch(mesh, faces, scale, progress).refine();
      } else {
        refinePlainly(mesh, faces, scale);
      }
      EXPECT_TRUE(mesh.numVertices() > n + 1 || seed % 7 == 6 || n < 7);
    }
    EXPECT_EQ(test::fingerprint(meshes[0]), test::fingerprint(meshes[1]));
  }
}

// The largest departure from an even bend among new vertices: of the umbrella of umbrellas.
double worstUnevenness(const CompactMesh& before, const CompactMesh& after) {
  const Adjacency adjacency(after);
  std::set<int> boundary;
  for (const Ints& loop : loopsOf(adjacency.boundaries)) boundary.insert(loop.begin(), loop.end());
  const auto sumAround = [&](int v, const auto& term) {
    qvLinear::Vector sum;
    for (const int n : neighboursOf(adjacency.vertices, v))
      if (!boundary.count(n)) sum += term(n) - term(v);
    return sum;
  };
  const auto position = [&](int v) { return after.getVertices()[v].asPoint() - qvLinear::Point(); };
  const auto umbrella = [&](int v) { return sumAround(v, position); };
  const std::set<Triple> added = newPoints(before, after);
  double worst = 0;
  for (int v = 0; v < after.getNumVertices(); ++v)
    if (added.count(at(after, v))) worst = std::max(worst, length(sumAround(v, umbrella)));
  return worst;
}

// Few vertices and many are solved for in different ways. Beyond a single ring is the boundary, which takes
// no part: nothing tells the patch to leave its plane.
TEST(HoleFilling, BendsEvenly) {
  for (const int n : {12, 60, 160})
    for (const int rings : {1, 5}) {
      const CompactMesh before = cylinder(n, rings);
      CompactMesh mesh = before;
      ASSERT_EQ(fill(mesh, {0}, HoleQualityFair), 1);
      EXPECT_LT(worstUnevenness(before, mesh), 2e-5);
      CompactMesh small = before;
      for (int i = 0; i < 3 * before.getNumVertices(); ++i) small.getVerticesRaw()[i] *= 0x1p-17f;
      ASSERT_EQ(fill(small, {0}, HoleQualityFair), 1);
      for (int i = 0; i < 3 * small.getNumVertices(); ++i) small.getVerticesRaw()[i] *= 0x1p17f;
      EXPECT_TRUE(positionsOf(small) == positionsOf(mesh)) << "of any size";
      for (const auto& [x, y, z] : newPoints(before, mesh))
        EXPECT_TRUE(rings > 1 || std::fabs(z) < 1e-5) << z;
      forThreadCounts([&] {
        CompactMesh same = before;
        fill(same, {0}, 5);  // counts as the highest
        EXPECT_TRUE(positionsOf(same) == positionsOf(mesh) && indicesOf(same) == indicesOf(mesh));
      });
    }
}

TEST(HoleFilling, CountsWhatItFills) {
  Points points(11, {1, 1, 1});
  for (int v = 0; v < 8; ++v) points[v] = {v % 4 % 3 > 0 ? 1.0f : 0, v % 4 > 1 ? 1.0f : 0, v > 3 ? 1.0f : 0};
  points[10] = {0.5f, -1, 1.5f};
  const Tris box{{0, 2, 1}, {0, 3, 2}, {0, 1, 5}, {0, 5, 4}, {1, 2, 6},
                 {1, 6, 5}, {2, 3, 7}, {2, 7, 6}, {3, 0, 4}, {3, 4, 7}};
  // An ear on the rim whose tip lies upon corner 6; one elsewhere, whose edge must not be made again.
  Tris ear = box, away = box, apart = box;
  ear.push_back({4, 5, 8});
  away.push_back({4, 5, 10});
  apart.push_back({8, 9, 10});
  struct Case {
    const char* name;
    Tris tris;
    std::vector<Ints> loops;  // none: those of the mesh
    qv::list<int> holes;
    int filled, triangles, vertices = 11;
  };
  for (const Case& c :
       {Case{"no hole listed", box, {}, {}, 0, 10}, Case{"no lid", box, {}, {0}, 1, 12},
        Case{"one in range", box, {}, {1 << 30, 0, -1, 1}, 1, 12}, Case{"no mesh", {}, {}, {0}, 0, 0},
        Case{"two vertices, one, none", box, {{4, 5}, {6}, {}}, {0, 1, 2}, 0, 10},
        Case{"no such vertices", box, {{4, 5, 99}, {-3, 4, 5}}, {0, 1}, 0, 10},
        Case{"edges exist", box, {{0, 1, 5}, {0, 5, 1}}, {0, 1}, 0, 10},
        Case{"one vertex repeated", box, {{4, 7, 4, 6}, {4, 4, 5}}, {0, 1}, 0, 10},
        Case{"a lone triangle gets a back", {{0, 1, 2}}, {}, {0}, 1, 2},
        Case{"ear upon a corner", ear, {}, {0}, 1, 12, 10},
        Case{"ear upon a corner, listed twice", ear, {}, {0, 0}, 1, 12, 10},
        Case{"ear elsewhere", away, {}, {0}, 1, 14}, Case{"equal points apart", apart, {}, {1, 0}, 1, 13}})
    for (const int quality : {0, 1}) {
      SCOPED_TRACE(c.name);
      CompactMesh mesh = shapes::make(points, c.tris);
      NoticeLog log(mesh);
      EXPECT_EQ(fill(mesh, c.holes, quality, c.loops), c.filled);
      EXPECT_EQ(log.sent.size(), c.filled > 0 ? 1u : 0u);
      if (quality == 1 && c.filled > 0) continue;  // the patch has vertices of its own
      EXPECT_EQ(mesh.getNumVertices(), c.vertices);
      EXPECT_EQ(mesh.getNumTriangles(), c.triangles);
    }
}

struct CancelAt : qvUtil::Progress {
  bool cancelled() override { return asked++ == call; }
  void setCaption(char const* text) override { captions.emplace_back(text); }
  int call = -1, asked = 0;
  std::vector<std::string> captions;
};

TEST(HoleFilling, CancelsAtEveryCallWithoutATrace) {
  for (const int n : {24, 160}) {
    const CompactMesh before = cylinder(n, 6);
    const Adjacency adjacency(before);
    const auto run = [&](CompactMesh& mesh, qvUtil::Progress& progress) {
      return meshHoleFill(mesh, adjacency.tris, adjacency.vertices, adjacency.boundaries, {1, 9, 0},
                          HoleQualityFair, progress);
    };
    CompactMesh whole = before;
    CancelAt never;
    ASSERT_EQ(run(whole, never), 2);
    EXPECT_THAT(never.captions, testing::ElementsAre("Filling hole 1 of 3", "Filling hole 3 of 3"));
    expectSurface(whole, 0);
    EXPECT_EQ(2 * whole.getNumVertices() - whole.getNumTriangles(), 4);
    EXPECT_NEAR(never.fraction(), 1, 1e-9);
    // Of the many looks of a long triangulation a few will do.
    for (int call = 0; call < never.asked; call += call < never.asked - 40 && never.asked > 100 ? 97 : 1) {
      SCOPED_TRACE(call);
      CompactMesh mesh = before;
      NoticeLog log(mesh);
      CancelAt progress;
      progress.call = call;
      ASSERT_EQ(run(mesh, progress), 0);
      EXPECT_EQ(progress.asked, call + 1);
      EXPECT_TRUE(log.sent.empty());
      EXPECT_TRUE(positionsOf(mesh) == positionsOf(before) && indicesOf(mesh) == indicesOf(before));
    }
  }
}

int repeatedEdges(const CompactMesh& mesh) {
  std::set<std::pair<int, int>> edges;
  const Ints v = indicesOf(mesh);
  for (std::size_t i = 0; i < v.size(); ++i) edges.emplace(v[i], v[i % 3 == 2 ? i - 2 : i + 1]);
  return static_cast<int>(v.size() - edges.size());
}

// Whatever the loops and points: no crash, no end missed, and no directed edge twice that was not before.
TEST(HoleFilling, SurvivesAnyLoops) {
  const float odd[] = {0, 1, 1e-30f, kMax, -kMax, kInf, kNan};
  int filled = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const auto below = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
    CompactMesh mesh = seed % 2 ? shapes::soup(9, 6, random) : cut(shapes::torus(8, 5), {3, 0, 0}, 1);
    for (int k = below(4); k > 0; --k)
      mesh.getVertices()[below(mesh.getNumVertices())].y = odd[below(seed % 4 < 2 ? 7 : 5)];
    for (int v = 0; v < mesh.getNumVertices(); ++v)
      if (seed % 8 >= 6) mesh.getVertices()[v].y = mesh.getVertices()[v].z = 0;  // collinear
    std::vector<Ints> loops(seed % 3 ? 3 : 0);
    for (Ints& loop : loops)
      for (int i = below(9); i > 0; --i) loop.push_back(below(mesh.getNumVertices()));
    const int before = repeatedEdges(mesh);
    filled += fill(mesh, {0, 1, 2}, static_cast<int>(seed % 5 % 3), loops);
    expectSound(mesh);
    EXPECT_LE(repeatedEdges(mesh), before);
    for (const float x : positionsOf(mesh)) EXPECT_TRUE(seed % 4 < 2 || std::isfinite(x));
  }
  EXPECT_GT(filled, 100);
}

}  // namespace
}  // namespace qvGeom
