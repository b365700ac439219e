#include "geom/numeric/flattening.h"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numbers>
#include <utility>

#include "geom/planar/polygon_triangulation.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::Vector;
using testing::ElementsAre;

// Collects what the application is told while this lives.
class AppLog {
 public:
  AppLog() {
    qvOS::AppOutput::getInstance().setSink([this](qvOS::AppOutput::Level level, char const* text) {
      lines.push_back((level == qvOS::AppOutput::Level::error ? "E " : "I ") + std::string(text));
    });
  }
  ~AppLog() { qvOS::AppOutput::getInstance().setSink({}); }
  std::vector<std::string> lines;
};

// A w by h grid whose vertex (i, j) is at place(i, j), without the squares that `leaveOut` names.
template <typename Place, typename LeaveOut>
CompactMesh bent(int w, int h, const Place& place, const LeaveOut& leaveOut) {
  std::map<int, int> numbers;  // of the vertices in use
  shapes::Points points;
  shapes::Tris tris;
  int square = 0;
  for (auto t : shapes::squares(w, h, [=](int i, int j) { return j * (w + 1) + i; })) {
    const int at = square++ / 2;
    if (leaveOut(at % w, at / w)) continue;
    for (int& v : t) {
      const auto [number, isNew] = numbers.emplace(v, static_cast<int>(numbers.size()));
      if (isNew) {
        const std::array<double, 3> p = place(v % (w + 1), v / (w + 1));
        points.push_back({static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])});
      }
      v = number->second;
    }
    tris.push_back(t);
  }
  return shapes::make(points, tris);
}
constexpr auto kNothing = [](int, int) { return false; };

// Angles in radians between the flattened and the original corners: the largest difference, and the sum over
// the triangles of their conformal energy, relative to their area.
struct Distortion {
  double largestAngle = 0;
  double energy = 0;
  int flipped = 0;
};

Distortion distortionOf(const CompactMesh& mesh, const Floats& uvs) {
  Distortion found;
  double area = 0, plane = 0;
  int turns = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const MeshTriangle& tri = mesh.getTriangles()[t];
    Point p[3], q[3];
    for (int k = 0; k < 3; ++k) {
      p[k] = mesh.getVertices()[tri[k]].asPoint();
      q[k] = Point(uvs[2 * tri[k]], uvs[2 * tri[k] + 1], 0);
    }
    const double turned = cross(q[1] - q[0], q[2] - q[0])[2];
    turns += turned > 0 ? 1 : -1;
    area += length(cross(p[1] - p[0], p[2] - p[0]));
    plane += std::fabs(turned);
    for (int k = 0; k < 3; ++k) {
      const int a = (k + 1) % 3, b = (k + 2) % 3;
      const double before = qvLinear::angle(p[a] - p[k], p[b] - p[k]);
      found.largestAngle =
          std::max(found.largestAngle, std::fabs(before - qvLinear::angle(q[a] - q[k], q[b] - q[k])));
      found.energy += length2(q[b] - q[a]) / std::tan(before) / 2;
    }
  }
  found.energy = (found.energy - plane) / plane;
  found.flipped = (mesh.getNumTriangles() - std::abs(turns)) / 2;
  return found;
}

bool flatten(CompactMesh& mesh, bool factorize = false) {
  reparameterizeMesh flattening(mesh);
  flattening.enableFactorization(factorize);
  return flattening.flatten();
}

TEST(Flattening, SaysWhatItDoesWithASquare) {
  CompactMesh mesh = shapes::make({{0, 0, 5}, {1, 0, 5}, {1, 1, 5}, {0, 1, 5}}, {{0, 1, 2}, {0, 2, 3}});
  AppLog log;
  NoticeLog notices(mesh);
  ASSERT_TRUE(flatten(mesh));
  EXPECT_THAT(
      log.lines,
      ElementsAre("I getMeshGenus: numBoundaries 1 \n", "I getMeshGenus: numBoundaryEdges 4 \n",
                  "I getMeshGenus: numVertices 4 \n", "I getMeshGenus: numTriangles 2 \n",
                  "I getMeshGenus: numEdges 5 \n", "I getMeshGenus: chi = 1 + 4 + 2 - 5 = 2 \n",
                  "I getMeshGenus: genus = ( 2 - 2 ) / 2 = 0 \n", "I - - - MeshReparameterize: genus = 0\n",
                  "I Parameterization: calculated planeNormal is good.  Using orthogonal component.\n",
                  "I Parameterization: CG finished, code = 1\n"));
  EXPECT_EQ((Notices{{MeshModification::AttributesModified, MeshModification::UVsModified}}), notices.sent);
  // Turned about the y axis, the pinned edge along u; the other two corners kept the sense of rotation.
  EXPECT_THAT(uvsOf(mesh), areNear({1, 1, 0, 1, 0, 0, 1, 0}));
}

