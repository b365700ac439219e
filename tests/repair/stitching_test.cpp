#include "geom/repair/stitching.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "geom/io/obj_format.h"
#include "geom/repair/manifold.h"
#include "geom/repair/orientation.h"
#include "geom/repair/stitch_seam.h"
#include "geom/topology/components.h"
#include "geom/topology/measures.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/surface_checks.h"
#include "tests/support/topo_build.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using shapes::Points;
using shapes::Tris;

bool stitch(CompactMesh& mesh, double distance, double seamTolerance) {
  const qv::Reference<MeshAdjTris> tris(new MeshAdjTris);
  const qv::Reference<MeshBoundaries> loops(new MeshBoundaries);
  Adjacency(mesh).tris.swap(*tris);
  Adjacency(mesh).boundaries.swap(*loops);
  return meshStitch(mesh, tris, loops, distance, seamTolerance);
}

double areaOf(const CompactMesh& mesh) {
  double area = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const MeshTriangle& v = mesh.getTriangles()[t];
    const qvLinear::Point p = mesh.getVertices()[v[0]].asPoint();
    area += length(cross(mesh.getVertices()[v[1]].asPoint() - p, mesh.getVertices()[v[2]].asPoint() - p)) / 2;
  }
  return area;
}

using Rim = std::vector<std::pair<int, int>>;  // edges

// Which triangles lie beyond a random plane.
std::vector<int> beyondPlane(const CompactMesh& mesh, std::mt19937& random) {
  std::normal_distribution<double> normal;
  const qvLinear::Normal n(qvLinear::Vector(normal(random), normal(random), normal(random)));
  const auto height = [&](int t) {
    double sum = 0;
    for (int k = 0; k < 3; ++k)
      sum += dot(mesh.getVertices()[mesh.getTriangles()[t][k]].asPoint() - qvLinear::Point(), n);
    return sum;
  };
  const double level = height(static_cast<int>(random() % static_cast<unsigned>(mesh.getNumTriangles())));
  std::vector<int> side;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) side.push_back(height(t) > level);
  return side;
}

// A patch of so many triangles about a random one: the cut is a closed path.
std::vector<int> patch(const CompactMesh& mesh, int size, std::mt19937& random) {
  const Adjacency adjacency(mesh);
  std::vector<int> side(static_cast<std::size_t>(mesh.getNumTriangles()));
  std::vector<int> members{static_cast<int>(random() % side.size())};
  side[members[0]] = 1;
  for (std::size_t i = 0; i < members.size(); ++i)
    for (int k = 0; k < 3; ++k) {
      int other, edge;
      if (static_cast<int>(members.size()) >= size ||
          !getSharedEdgeAdjacentTriangle(members[i], k, mesh.getTriangles(), adjacency.tris, other, edge) ||
          side[other])
        continue;
      side[other] = 1;
      members.push_back(other);
    }
  return side;
}

// How near edges come to vertices of others.
double separation(const CompactMesh& mesh, const Rim& rim) {
  const auto at = [&](int v) { return mesh.getVertices()[v].asPoint(); };
  double least2 = 1e300;
  for (const auto& [a, b] : rim)
    for (const auto& [c, d] : rim) {
      if (a == c || a == d) continue;
      const qvLinear::Vector edge = at(d) - at(c);
      const double t = std::clamp(dot(at(a) - at(c), edge) / std::max(dot(edge, edge), 1e-300), 0.0, 1.0);
      least2 = std::min(least2, distance2(at(a), at(c) + t * edge));
    }
  return std::sqrt(least2);
}

struct Cut {
  CompactMesh mesh;
  double tolerance = 0;
  double seam = 0;  // its length
};

