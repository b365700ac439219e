#include "geom/process/smoothing.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <tuple>

#include "geom/model/keel/lines.h"
#include "geom/model/keel/tolerances.h"
#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Normal;
using qvLinear::Point;

constexpr double kLaplacian = -7;  // in place of a radius

void smooth(CompactMesh& mesh, double sigma, qvUtil::Progress& progress) {
  const Adjacency adjacency(mesh);
  if (sigma == kLaplacian) return meshSmoothLaplacian(mesh, adjacency.vertices, progress);
  meshSmoothBilateral(mesh, adjacency.vertices, sigma, progress);
}

void select(PointMesh& mesh, const std::function<bool(int)>& which) {
  mesh.getSelectedVertices().resize(mesh.getNumVertices());
  for (int v = 0; v < mesh.getNumVertices(); ++v)
    if (which(v)) mesh.getSelectedVertices().setBit(v);
}

// What becomes of v by definition.
MeshVertex placeOf(const CompactMesh& mesh, const MeshAdjVertices& adj, int v, double sigma) {
  const MeshVertex p = mesh.getVertices()[v];
  MeshVertex to = p;
  if (sigma == kLaplacian) {
    float sum[3] = {}, n = static_cast<float>(adj.numAdjVertices(v));
    for (const int u : neighboursOf(adj, v))
      for (int k = 0; k < 3; ++k) sum[k] += mesh.getVerticesRaw()[3 * u + k];
    to = {sum[0] / n, sum[1] / n, sum[2] / n};
  } else {
    std::set<int> seen{v};
    std::vector<std::pair<int, double>> stack, found;
    const Normal normal(mesh.getNormals()[v].asVector());
    const auto expand = [&](int w) {
      for (const int u : neighboursOf(adj, w)) {
        const double d2 = distance2(mesh.getVertices()[u].asPoint(), p.asPoint());
        if (seen.insert(u).second && d2 <= sigma * sigma) stack.emplace_back(u, d2);
      }
    };
    for (expand(v); !stack.empty(); expand(found.back().first)) {
      const auto [u, d2] = stack.back();
      stack.pop_back();
      found.emplace_back(u, d2);
    }
    const auto height = [&](int u) {
      return qvLinear::Plane(p.asPoint(), normal).eval(mesh.getVertices()[u].asPoint());
    };
    const double m = static_cast<double>(found.size());
    double mean = 0, var = 0, weights = 0, sum = 0;
    for (const auto& [u, d2] : found) mean += height(u);
    mean /= m;
    for (const auto& [u, d2] : found) var += (height(u) - mean) * (height(u) - mean);
    var /= m;
    for (const auto& [u, d2] : found) {
      const double h = height(u);
      const double w = std::exp(-d2 * (1 / (2 * (sigma * sigma)))) * std::exp(-h * h * (1 / (2 * var)));
      weights += w;
      sum += w * h;
    }
    if (m == 0 || std::abs(var) < qvLinear::epsilonTol || std::abs(weights) < qvLinear::epsilonTol) return p;
    to.set((p.asPoint() + normal * (sum / weights)).data());
  }
  return std::isfinite(to.x) && std::isfinite(to.y) && std::isfinite(to.z) ? to : p;
}