TEST(Flattening, ReportsProgressOfLargeSystems) {
  CompactMesh mesh = shapes::grid(8, 8);
  AppLog log;
  ASSERT_TRUE(flatten(mesh));
  EXPECT_THAT(log.lines, testing::Contains("I Parameterization   5.0% complete\n"));
  EXPECT_THAT(log.lines, testing::Contains("I Parameterization  13.5% complete\n"));  // 90 15 / 158 + 5
}

TEST(Flattening, KeepsAnglesOfWhatCanBeUnrolled) {
  const auto none = [](int, int) { return false; };
  const auto ring = [](int i, int j) { return std::hypot(i - 6.0, j - 6.0) < 2.5; };
  const auto outline = [](int i, int j) { return (i < 5 && j > 6) || (i > 9 && j < 3 + i % 2); };
  for (const double size : {1e-2, 1.0, 1e3}) {
    const auto plane = [=](int i, int j) -> std::array<double, 3> {
      const double x = i + 0.3 * std::sin(3.0 * j), y = j + 0.2 * std::cos(2.0 * i);
      return {size * x, size * (0.6 * y - 0.2 * x), size * (0.8 * y + 0.1 * x) + 7 * size};
    };
    const auto tube = [=](int i, int j) -> std::array<double, 3> {
      return {size * std::cos(0.4 * i), size * std::sin(0.4 * i), size * 0.4 * j};
    };
    CompactMesh meshes[] = {bent(12, 12, plane, none), bent(12, 12, plane, ring),
                            bent(12, 12, plane, outline), bent(10, 14, tube, none)};
    for (CompactMesh& mesh : meshes) {
      SCOPED_TRACE(testing::Message() << "size " << size << ", triangles " << mesh.getNumTriangles());
      CompactMesh again = mesh;
      ASSERT_TRUE(flatten(mesh) && flatten(again, true));
      EXPECT_THAT(uvsOf(again), testing::Pointwise(testing::FloatNear(1e-4f), uvsOf(mesh)));
      const Floats uvs = uvsOf(mesh);
      const Distortion distortion = distortionOf(mesh, uvs);
      EXPECT_LT(distortion.largestAngle, 1e-4);
      EXPECT_EQ(0, distortion.flipped);
      float span[2];
      for (int k = 0; k < 2; ++k) {
        float least = 2, greatest = -1;
        for (std::size_t i = k; i < uvs.size(); i += 2) {
          least = std::min(least, uvs[i]);
          greatest = std::max(greatest, uvs[i]);
        }
        EXPECT_EQ(0, least);
        span[k] = greatest;
      }
      EXPECT_EQ(1, std::max(span[0], span[1]));
    }
  }
}

TEST(Flattening, BendsAHemisphereLessThanItsProjectionDoes) {
  const auto hemisphere = [](int i, int j) -> std::array<double, 3> {
    const double x = (i - 10) / 10.0, y = (j - 10) / 10.0;
    const double r = std::hypot(x, y), turn = std::atan2(y, x);
    const double tilt = std::max(std::fabs(x), std::fabs(y)) * std::numbers::pi / 2;
    return {std::sin(tilt) * std::cos(turn), std::sin(tilt) * std::sin(turn), r == 0 ? 1 : std::cos(tilt)};
  };
  CompactMesh mesh = bent(20, 20, hemisphere, kNothing);
  Floats projection;
  for (int v = 0; v < mesh.getNumVertices(); ++v)
    projection.insert(projection.end(), {mesh.getVertices()[v].x, mesh.getVertices()[v].y});
  ASSERT_TRUE(flatten(mesh));
  const Distortion flat = distortionOf(mesh, uvsOf(mesh)), projected = distortionOf(mesh, projection);
  EXPECT_LT(flat.energy, 0.1 * projected.energy);
  EXPECT_LT(flat.largestAngle, projected.largestAngle);
  EXPECT_EQ(0, flat.flipped);
}

// The plain solver does not come to the end of what a closed surface leaves when it is cut open.
TEST(Flattening, SolvesStiffSystemsByFactorization) {
  CompactMesh mesh = shapes::torus(40, 40);
  AppLog log;
  ASSERT_TRUE(flatten(mesh, true));
  EXPECT_EQ("I Parameterization: CG finished, code = 1\n", log.lines.back());
}