// Cuts a closed mesh in two along edges, gives the rims other vertices, moves one half.
// @return no seam when the rim comes so near to itself that nothing tells which of its parts belong together
Cut cutInTwo(const CompactMesh& whole, const std::vector<int>& side, std::mt19937& random, double shift,
             bool flip) {
  std::uniform_real_distribution<double> unit(0, 1);
  std::normal_distribution<double> normal;
  const auto at = [&](int v) { return whole.getVertices()[v].asPoint(); };
  Cut cut;
  std::map<std::pair<int, int>, int> sideOfEdge;
  for (int t = 0; t < whole.getNumTriangles(); ++t)
    for (int k = 0; k < 3; ++k)
      sideOfEdge[{whole.getTriangles()[t][k], whole.getTriangles()[t][(k + 1) % 3]}] = side[t];
  Rim rim;
  std::vector<double> lengths;
  for (const auto& [edge, s] : sideOfEdge) {
    if (s != 1 || sideOfEdge[{edge.second, edge.first}] != 0) continue;
    rim.push_back(edge);
    lengths.push_back(distance(at(edge.first), at(edge.second)));
  }
  if (rim.empty()) return cut;
  std::sort(lengths.begin(), lengths.end());
  cut.tolerance = std::min(0.25 * lengths[lengths.size() / 20], separation(whole, rim));
  if (cut.tolerance < 1e-3 * lengths[lengths.size() / 2]) return cut;
  cut.seam = std::accumulate(lengths.begin(), lengths.end(), 0.0);

  const qvLinear::Vector away =
      qvLinear::Normal(qvLinear::Vector(normal(random), normal(random), normal(random))) *
      (shift * cut.tolerance);
  Points points;
  std::map<std::pair<int, int>, int> vertices;  // by old number and side
  const auto place = [&](const qvLinear::Point& p, int s) {
    const qvLinear::Point q = s ? p + away : p;
    points.push_back({static_cast<float>(q[0]), static_cast<float>(q[1]), static_cast<float>(q[2])});
    return static_cast<int>(points.size()) - 1;
  };
  const auto vertex = [&](int v, int s) {
    const auto [entry, isNew] = vertices.insert({{v, s}, 0});
    if (isNew) entry->second = place(at(v), s);
    return entry->second;
  };
  Tris tris;
  for (int t = 0; t < whole.getNumTriangles(); ++t) {
    const MeshTriangle& tri = whole.getTriangles()[t];
    std::array<int, 3> v{vertex(tri[0], side[t]), vertex(tri[1], side[t]), vertex(tri[2], side[t])};
    for (int k = 0; k < 3; ++k) {
      const int a = tri[k], b = tri[(k + 1) % 3];
      if (sideOfEdge[{b, a}] == side[t] || unit(random) < 0.6) continue;
      const double s = 0.2 + 0.6 * unit(random);
      const int m = place(at(a) + s * (at(b) - at(a)), side[t]);
      const std::array<int, 3> part{v[k], m, v[(k + 2) % 3]};
      tris.push_back(flip && side[t] ? std::array<int, 3>{part[1], part[0], part[2]} : part);
      v[k] = m;
      break;
    }
    if (flip && side[t]) std::swap(v[0], v[1]);
    tris.push_back(v);
  }
  cut.mesh = shapes::make(points, tris);
  meshMakeManifold(cut.mesh);  // halves that meet themselves in a vertex come apart there
  return cut;
}

std::string faultsOf(CompactMesh& mesh) {
  MeshCharacteristics c(mesh);
  std::string faults;
  if (const int loops = Adjacency(mesh).boundaries.size()) faults += " loops " + std::to_string(loops);
  if (!c.check(MeshCharacteristics::Manifold)) faults += " not manifold";
  if (!c.check(MeshCharacteristics::Oriented)) faults += " not oriented";
  return faults;
}

std::string stitchCut(const CompactMesh& whole, unsigned seed) {
  std::mt19937 random(seed);
  Cut cut;
  for (int tries = 0, size = whole.getNumTriangles() / 2; cut.seam == 0;
       ++tries, size = std::max(size / 2, 1)) {
    if (tries == 30) return " not cut";
    const bool plane = tries == 0 && seed % 4 < 2;
    cut = cutInTwo(whole, plane ? beyondPlane(whole, random) : patch(whole, size, random), random, 0.5,
                   seed % 2 == 1);
  }
  if (!stitch(cut.mesh, cut.tolerance, 0.1)) return " refused";
  std::string faults = faultsOf(cut.mesh);
  if (std::fabs(areaOf(cut.mesh) - areaOf(whole)) > cut.tolerance * cut.seam)
    faults += " area " + std::to_string(areaOf(cut.mesh)) + " for " + std::to_string(areaOf(whole));
  return faults;
}

