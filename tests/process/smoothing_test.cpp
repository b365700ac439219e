#include "geom/process/smoothing.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <set>

#include "geom/model/keel/lines.h"
#include "geom/model/keel/tolerances.h"
#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

constexpr double kLaplacian = -7;  // in place of a radius

void smooth(CompactMesh& mesh, double sigma, qvUtil::Progress& progress) {
  const Adjacency adjacency(mesh);
  if (sigma == kLaplacian) return meshSmoothLaplacian(mesh, adjacency.vertices, progress);
  meshSmoothBilateral(mesh, adjacency.vertices, sigma, progress);
}

template <typename Which>
void select(PointMesh& mesh, const Which& which) {
  mesh.getSelectedVertices().resize(mesh.getNumVertices());
  for (int v = 0; v < mesh.getNumVertices(); ++v)
    if (which(v)) mesh.getSelectedVertices().setBit(v);
}

MeshVertex placeOf(const CompactMesh& mesh, const MeshAdjVertices& adj, int v, double sigma) {
  const auto at = [&](int u) { return mesh.getVertices()[u].asPoint(); };
  if (sigma == kLaplacian) {
    float sum[3] = {}, n = static_cast<float>(adj.numAdjVertices(v));
    for (const int u : neighboursOf(adj, v))
      for (int k = 0; k < 3; ++k) sum[k] += mesh.getVerticesRaw()[3 * u + k];
    return {sum[0] / n, sum[1] / n, sum[2] / n};
  }
  std::set<int> seen{v};
  std::vector<int> stack;
  std::vector<std::pair<double, double>> found;  // squared distance, height
  const qvLinear::Plane plane(at(v), qvLinear::Normal(mesh.getNormals()[v].asVector()));
  for (int w = v;; w = stack.back(), stack.pop_back()) {
    if (w != v) found.emplace_back(distance2(at(w), at(v)), plane.eval(at(w)));
    for (const int u : neighboursOf(adj, w))
      if (seen.insert(u).second && distance2(at(u), at(v)) <= sigma * sigma) stack.push_back(u);
    if (stack.empty()) break;
  }
  const double m = static_cast<double>(found.size()), kc = 1 / (2 * (sigma * sigma));
  double mean = 0, var = 0, weights = 0, sum = 0;
  for (const auto& f : found) mean += f.second;
  for (const auto& f : found) var += (f.second - mean / m) * (f.second - mean / m);
  for (const auto& [d2, h] : found) {
    const double w = std::exp(-d2 * kc) * std::exp(-h * h * (1 / (2 * (var / m))));
    weights += w;
    sum += w * h;
  }
  if (m == 0 || var / m < qvLinear::epsilonTol || weights < qvLinear::epsilonTol)
    return mesh.getVertices()[v];
  MeshVertex to;
  to.set((plane.point + plane.normal * (sum / weights)).data());
  return to;
}

TEST(Smoothing, MovesByTheOldPositionsBitForBit) {
  std::mt19937 random(7);
  CompactMesh spoilt = shapes::soup(90, 200, random);
  spoilt.getVertices()[3] = {kNan, 0, -kInf};
  spoilt.getVertices()[7] = spoilt.getVertices()[8] = {kMax, kMax, -kMax};
  const CompactMesh far = shapes::make({{0, 0, 0}, {9, 0, 9}, {0, 9, 9.1f}}, {{0, 1, 2}});  // weights vanish
  for (CompactMesh mesh : {shapes::soup(60, 150, random), shapes::soup(60, 30, random), spoilt, far,
                           shapes::grid(16, 12), shapes::torus(12, 9)})
    for (const double sigma : {kLaplacian, 0.11, 0.4, 2.5, 1e200, 1e-200, double{kInf}})
      for (unsigned share = 0; share < 4; ++share) {
        SCOPED_TRACE(testing::Message() << mesh.getNumVertices() << " vertices, " << sigma << ", " << share);
        meshComputeNormals(mesh);
        select(mesh, [&](int) { return random() % 3 < share; });
        const Adjacency adjacency(mesh);
        CompactMesh expected = mesh;
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
          const MeshVertex to = placeOf(mesh, adjacency.vertices, v, sigma);
          if (mesh.getSelectedVertices().test(v) && std::isfinite(double{to.x} + to.y + to.z))
            expected.getVertices()[v] = to;
        }
        qvUtil::Progress progress;
        smooth(mesh, sigma, progress);
        EXPECT_EQ(std::memcmp(mesh.getVertices(), expected.getVertices(), 12u * mesh.getNumVertices()), 0);
      }
}

TEST(Smoothing, StaysOnRefusalAndWhenCancelled) {
  CompactMesh mesh = shapes::torus(60, 50);
  select(mesh, [](int v) { return v != 0; });
  const auto before = positionsOf(mesh);
  const NoticeLog notices(mesh);
  qvUtil::Progress progress;
  smooth(mesh, 1, progress);  // without normals
  mesh.allocNormalArray();
  for (const double sigma : {0.0, -1.0, std::nan("")}) smooth(mesh, sigma, progress);
  meshSmoothLaplacian(mesh, MeshAdjVertices(), progress);
  meshSmoothBilateral(mesh, Adjacency(shapes::torus(60, 51)).vertices, 1, progress);
  EXPECT_EQ(progress.fraction(), 2001.0 / 2999);
  for (int looks = 0; looks < 4; ++looks) {  // before the first two vertices, and after each thousand
    CancelAfter cancel(looks);
    smooth(mesh, looks % 2 ? 0.5 : kLaplacian, cancel);
  }
  EXPECT_EQ(notices.sent, Notices(6, {MeshModification::GeometryModified, 0u}));
  EXPECT_EQ(positionsOf(mesh), before);
}

}  // namespace
}  // namespace qvGeom