// A hole counts as if its triangulation were there.
TEST(Flattening, ClosesHolesInTheEnergy) {
  const auto dome = [](int i, int j) -> std::array<double, 3> {
    return {0.1 * i, 0.1 * j, 0.5 * std::sin(0.5 * i) * std::sin(0.4 * j)};
  };
  const auto hole = [](int i, int j) { return i > 2 && i < 6 && j > 1 && j < 6; };
  CompactMesh open = bent(9, 9, dome, hole);
  const Adjacency records(open);
  ASSERT_EQ(2, records.boundaries.size());
  const Ints loop = loopsOf(records.boundaries)[1];
  qv::vector<Point> polygon;
  for (const int v : loop) polygon.push_back(open.getVertices()[v].asPoint());
  qv::vector<int> corners;
  triangulatePolygon(polygon, corners, nullptr, nullptr);
  CompactMesh closed = open;
  const int first = open.getNumTriangles();
  closed.resizeTriangleArray(first + static_cast<int>(corners.size() / 3));
  for (std::size_t c = 0; c < corners.size(); c += 3)
    for (int k = 0; k < 3; ++k)
      closed.getTriangles()[first + static_cast<int>(c / 3)][k] = loop[corners[c + 2 - k]];
  ASSERT_EQ(1, Adjacency(closed).boundaries.size());
  ASSERT_TRUE(flatten(open) && flatten(closed));
  EXPECT_THAT(uvsOf(open), testing::Pointwise(testing::FloatNear(1e-4f), uvsOf(closed)));
}

CompactMesh tetrahedron() {
  return shapes::make({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                      {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}});
}

TEST(Flattening, CutsWhatIsNoDiscUnlessTold) {
  for (CompactMesh mesh : {tetrahedron(), shapes::torus(12, 8)}) {
    const CompactMesh before = mesh;
    AppLog log;
    NoticeLog notices(mesh);
    reparameterizeMesh uncut(mesh);
    uncut.enableMeshCutSurface(false);
    EXPECT_FALSE(uncut.flatten());
    EXPECT_EQ(nullptr, mesh.getUVs());
    EXPECT_THAT(log.lines.back(), testing::StartsWith("I - - - MeshReparameterize: genus = "));
    EXPECT_TRUE(notices.sent.empty());
    ASSERT_TRUE(flatten(mesh));
    EXPECT_EQ(indicesOf(before), indicesOf(mesh));
    EXPECT_EQ(positionsOf(before), positionsOf(mesh));
    EXPECT_EQ(1u, notices.sent.size());
    for (const float uv : uvsOf(mesh)) EXPECT_TRUE(uv >= 0 && uv <= 1) << uv;
  }
}

TEST(Flattening, BeginsAnewWithEveryCall) {
  const CompactMesh closed = tetrahedron();
  CompactMesh mesh = shapes::make(shapes::Tris{{0, 1, 2}, {3, 4, 5}, {6, 7, 8}, {9, 10, 11}});
  for (int v = 0; v < 12; ++v) mesh.getVertices()[v] = closed.getVertices()[closed.getTrianglesRaw()[v]];
  CompactMesh expected = mesh;
  reparameterizeMesh flattening(mesh);
  flattening.enableMeshCutSurface(false);
  EXPECT_FALSE(flattening.flatten());
  flattening.enableMeshCutSurface(true);
  for (int round = 0; round < 2; ++round) {
    AppLog log;
    ASSERT_TRUE(flattening.flatten());
    const auto messages = std::exchange(log.lines, {});
    ASSERT_TRUE(flatten(expected));
    EXPECT_EQ(log.lines, messages);
    EXPECT_EQ(uvsOf(expected), uvsOf(mesh));
  }
  // Another number of vertices than the first copy has.
  reparameterizeMesh outdated(mesh);
  mesh.resizeVertexArray(11);
  mesh.resizeTriangleArray(3);
  expected = mesh;
  EXPECT_FALSE(outdated.flatten());
  EXPECT_EQ(uvsOf(expected), uvsOf(mesh));
  EXPECT_TRUE(outdated.flatten() && flatten(expected));
  EXPECT_EQ(uvsOf(expected), uvsOf(mesh));
}