int numOpenEdges(const CompactMesh& mesh) {
  int open = 0;
  for (const Ints& loop : loopsOf(Adjacency(mesh).boundaries)) open += static_cast<int>(loop.size());
  return open;
}

double openLength(const CompactMesh& mesh) {
  double sum = 0;
  for (const Ints& loop : loopsOf(Adjacency(mesh).boundaries))
    for (std::size_t i = 0; i < loop.size(); ++i)
      sum += distance(mesh.getVertices()[loop[i]].asPoint(),
                      mesh.getVertices()[loop[(i + 1) % loop.size()]].asPoint());
  return sum;
}

// With QVGEOM_TEST_MESHES every closed mesh of that folder too, where need be with its vertices parted and
// its faces turned alike beforehand.
TEST(Stitching, ClosesWhatWasCut) {
  CompactMesh smooth = shapes::torus(96, 32), rough = shapes::torus(48, 16);
  std::mt19937 random(1);
  std::uniform_real_distribution<float> aside(-0.08f, 0.08f);
  for (int v = 0; v < rough.getNumVertices(); ++v) {
    MeshVertex& p = rough.getVertices()[v];
    p = {p.x + aside(random), p.y + aside(random), 4 * (p.z + aside(random))};
  }
  for (unsigned seed = 0; seed < 40; ++seed)
    for (const CompactMesh* mesh : {&smooth, &rough})
      EXPECT_EQ(stitchCut(*mesh, seed), "") << (mesh == &smooth ? "smooth" : "rough") << ", seed " << seed;
  char const* folder = std::getenv("QVGEOM_TEST_MESHES");
  if (!folder) return;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    CompactMesh mesh;
    if (file.path().extension() != ".obj" || !meshReadObj(mesh, file.path().c_str()) ||
        mesh.getNumTriangles() == 0 || mesh.getNumTriangles() > 100000)
      continue;
    meshMakeManifold(mesh);
    meshMakeOriented(mesh, Adjacency(mesh).tris);
    if (!faultsOf(mesh).empty()) continue;
    for (unsigned seed = 0; seed < 10; ++seed)
      EXPECT_EQ(stitchCut(mesh, seed), "") << file.path().filename() << ", seed " << seed;
  }
}

// Triangles that share vertices at random: boundaries that meet in a vertex lead on in its other fans.
TEST(Stitching, EndsOnAnyMesh) {
  double before = 0, after = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    CompactMesh mesh = shapes::soup(30, 40, random);
    for (int v = 0; v < 30; ++v) mesh.getVertices()[v].z *= 0.1f;
    before += openLength(mesh);
    stitch(mesh, 0.02 * (1 + static_cast<double>(seed % 8)), 0.1);
    after += openLength(mesh);
    for (const auto& t : indicesOf(mesh)) EXPECT_TRUE(t < mesh.getNumVertices() && t >= 0);
    for (const auto& p : positionsOf(mesh)) EXPECT_TRUE(std::isfinite(p));
  }
  EXPECT_LT(after, 0.9 * before);
}

