#include "geom/repair/hole_filling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "geom/topology/twins.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using Triple = std::array<float, 3>;
using Face = std::array<Triple, 3>;
using shapes::Points;
using shapes::Tris;

constexpr HoleQuality kQualities[] = {HoleQualityTriangulate, HoleQualityRefine, HoleQualityFair};

Triple at(const CompactMesh& mesh, int v) {
  const MeshVertex& p = mesh.getVertices()[v];
  return {p.x, p.y, p.z};
}

// By positions, whatever the numbering; each from its least corner on.
std::vector<Face> facesOf(const CompactMesh& mesh) {
  std::vector<Face> faces;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    int const* v = mesh.getTriangles()[t].v;
    Face f{at(mesh, v[0]), at(mesh, v[1]), at(mesh, v[2])};
    std::rotate(f.begin(), std::min_element(f.begin(), f.end()), f.end());
    faces.push_back(f);
  }
  std::sort(faces.begin(), faces.end());
  return faces;
}

std::vector<Face> newFaces(const CompactMesh& before, const CompactMesh& after) {
  const std::vector<Face> old = facesOf(before), all = facesOf(after);
  EXPECT_TRUE(std::includes(all.begin(), all.end(), old.begin(), old.end())) << "a triangle went";
  std::vector<Face> added;
  std::set_difference(all.begin(), all.end(), old.begin(), old.end(), std::back_inserter(added));
  return added;
}

// Fails where an old vertex is no more to be found.
std::set<Triple> newPoints(const CompactMesh& before, const CompactMesh& after) {
  std::set<Triple> added;
  for (int v = 0; v < after.getNumVertices(); ++v) added.insert(at(after, v));
  for (int v = 0; v < before.getNumVertices(); ++v) EXPECT_EQ(added.erase(at(before, v)), 1u) << v;
  return added;
}

int fill(CompactMesh& mesh, const qv::list<int>& holes, int quality) {
  const Adjacency adjacency(mesh);
  qvUtil::Progress progress;
  return meshHoleFill(mesh, adjacency.tris, adjacency.vertices, adjacency.boundaries, holes,
                      static_cast<HoleQuality>(quality), progress);
}

/// A surface of oriented triangles, with so many open edges; sums up V - E + F over the vertices in use.
int expectSurface(const CompactMesh& mesh, int openEdges) {
  expectSound(mesh);
  TopoMesh topo;
  std::map<int, TopoMeshVertex> vertices;
  const auto vertex = [&](int v) {
    if (!vertices[v]) vertices[v] = topo.allocVertex(mesh.getVertices()[v].asPoint());
    return vertices[v];
  };
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    int const* v = mesh.getTriangles()[t].v;
    topo.allocTriangle(vertex(v[0]), vertex(v[1]), vertex(v[2]));
  }
  meshTwin(topo);
  EXPECT_TRUE(test::isSimplicialSurface(topo));
  const test::Counts counts = test::countsOf(topo);
  EXPECT_EQ(2 * counts.e - 3 * counts.f, openEdges);
  return counts.euler();
}

// Without the triangles about a point. Vertices stay.
CompactMesh cut(const CompactMesh& mesh, const qvLinear::Point& centre, double radius) {
  Points points;
  Tris tris;
  for (int v = 0; v < mesh.getNumVertices(); ++v) points.push_back(at(mesh, v));
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    int const* v = mesh.getTriangles()[t].v;
    qvLinear::Vector sum;
    for (int k = 0; k < 3; ++k) sum += mesh.getVertices()[v[k]].asPoint() - centre;
    if (length(sum) / 3 > radius) tris.push_back({v[0], v[1], v[2]});
  }
  return shapes::make(points, tris);
}