TEST(Flattening, RefusesAndSaysWhy) {
  const shapes::Points corners{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {2, 2, 0}, {3, 0, 1}};
  CompactMesh twoPieces = shapes::make(corners, {{0, 1, 2}, {3, 4, 5}});
  CompactMesh degenerate = shapes::make(corners, {{0, 1, 2}, {3, 3, 5}});
  CompactMesh point = shapes::make({{1, 1, 1}, {1, 1, 1}, {1, 1, 1}}, {{0, 1, 2}});
  CompactMesh infinite = shapes::make({{0, 0, 0}, {1, 0, 0}, {kNan, 1, 0}}, {{0, 1, 2}});
  CompactMesh empty;
  const struct {
    CompactMesh& mesh;
    std::vector<std::string> last;
    bool compact = true;
  } cases[] = {
      {twoPieces, {"I getMeshGenus: genus = -1 \n", "I - - - MeshReparameterize: genus = -1\n"}},
      {degenerate,
       {"E Found degenerate triangle 1 (3,3,5), mesh not changed. \n",
        "I getMeshGenus: testDegenerate == true\n", "I - - - MeshReparameterize: genus = -1\n"}},
      {point,
       {"E Found degenerate triangle 0 (0,0,0), mesh not changed. \n",
        "I getMeshGenus: testDegenerate == true\n", "I - - - MeshReparameterize: genus = -1\n"}},
      {infinite, {"E The mesh has no finite layout. No changes made.\n"}},
      {empty, {"I getMeshGenus: chi = 0 + 0 + 0 - 0 = 0 \n", "I getMeshGenus: genus = ( 2 - 0 ) / 2 = 1 \n"}},
      {point,
       {"E There must be a boundary for the disk, none found. No changes made.\n",
        "I - - - MeshReparameterize: outerBoundary = -1\n"},
       false},
  };
  for (const auto& c : cases) {
    AppLog log;
    NoticeLog notices(c.mesh);
    reparameterizeMesh flattening(c.mesh);
    flattening.enableMeshCompact(c.compact);
    EXPECT_FALSE(flattening.flatten());
    ASSERT_GE(log.lines.size(), c.last.size());
    EXPECT_EQ(c.last, std::vector<std::string>(log.lines.end() - c.last.size(), log.lines.end()));
    EXPECT_EQ(nullptr, c.mesh.getUVs());
    EXPECT_TRUE(notices.sent.empty());
  }
}

TEST(Flattening, WeldsUnlessThatClosesBoundaries) {
  const shapes::Points points{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  const CompactMesh halves = shapes::make(points, {{0, 1, 2}, {3, 4, 5}});
  CompactMesh welded = halves;
  ASSERT_TRUE(flatten(welded));
  EXPECT_LT(distortionOf(welded, uvsOf(welded)).largestAngle, 1e-6);
  EXPECT_EQ(welded.getUVs()[1].u, welded.getUVs()[3].u);
  CompactMesh apart = halves;
  reparameterizeMesh uncompacted(apart);
  uncompacted.enableMeshCompact(false);
  AppLog log;
  EXPECT_FALSE(uncompacted.flatten());  // two pieces
  EXPECT_EQ("I prepareMesh: numBoundaries o = 2, c = 1\n", log.lines[0]);
  EXPECT_EQ("I prepareMesh: compacting changed topology, reverting\n", log.lines[1]);
  EXPECT_EQ("I getMeshGenus: numVertices 6 \n", log.lines[4]);
}

TEST(Flattening, KeepsVerticesWithoutAreaInPlace) {
  CompactMesh mesh = shapes::make({{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}, {1, 0, 0}, {9, 9, 9}},
                                  {{0, 1, 2}, {0, 2, 3}, {0, 4, 1}});
  ASSERT_TRUE(flatten(mesh));
  for (const float uv : uvsOf(mesh)) EXPECT_TRUE(std::isfinite(uv));
  EXPECT_FLOAT_EQ(mesh.getUVs()[4].v, mesh.getUVs()[0].v);
}

TEST(Flattening, CancelledAtAnyPointChangesNothing) {
  CompactMesh mesh = shapes::torus(9, 7);
  mesh.allocUVArray();
  const Floats before = uvsOf(mesh);
  int points = 0;
  for (bool heard = true; heard; ++points) {
    CancelAfter progress(points);
    NoticeLog notices(mesh);
    const bool done = reparameterizeMesh(mesh).flatten(progress);
    heard = progress.heard();
    ASSERT_EQ(done, !heard);
    ASSERT_EQ(heard, notices.sent.empty());
    ASSERT_EQ(heard, before == uvsOf(mesh));
  }
  EXPECT_GT(points, 50);
  EXPECT_NE(before, uvsOf(mesh));
}

}  // namespace
}  // namespace qvGeom