// Patches of real models, parted where their boundaries meet, and how many boundary edges are left.
TEST(Stitching, JoinsPatches) {
  char const* folder = std::getenv("QVGEOM_TEST_MESHES");
  if (!folder) GTEST_SKIP() << "QVGEOM_TEST_MESHES names no folder";
  struct Case {
    const char* file;
    double tolerance;
    int vertices, loops, open;
  };
  int found = 0;
  for (const Case& c :
       {Case{"seam_boeing.obj", 0.05, 1264, 0, 0}, Case{"gen_spot_two_halves.obj", 0.005, 2930, 0, 0},
        Case{"mountain_split.obj", 2, -1, 1, 633}, Case{"seam_teapot.obj", 0.01, -1, 6, 160}}) {
    SCOPED_TRACE(c.file);
    const std::filesystem::path path = std::filesystem::path(folder) / c.file;
    if (!std::filesystem::exists(path)) continue;
    ++found;
    CompactMesh mesh;
    ASSERT_TRUE(meshReadObj(mesh, path.c_str()));
    meshMakeManifold(mesh);
    ASSERT_TRUE(stitch(mesh, c.tolerance, 0.1));
    expectSurface(mesh, c.loops);
    EXPECT_EQ(numOpenEdges(mesh), c.open);
    EXPECT_TRUE(c.vertices < 0 || mesh.getNumVertices() == c.vertices) << mesh.getNumVertices();
  }
  if (found == 0) GTEST_SKIP() << folder << " has none of the files";
}

// Two rows of n by m squares, the second one beside the first.
CompactMesh sheets(int n, int m, float gap, bool flip) {
  CompactMesh mesh = shapes::grid(n, m), other = shapes::grid(n, m + 1);
  Points points;
  Tris tris;
  for (const CompactMesh* sheet : {&mesh, &other}) {
    const int first = static_cast<int>(points.size());
    for (int v = 0; v < sheet->getNumVertices(); ++v) {
      const MeshVertex& p = sheet->getVertices()[v];
      points.push_back({p.x + (first ? 1 + gap : 0), p.y, 0});
    }
    for (int t = 0; t < sheet->getNumTriangles(); ++t) {
      const MeshTriangle& v = sheet->getTriangles()[t];
      tris.push_back({first + v[flip && first ? 1 : 0], first + v[flip && first ? 0 : 1], first + v[2]});
    }
  }
  return shapes::make(points, tris);
}

TEST(Stitching, JoinsTwoSheets) {
  const auto reversal = MeshModification::TopologyModified;
  for (const bool flip : {false, true}) {
    SCOPED_TRACE(flip);
    CompactMesh mesh = sheets(1, 1, 0.05f, flip);
    NoticeLog log(mesh);
    ASSERT_TRUE(stitch(mesh, 0.1, 0.01));
    expectSurface(mesh, 1);
    EXPECT_EQ(meshComponents(mesh, Adjacency(mesh).tris, nullptr), 1);
    EXPECT_EQ(mesh.getNumVertices(), 8);  // of the rims the one with three
    EXPECT_EQ(numOpenEdges(mesh), 7);
    ASSERT_EQ(log.sent.size(), flip ? 2u : 1u);
    for (const auto& notice : log.sent) EXPECT_EQ(notice.first, reversal);
    EXPECT_NEAR(areaOf(mesh), 2 + 0.025, 0.03);
  }
}

TEST(Stitching, LeavesTheMeshAloneWhenItCannot) {
  const CompactMesh two = sheets(1, 1, 0.05f, true), one = shapes::grid(2, 2);
  struct Case {
    const char* name;
    const CompactMesh* mesh;
    qv::vector<int> loops;
    double distance, seam;
  };
  for (const Case& c :
       {Case{"one boundary", &one, {0}, 0.1, 0.01}, Case{"the same twice", &two, {1, 1}, 0.1, 0.01},
        Case{"out of range", &two, {0, -1, 2, 1 << 30}, 0.1, 0.01},
        Case{"no distance", &two, {0, 1}, 0, 0.01}, Case{"negative", &two, {0, 1}, -0.1, 0.01},
        Case{"endless", &two, {0, 1}, kInf, 0.01}, Case{"NaN", &two, {0, 1}, kNan, 0.01},
        Case{"NaN at the seam", &two, {0, 1}, 0.1, kNan},
        Case{"more samples than can be", &two, {0, 1}, 1e-300, 0.01},
        Case{"shorter than ten samples", &two, {0, 1}, 5, 0.01}}) {
    SCOPED_TRACE(c.name);
    CompactMesh mesh = *c.mesh;
    NoticeLog log(mesh);
    const qv::Reference<MeshAdjTris> tris(new MeshAdjTris);
    const qv::Reference<MeshBoundaries> loops(new MeshBoundaries);
    Adjacency(mesh).tris.swap(*tris);
    Adjacency(mesh).boundaries.swap(*loops);
    EXPECT_FALSE(meshStitch(mesh, tris, loops, c.loops, c.distance, c.seam));
    EXPECT_TRUE(log.sent.empty() && positionsOf(mesh) == positionsOf(*c.mesh) &&
                indicesOf(mesh) == indicesOf(*c.mesh));
    EXPECT_FALSE(meshStitch(mesh, nullptr, loops, 0.1, 0.1) || meshStitch(mesh, tris, nullptr, 0.1, 0.1));
  }
}