TEST(Smoothing, MovesByTheOldPositionsBitForBit) {
  std::mt19937 random(7);
  CompactMesh spoilt = shapes::soup(90, 200, random);
  spoilt.getVertices()[3].x = kNan;
  spoilt.getVertices()[5].y = -kInf;
  spoilt.getVertices()[7] = {kMax, kMax, -kMax};
  spoilt.getVertices()[8] = {kMax, kMax, kMax};
  CompactMesh grid = shapes::grid(16, 12);
  CompactMesh far = shapes::make({{0, 0, 0}, {9, 0, 9}, {0, 9, 9.1f}}, {{0, 1, 2}});  // the weights vanish
  int moved = 0;
  for (CompactMesh mesh : {shapes::soup(60, 150, random), shapes::soup(60, 30, random), spoilt, grid, far,
                           shapes::torus(12, 9), CompactMesh()})
    for (const double sigma : {kLaplacian, 0.11, 0.4, 2.5, 1e200, 1e-200, double{kInf}})
      for (int share = 0; share < 4; ++share) {
        SCOPED_TRACE(testing::Message() << mesh.getNumVertices() << " vertices, " << sigma << ", " << share);
        meshComputeNormals(mesh);
        select(mesh, [&](int) { return random() % 3 < static_cast<unsigned>(share); });
        const Adjacency adjacency(mesh);
        CompactMesh expected = mesh;
        const auto normals = normalsOf(mesh);
        for (int v = 0; v < mesh.getNumVertices(); ++v)
          if (mesh.getSelectedVertices().test(v))
            expected.getVertices()[v] = placeOf(mesh, adjacency.vertices, v, sigma);
        const NoticeLog notices(mesh);
        qvUtil::Progress progress;
        moved += positionsOf(mesh) != positionsOf(expected);
        smooth(mesh, sigma, progress);
        const std::size_t bytes = sizeof(MeshVertex) * static_cast<std::size_t>(mesh.getNumVertices());
        EXPECT_TRUE(bytes == 0 || std::memcmp(mesh.getVertices(), expected.getVertices(), bytes) == 0);
        EXPECT_EQ(notices.sent, (Notices{{MeshModification::GeometryModified, 0u}}));
        EXPECT_EQ(normalsOf(mesh), normals);
      }
  EXPECT_GT(moved, 60);
}

TEST(Smoothing, KnownPlaces) {
  const CompactMesh spike = shapes::make(
      {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {1, 1, 5}, {2, 1, 0}, {0, 2, 0}, {1, 2, 0}, {2, 2, 0}},
      shapes::squares(2, 2, [](int i, int j) { return 3 * j + i; }));
  const CompactMesh saddle = shapes::make({{1, 0, .1f}, {0, 1, .1f}, {-1, 0, -.1f}, {0, -1, -.3f}, {0, 0, 0}},
                                          {{4, 0, 1}, {4, 1, 2}, {4, 2, 3}, {4, 3, 0}});
  const std::tuple<const char*, CompactMesh, double, MeshVertex> cases[] = {
      {"a spike is pulled into the plane", spike, kLaplacian, {1, 1, 0}},
      {"heights without variance leave it", spike, 9, {1, 1, 5}},
      {"heights vary", saddle, 1.2, {0, 0, 0.0098748f}},
      {"radius below every edge", saddle, 0.99, {0, 0, 0}},
  };
  for (const auto& [name, mesh, sigma, expected] : cases) {
    CompactMesh m = mesh;
    m.allocNormalArray();
    for (int v = 0; v < m.getNumVertices(); ++v) m.getNormals()[v].z = 2;
    select(m, [](int v) { return v == 4; });
    qvUtil::Progress progress;
    smooth(m, sigma, progress);
    EXPECT_THAT(floatsOf(&m.getVertices()[4].x, 3), areNear({expected.x, expected.y, expected.z})) << name;
  }
}

TEST(Smoothing, StaysOnRefusalAndWhenCancelled) {
  CompactMesh mesh = shapes::torus(60, 50);
  select(mesh, [](int v) { return v != 0; });
  const auto before = positionsOf(mesh);
  const NoticeLog notices(mesh);
  qvUtil::Progress progress;
  smooth(mesh, 1, progress);  // without normals
  meshComputeNormals(mesh);
  for (const double sigma : {0.0, -1.0, std::nan("")}) smooth(mesh, sigma, progress);
  meshSmoothLaplacian(mesh, MeshAdjVertices(), progress);
  meshSmoothBilateral(mesh, Adjacency(shapes::torus(60, 51)).vertices, 1, progress);
  EXPECT_EQ(notices.sent.size(), 7u);  // with that of the normals
  EXPECT_EQ(progress.fraction(), 2001.0 / 2999);
  for (const double sigma : {kLaplacian, 0.5})
    for (int looks = 0; looks < 4; ++looks) {  // before the first two vertices, and after each thousand
      CancelAfter cancel(looks);
      smooth(mesh, sigma, cancel);
      EXPECT_TRUE(cancel.heard());
    }
  EXPECT_EQ(notices.sent.size(), 7u);
  EXPECT_EQ(positionsOf(mesh), before);
  CancelAfter late(4);
  smooth(mesh, kLaplacian, late);
  EXPECT_FALSE(late.heard());
  EXPECT_NE(positionsOf(mesh), before);
}

}  // namespace
}  // namespace qvGeom