// Rings of n points; ring j at height z(j) with radius r(j), each turned by half a step.
template <typename R, typename Z>
CompactMesh tube(int n, int rings, const R& r, const Z& z) {
  Points points;
  for (int j = 0; j <= rings; ++j)
    for (int i = 0; i < n; ++i) {
      const double turn = 2 * M_PI * (i + 0.5 * (j % 2)) / n;
      points.push_back({static_cast<float>(r(j) * std::cos(turn)), static_cast<float>(r(j) * std::sin(turn)),
                        static_cast<float>(z(j))});
    }
  Tris tris;
  for (int j = 0; j < rings; ++j)
    for (int i = 0; i < n; ++i) {
      const int a = j * n + i, b = j * n + (i + 1) % n, c = a + n, d = b + n;
      if (j % 2 == 0) {
        tris.insert(tris.end(), {{a, b, c}, {b, d, c}});
      } else {
        tris.insert(tris.end(), {{a, d, c}, {a, b, d}});
      }
    }
  return shapes::make(points, tris);
}
CompactMesh cylinder(int n, int rings) {
  const double step = 2 * std::sin(M_PI / n);
  return tube(
      n, rings, [](int) { return 1.0; }, [=](int j) { return j * step * 0.8; });
}

double offTorus(const Triple& p) {
  return std::hypot(std::hypot(p[0], p[1]) - 2, static_cast<double>(p[2])) - 1;
}
double offSphere(const Triple& p) {
  return std::sqrt(static_cast<double>(p[0] * p[0] + p[1] * p[1] + p[2] * p[2])) - 1;
}
double offSaddle(const Triple& p) { return p[2] - (p[0] * p[0] - p[1] * p[1]); }

CompactMesh saddle() {
  CompactMesh mesh = shapes::grid(60, 60);
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    MeshVertex& p = mesh.getVertices()[v];
    p.x = p.x * 2 - 1;
    p.y = p.y * 2 - 1;
    p.z = p.x * p.x - p.y * p.y;
  }
  return mesh;
}

TEST(HoleFilling, ContinuesTheSurface) {
  const auto globe = [](int j) { return M_PI * (j + 4) / 98; };  // without its poles
  struct Case {
    const char* name;
    CompactMesh whole;
    double (*off)(const Triple&);
    qvLinear::Point centre;
    int otherEdges, euler;
  };
  for (const Case& c : {Case{"torus", shapes::torus(180, 60), offTorus, {3, 0, 0}, 0, 0},
                        Case{"sphere",
                             tube(
                                 120, 90, [&](int j) { return std::sin(globe(j)); },
                                 [&](int j) { return -std::cos(globe(j)); }),
                             offSphere,
                             {0, 1, 0},
                             240,
                             0},
                        Case{"saddle", saddle(), offSaddle, {0, 0, 0}, 240, 1}})
    for (const HoleQuality quality : kQualities) {
      SCOPED_TRACE(std::string(c.name) + " at quality " + std::to_string(quality));
      const CompactMesh before = cut(c.whole, c.centre, 0.5);
      const Adjacency adjacency(before);
      const auto startOf = [&](int hole) {
        return before.getVertices()[*adjacency.boundaries.getStart(hole)].asPoint();
      };
      int hole = 0;
      while (std::fabs(distance(startOf(hole), c.centre) - 0.5) > 0.1) ++hole;
      CompactMesh mesh = before;
      ASSERT_EQ(fill(mesh, {hole}, quality), 1);
      EXPECT_EQ(expectSurface(mesh, c.otherEdges), c.euler);
      const std::set<Triple> added = newPoints(before, mesh);
      if (quality == HoleQualityTriangulate) {
        EXPECT_EQ(added.size(), 0u);
        continue;
      }
      EXPECT_GT(added.size(), 30u);
      double worst = 0;
      for (const Triple& p : added) worst = std::max(worst, std::fabs(c.off(p)));
      EXPECT_EQ(worst < 0.04, quality == HoleQualityFair) << worst;
    }
}