using Outline = std::vector<std::array<double, 2>>;

// The side of a prism above height 0 or below it.
void addTube(const Outline& outline, double height, Points& points, Tris& tris) {
  const int first = static_cast<int>(points.size()), n = static_cast<int>(outline.size());
  for (const double z : {std::min(height, 0.0), std::max(height, 0.0)})
    for (const auto& p : outline)
      points.push_back({static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(z)});
  for (const auto& t : shapes::squares(n, 1, [=](int i, int j) { return first + j * n + i % n; }))
    tris.push_back(t);
}

// Of the unit cylinder, with n points along the rims.
void addBand(int n, double height, double turn, Points& points, Tris& tris) {
  Outline circle;
  for (int i = 0; i < n; ++i)
    circle.push_back({std::cos(2 * M_PI * (i + turn) / n), std::sin(2 * M_PI * (i + turn) / n)});
  addTube(circle, height, points, tris);
}

TEST(Stitching, KeepsTheFinerRim) {
  for (const bool swapped : {false, true}) {
    Points points;
    Tris tris;
    addBand(swapped ? 17 : 12, 1, 0, points, tris);
    addBand(swapped ? 12 : 17, -1, 0.3, points, tris);
    CompactMesh mesh = shapes::make(points, tris);
    ASSERT_TRUE(stitch(mesh, 0.2, 0.01));
    expectSurface(mesh, 2);
    EXPECT_EQ(numOpenEdges(mesh), 12 + 17);
    std::set<std::array<float, 3>> left;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
      const MeshVertex& p = mesh.getVertices()[v];
      left.insert({p.x, p.y, p.z});
    }
    for (const auto& p : points)
      EXPECT_TRUE(left.count(p) || (p[2] == 0 && (&p - points.data() < 24) != swapped));
    int edges = numOpenEdges(mesh) + 3 * mesh.getNumTriangles();
    EXPECT_EQ(2 * mesh.getNumVertices() - edges + 2 * mesh.getNumTriangles(), 0);  // of a cylinder
  }
}

// A flat tube: half around from a corner is a vertex whose nearest one lies on the other side.
TEST(Stitching, StartsCircularSeamsWhereVerticesMatch) {
  Outline upper{{0, 0}, {5, 0}, {10, 0}, {10, 0.5}, {10, 1}, {0, 1}};
  const Outline lower{{0, 0}, {10, 0}, {10, 1}, {5, 1}, {0, 1}};
  for (std::size_t i = 0; i < upper.size(); ++i) {
    SCOPED_TRACE(i);
    std::rotate(upper.begin(), upper.begin() + 1, upper.end());
    Points points;
    Tris tris;
    addTube(upper, 1, points, tris);
    addTube(lower, -1, points, tris);
    CompactMesh mesh = shapes::make(points, tris);
    ASSERT_TRUE(stitch(mesh, 0.1, 0.01));
    expectSurface(mesh, 2);
    EXPECT_EQ(mesh.getNumVertices(), 6 + 7 + 5);
    EXPECT_NEAR(areaOf(mesh), 44, 1e-4);
  }
}