// The largest departure from an even bend at a new vertex: of the umbrella of umbrellas.
double worstUnevenness(const CompactMesh& before, const CompactMesh& after) {
  const Adjacency adjacency(after);
  std::set<int> boundary;
  for (const Ints& loop : loopsOf(adjacency.boundaries)) boundary.insert(loop.begin(), loop.end());
  const auto around = [&](int v) {
    Ints inner;
    for (const int n : neighboursOf(adjacency.vertices, v))
      if (!boundary.count(n)) inner.push_back(n);
    return inner;
  };
  const auto umbrella = [&](int v) {
    qvLinear::Vector sum;
    for (const int n : around(v)) sum += after.getVertices()[n].asPoint() - after.getVertices()[v].asPoint();
    return sum;
  };
  const std::set<Triple> added = newPoints(before, after);
  double worst = 0;
  for (int v = 0; v < after.getNumVertices(); ++v) {
    if (!added.count(at(after, v))) continue;
    qvLinear::Vector sum;
    for (const int n : around(v)) sum += umbrella(n) - umbrella(v);
    worst = std::max(worst, length(sum));
  }
  return worst;
}

// Few vertices and many are solved for in different ways.
TEST(HoleFilling, BendsEvenly) {
  for (const int n : {12, 60, 160})
    for (const int rings : {1, 5}) {
      SCOPED_TRACE(testing::Message() << n << " points, " << rings << " rings");
      const CompactMesh before = cylinder(n, rings);
      CompactMesh rough = before, mesh = before;
      ASSERT_EQ(fill(rough, {0}, HoleQualityRefine), 1);
      ASSERT_EQ(fill(mesh, {0}, HoleQualityFair), 1);
      EXPECT_EQ(newPoints(before, mesh).size(), newPoints(before, rough).size());
      EXPECT_LT(worstUnevenness(before, mesh), 2e-5);
      EXPECT_TRUE(rings == 1 || worstUnevenness(before, rough) > 0.01);
    }
}

// All lengths wanted lie between those at the loop, so no face may have all corners farther from its centre.
TEST(HoleFilling, RefinesToTheLengthsAround) {
  for (const int n : {3, 4, 5, 12, 60, 240}) {
    SCOPED_TRACE(n);
    const CompactMesh before = cylinder(n, 6);
    const double longest = 2.2 * std::sin(M_PI / n);
    CompactMesh mesh = before;
    ASSERT_EQ(fill(mesh, {0, 1}, HoleQualityRefine), 2);
    EXPECT_EQ(expectSurface(mesh, 0), 2);
    EXPECT_GE(mesh.getNumVertices() - before.getNumVertices(), n * n / 20);
    EXPECT_LE(mesh.getNumVertices() - before.getNumVertices(), n * n / 4);
    for (const Face& f : newFaces(before, mesh)) {
      double nearest = 1;
      for (const Triple& p : f)
        nearest = std::min<double>(nearest, std::hypot(p[0] - (f[0][0] + f[1][0] + f[2][0]) / 3,
                                                       p[1] - (f[0][1] + f[1][1] + f[2][1]) / 3));
      EXPECT_LE(M_SQRT2 * nearest, longest);
    }
  }
}

TEST(HoleFilling, KeepsAPlanePlane) {
  CompactMesh plane = shapes::grid(30, 30);
  for (int v = 0; v < plane.getNumVertices(); ++v) plane.getVertices()[v].z = 0.5f * plane.getVertices()[v].x;
  CompactMesh mesh = cut(plane, {0.5, 0.5, 0.25}, 0.3);
  ASSERT_EQ(fill(mesh, {1}, HoleQualityFair), 1);
  for (int v = 0; v < mesh.getNumVertices(); ++v)
    EXPECT_NEAR(mesh.getVertices()[v].z, 0.5f * mesh.getVertices()[v].x, 1e-5);
}

const Tris kOpenBox{{0, 2, 1}, {0, 3, 2}, {0, 1, 5}, {0, 5, 4}, {1, 2, 6},
                    {1, 6, 5}, {2, 3, 7}, {2, 7, 6}, {3, 0, 4}, {3, 4, 7}};
const Points kBoxCorners{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                         {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
const Tris kTetrahedron{{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}};

TEST(HoleFilling, CountsWhatItFills) {
  constexpr int kMost = std::numeric_limits<int>::max();
  // A box whose lid has a flap, folded back so that its tip (8) lies upon the corner 6.
  Points flapCorners = kBoxCorners;
  flapCorners.push_back({1, 1, 1});
  Tris flap = kOpenBox;
  flap.push_back({4, 5, 8});
  struct Case {
    const char* name;
    Points points;
    Tris tris;
    std::vector<Ints> loops;  // none: those of the mesh
    qv::list<int> holes;
    int filled, vertices, triangles;
  };
  const Points tetrahedron(kBoxCorners.begin(), kBoxCorners.begin() + 4);
  for (const Case& c :
       {Case{"no hole listed", kBoxCorners, kOpenBox, {}, {}, 0, 8, 10},
        Case{"no lid", kBoxCorners, kOpenBox, {}, {0}, 1, 8, 12},
        Case{"listed twice", kBoxCorners, kOpenBox, {}, {0, 0}, 1, 8, 12},
        Case{"out of range", kBoxCorners, kOpenBox, {}, {-1, 1, kMost}, 0, 8, 10},
        Case{"one in range", kBoxCorners, kOpenBox, {}, {kMost, 0, -kMost}, 1, 8, 12},
        Case{"no mesh", {}, {}, {}, {0}, 0, 0, 0},
        Case{"two vertices and one", kBoxCorners, kOpenBox, {{4, 5}, {6}, {}}, {0, 1, 2}, 0, 8, 10},
        Case{"no such vertices", kBoxCorners, kOpenBox, {{4, 5, 99}, {-3, 4, 5}}, {0, 1}, 0, 8, 10},
        Case{"edges exist", kBoxCorners, kTetrahedron, {{0, 1, 2}, {0, 2, 1}}, {0, 1}, 0, 8, 4},
        Case{"one vertex repeated", kBoxCorners, kOpenBox, {{4, 7, 4, 6}, {4, 4, 5}}, {0, 1}, 0, 8, 10},
        Case{"a lone triangle gets a back", kBoxCorners, {{0, 1, 2}}, {}, {0}, 1, 8, 2},
        Case{"flap upon a corner", flapCorners, flap, {}, {0}, 1, 8, 12},
        Case{"a lone triangle of equal points", {{}, {}, {}}, {{0, 1, 2}}, {}, {0}, 0, 3, 1}}) {
    SCOPED_TRACE(c.name);
    for (const int quality : {0, 5}) {
      CompactMesh mesh = shapes::make(c.points, c.tris);
      const Adjacency adjacency(mesh);
      Array<int> lengths, vertices;
      for (const Ints& loop : c.loops) {
        lengths.push_back(static_cast<int>(loop.size()));
        for (const int v : loop) vertices.push_back(v);
      }
      const MeshBoundaries given(lengths, vertices);
      NoticeLog log(mesh);
      qvUtil::Progress progress;
      EXPECT_EQ(meshHoleFill(mesh, adjacency.tris, adjacency.vertices,
                             c.loops.empty() ? adjacency.boundaries : given, c.holes,
                             static_cast<HoleQuality>(quality), progress),
                c.filled);
      EXPECT_EQ(log.sent.size(), c.filled > 0 ? 1u : 0u);
      expectSound(mesh);
      if (quality != 0) continue;
      EXPECT_EQ(mesh.getNumVertices(), c.vertices);
      EXPECT_EQ(mesh.getNumTriangles(), c.triangles);
    }
  }
}

TEST(HoleFilling, SameForEveryThreadCountAndForHighQualities) {
  std::vector<std::pair<Floats, Ints>> results;
  forThreadCounts([&] {
    for (const int quality : {2, 5}) {
      CompactMesh mesh = cut(shapes::torus(60, 30), {3, 0, 0}, 0.7);
      EXPECT_EQ(fill(mesh, {0}, quality), 1);
      results.emplace_back(positionsOf(mesh), indicesOf(mesh));
    }
  });
  for (const auto& result : results) EXPECT_EQ(result, results.front());
}

class CancelAt : public qvUtil::Progress {
 public:
  explicit CancelAt(int call) : call_(call) {}
  bool cancelled() override { return asked++ == call_; }
  void setCaption(char const* text) override { captions.emplace_back(text); }
  int asked = 0;
  std::vector<std::string> captions;

 private:
  int call_;
};

TEST(HoleFilling, CancelsAtEveryCallWithoutATrace) {
  CompactMesh small = cut(cut(shapes::torus(24, 12), {3, 0, 0}, 0.8), {-3, 0, 0}, 0.8);
  CompactMesh large = cylinder(160, 6);
  const std::vector<std::string> captions{"Filling hole 1 of 3", "Filling hole 3 of 3"};
  for (const CompactMesh& before : {small, large}) {
    const Adjacency adjacency(before);
    const auto run = [&](CompactMesh& mesh, qvUtil::Progress& progress) {
      return meshHoleFill(mesh, adjacency.tris, adjacency.vertices, adjacency.boundaries, {1, 9, 0},
                          HoleQualityFair, progress);
    };
    CompactMesh whole = before;
    CancelAt never(-1);
    ASSERT_EQ(run(whole, never), 2);
    EXPECT_EQ(never.captions, captions);
    EXPECT_NEAR(never.fraction(), 1, 1e-9);
    for (int call = 0; call < never.asked; call += call < never.asked - 25 && never.asked > 60 ? 97 : 1) {
      SCOPED_TRACE(call);
      CompactMesh mesh = before;
      NoticeLog log(mesh);
      CancelAt progress(call);
      ASSERT_EQ(run(mesh, progress), 0);
      EXPECT_EQ(progress.asked, call + 1);
      EXPECT_TRUE(log.sent.empty());
      EXPECT_TRUE(positionsOf(mesh) == positionsOf(before) && indicesOf(mesh) == indicesOf(before));
    }
  }
}

// Whatever the loops and points: no crash, no end missed, and no directed edge that was not there twice
// before.
TEST(HoleFilling, SurvivesAnyLoops) {
  const float odd[] = {0, 1, 1e-30f, kMax, -kMax, kInf, kNan};
  int filled = 0;
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const auto below = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
    CompactMesh mesh = seed % 2 ? shapes::soup(9, 6, random) : cut(shapes::torus(8, 5), {3, 0, 0}, 1);
    for (int k = below(4); k > 0; --k) mesh.getVertices()[below(mesh.getNumVertices())].y = odd[below(7)];
    if (seed % 8 == 7)
      for (int v = 0; v < mesh.getNumVertices(); ++v) mesh.getVertices()[v].y = mesh.getVertices()[v].z = 0;
    const Adjacency adjacency(mesh);
    Array<int> lengths, vertices;
    for (int loop = 0; loop < 3; ++loop) {
      lengths.push_back(below(9));
      for (int i = 0; i < lengths[loop]; ++i) vertices.push_back(below(mesh.getNumVertices()));
    }
    const MeshBoundaries given(lengths, vertices);
    const auto repeats = [](const CompactMesh& m) {
      std::map<std::pair<int, int>, int> edges;
      int n = 0;
      for (int t = 0; t < m.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
          n += ++edges[{m.getTriangles()[t][k], m.getTriangles()[t][(k + 1) % 3]}] > 1;
      return n;
    };
    const int before = repeats(mesh);
    const bool finite = std::all_of(mesh.getVerticesRaw(), mesh.getVerticesRaw() + 3 * mesh.getNumVertices(),
                                    [](float x) { return std::isfinite(x); });
    qvUtil::Progress progress;
    filled += meshHoleFill(mesh, adjacency.tris, adjacency.vertices, seed % 3 ? given : adjacency.boundaries,
                           {0, 1, 2}, kQualities[seed % 5 % 3], progress);
    expectSound(mesh);
    EXPECT_LE(repeats(mesh), before);
    for (const float x : positionsOf(mesh)) ASSERT_TRUE(!finite || std::isfinite(x));
  }
  EXPECT_GT(filled, 100);
}

}  // namespace
}  // namespace qvGeom