// One long sheet and three beside it, with gaps between all: their ends meet within one edge.
TEST(Stitching, LeavesNoHolesWhereSheetsMeet) {
  Points points;
  Tris tris;
  const auto sheet = [&](double x0, double x1, double y0, double y1) {
    const int v = static_cast<int>(points.size());
    for (const auto& [x, y] : {std::pair(x0, y0), std::pair(x1, y0), std::pair(x1, y1), std::pair(x0, y1)})
      points.push_back({static_cast<float>(x), static_cast<float>(y), 0});
    tris.push_back({v, v + 1, v + 2});
    tris.push_back({v, v + 2, v + 3});
  };
  sheet(0, 3, 0, 1);
  for (int i = 0; i < 3; ++i) sheet(i ? i + 0.05 : 0, i + 1, -1, -0.05);
  CompactMesh mesh = shapes::make(points, tris);
  ASSERT_TRUE(stitch(mesh, 0.1, 0.01));
  expectSurface(mesh, 1);
  EXPECT_EQ(mesh.getNumVertices(), 10);
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    const MeshVertex& p = mesh.getVertices()[v];
    EXPECT_TRUE(std::fabs(p.x - std::round(p.x)) < 0.06f && std::fabs(p.y - std::round(p.y)) < 0.06f);
  }
  EXPECT_NEAR(areaOf(mesh), 6, 0.1);
}

// Both sides have an edge across the seam: as one they would have four triangles.
TEST(Stitching, PartsDoubledEdges) {
  CompactMesh mesh = shapes::make({{0, 0, 0},
                                   {1, 0, -1},
                                   {2, 0, 0},
                                   {1, 1, 0},
                                   {0, -0.01f, 0},
                                   {1, -0.01f, -1},
                                   {2, -0.01f, 0},
                                   {1, -1, 0}},
                                  {{0, 1, 2}, {0, 2, 3}, {6, 5, 4}, {6, 4, 7}});
  ASSERT_TRUE(stitch(mesh, 0.05, 0.1));
  expectSurface(mesh, 1);
  EXPECT_EQ(mesh.getNumVertices(), 6);
  EXPECT_EQ(mesh.getNumTriangles(), 6);
}

// Two halves of a band with a half turn: one seam agrees with the winding, the other stays open.
TEST(Stitching, LeavesTwistsOpen) {
  const int n = 40;
  Points points;
  Tris tris;
  for (int half = 0; half < 2; ++half) {
    const int first = static_cast<int>(points.size());
    for (int i = 0; i <= n; ++i)
      for (const double s : {-0.5, 0.5}) {
        const double u = M_PI * (half + static_cast<double>(i) / n), r = 2 + s * std::cos(u / 2);
        points.push_back({static_cast<float>(r * std::cos(u)), static_cast<float>(r * std::sin(u)),
                          static_cast<float>(s * std::sin(u / 2))});
      }
    for (const auto& t : shapes::squares(n, 1, [=](int i, int j) { return first + 2 * i + j; }))
      tris.push_back(t);
  }
  CompactMesh mesh = shapes::make(points, tris);
  NoticeLog log(mesh);
  const double before = openLength(mesh);
  ASSERT_TRUE(stitch(mesh, 0.05, 0.01));
  expectSurface(mesh, 1);
  EXPECT_EQ(log.sent.size(), 1u);
  EXPECT_EQ(mesh.getNumVertices(), 4 * (n + 1) - 2);
  EXPECT_NEAR(openLength(mesh), before - 2, 1e-4);
}

// Any two chains: what comes out is sound, what went was announced, and both have a vertex for each other's.
TEST(Stitching, ZipsAnyChains) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(-1, 1);
    TopoMesh mesh;
    std::vector<TopoMeshVertex> rims[2], fars[2];
    const double noise = std::exp2(-static_cast<double>(random() % 8)) * 2;
    for (auto& rim : rims) {  // strips of triangles on both sides of the x axis
      const int n = 2 + static_cast<int>(random() % 30);
      const bool upper = &rim == rims;
      auto& far = fars[upper ? 0 : 1];
      for (int i = 0; i < n; ++i) {
        const double x = (upper ? i : n - 1 - i) / (n - 1.0);
        const auto aside = [&] { return noise * unit(random) / n; };
        rim.push_back(mesh.allocVertex({x + aside(), aside(), seed % 9 ? aside() : 0}));
        far.push_back(i > 0 && random() % 3 == 0 ? far.back() : mesh.allocVertex({x, upper ? 1.0 : -1.0, 0}));
      }
      for (int i = 0; i + 1 < n; ++i) {
        mesh.allocTriangle(rim[i], rim[i + 1], far[i + 1]);
        if (far[i] != far[i + 1]) mesh.allocTriangle(rim[i], far[i + 1], far[i]);
      }
    }
    if (seed % 3 == 0) {  // an edge between the ends
      const TopoMeshVertex a = rims[0].back(), b = rims[1].front(), tip = mesh.allocVertex({1.3, 0, 0});
      mesh.allocTriangle(a, b, tip);
      mesh.allocTriangle(tip, fars[0].back(), a);
      mesh.allocTriangle(b, fars[1].front(), tip);
    }
    test::twinOpposites(mesh);
    std::set<TopoMeshVertex> alive, announced;
    for (const auto v : test::listFrom(mesh.firstVertex())) alive.insert(v);
    MeshStitchSeam seam(mesh);
    qvRTB::SignalBase client;
    seam.vertexRemovalSignal().connect(
        client, [&](TopoMeshVertex v) { EXPECT_TRUE(v.isAlive() && announced.insert(v).second); });
    const bool merge = random() % 4 > 0;
    seam.stitch(rims[0].front(), rims[0].back(), rims[1].back(), rims[1].front(),
                0.3 * std::fabs(unit(random)), merge);
    EXPECT_EQ(seam.preservedA(), rims[0].size() >= rims[1].size());
    ASSERT_TRUE(test::isValid(mesh));
    for (const auto v : alive) EXPECT_EQ(v.isAlive(), !announced.count(v));
    for (auto f = mesh.firstFace(); f; f = f.nextInMesh()) EXPECT_EQ(f.numVertices(), 3);
    const auto& kept = rims[seam.preservedA() ? 0 : 1];
    const auto& other = rims[seam.preservedA() ? 1 : 0];
    EXPECT_TRUE(kept.front().isAlive() && kept.back().isAlive());
    int steps[2] = {0, 0};
    for (const auto* rim : {&kept, &other}) {
      if (merge) break;
      for (TopoMeshBoundaryIterator it(rim->front()); it.get().start() != rim->back(); it.nextEdge())
        ++steps[rim == &kept];
      EXPECT_TRUE(rim->front().point() == (rim == &kept ? kept.front() : kept.back()).point());
      EXPECT_TRUE(rim->back().point() == (rim == &kept ? kept.back() : kept.front()).point());
    }
    EXPECT_EQ(steps[0], steps[1]);
    EXPECT_TRUE(!merge || (!other.front().isAlive() && !other.back().isAlive()));
  }
}

TEST(Stitching, SeamsRefuseWhatIsNone) {
  TopoMesh mesh;
  const auto v = test::buildTopo(mesh, test::topoGrid(4, 4));
  const TopoMeshVertex gone = mesh.allocVertex({}), null;
  mesh.deleteVertex(gone);
  const auto before = test::fingerprint(mesh);
  MeshStitchSeam seam(mesh);
  for (const auto& x : {gone, null, v[6]}) {
    seam.stitch(v[0], x, v[24], v[4], 0.1, true);
    seam.stitch(v[0], v[4], x, v[4], 0.1, true);
    seam.stitchCircular(x, v[0], 0.1, true);
    seam.stitchCircular(v[0], x, 0.1, true);
  }
  // One edge cannot be on both sides.
  seam.stitch(v[0], v[24], v[4], v[0], 0.1, true);
  seam.stitchCircular(v[0], v[24], 0.1, true);
  EXPECT_EQ(test::fingerprint(mesh), before);
}

}  // namespace
}  // namespace qvGeom
