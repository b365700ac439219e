#include "geom/topology/curvature.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>

#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::AffineMatrixFlt;

Floats curvatureOf(const CompactMesh& mesh, int type, const AffineMatrixFlt& matrix = {}) {
  const Adjacency a(mesh);
  Floats out(static_cast<std::size_t>(mesh.getNumVertices()), -77);
  meshCurvature(mesh, a.tris, a.vertices, matrix, static_cast<MeshCurvature>(type), out.data());
  return out;
}

// A sheet over [0, 1] x [0, 1], in n by n squares; its normals are on the side of du x dv.
using Surface = std::function<std::array<double, 3>(double, double)>;
CompactMesh sheet(const Surface& at, int n) {
  shapes::Points points;
  for (int j = 0; j <= n; ++j)
    for (int i = 0; i <= n; ++i) {
      const auto p = at(static_cast<double>(i) / n, static_cast<double>(j) / n);
      points.push_back({static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])});
    }
  CompactMesh mesh =
      shapes::make(points, shapes::squares(n, n, [=](int i, int j) { return j * (n + 1) + i; }));
  meshComputeNormals(mesh);
  return mesh;
}

TEST(Curvature, ApproachesClosedFormsAsTheMeshIsRefined) {
  struct Case {
    const char* name;
    Surface at;
    std::function<std::array<double, 2>(double, double)> principal;  // towards the normals negative
  };
  for (const Case& c : {
           Case{"sphere of radius 2",
                [](double u, double v) {
                  return std::array{2 * std::cos(u) * std::cos(v), 2 * std::sin(u) * std::cos(v),
                                    2 * std::sin(v)};
                },
                [](double, double) {
                  return std::array{0.5, 0.5};
                }},
           Case{"cylinder of radius 0.5, seen from inside",
                [](double u, double v) {
                  return std::array{0.5 * std::cos(u), -0.5 * std::sin(u), v};
                },
                [](double, double) {
                  return std::array{0.0, -2.0};
                }},
           Case{"outer and inner side of a torus",
                [](double u, double v) {
                  const double r = 2 + std::cos(3 * v);
                  return std::array{r * std::cos(u), r * std::sin(u), std::sin(3 * v)};
                },
                [](double, double v) {
                  return std::array{1.0, std::cos(3 * v) / (2 + std::cos(3 * v))};
                }},
           Case{"saddle",
                [](double u, double v) {
                  return std::array{u, v, (u * u - v * v / 4) / 2};
                },
                [](double u, double v) {
                  const double g = 1 + u * u + v * v / 16, gauss = -0.25 / (g * g);
                  const double mean = ((1 + u * u) / 4 - (1 + v * v / 16)) / (2 * std::pow(g, 1.5));
                  const double spread = std::sqrt(mean * mean - gauss);
                  return std::array{mean + spread, mean - spread};
                }},
       }) {
    SCOPED_TRACE(c.name);
    const auto largestError = [&](int n, int type) {
      const Floats found = curvatureOf(sheet(c.at, n), type);
      double largest = 0;
      for (int j = n / 8; j <= n - n / 8; ++j)
        for (int i = n / 8; i <= n - n / 8; ++i) {
          const auto k = c.principal(static_cast<double>(i) / n, static_cast<double>(j) / n);
          const bool firstIsLess = std::fabs(k[0]) < std::fabs(k[1]);
          const double expected[] = {(k[0] + k[1]) / 2, k[0] * k[1], k[firstIsLess ? 0 : 1],
                                     k[firstIsLess ? 1 : 0]};
          largest = std::max(largest, std::fabs(found[j * (n + 1) + i] - expected[type]));
        }
      return largest;
    };
    for (const int type : {0, 1, 2, 3}) {
      const double fine = largestError(24, type);
      EXPECT_LT(fine, largestError(8, type) / 2 + 1e-4) << type;
      EXPECT_LT(fine, 0.02) << type;
    }
  }
}

TEST(Curvature, OfAnOctahedron) {
  CompactMesh mesh =
      shapes::make({{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}},
                   {{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4}, {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}});
  const float k = 1.813799f;
  const AffineMatrixFlt half = AffineMatrixFlt::scale(0.5f, 0.5f, 0.5f);
  const auto expectAll = [&](int type, float value, const AffineMatrixFlt& matrix = {}) {
    EXPECT_THAT(curvatureOf(mesh, type, matrix), testing::Each(testing::FloatNear(value, 5e-6f))) << type;
  };
  expectAll(0, 1);  // without normals
  for (const float outwards : {1.0f, -1.0f}) {
    meshComputeNormals(mesh);
    for (int i = 0; i < 18; ++i) mesh.getNormalsRaw()[i] *= outwards;
    expectAll(0, outwards);
    expectAll(1, k);
    expectAll(2, outwards * 0.097892f);
    expectAll(3, outwards * 1.902108f);
    expectAll(4, 0);
    expectAll(0, outwards * 2, half);
    // A mirror takes the normals along.
    expectAll(0, outwards, AffineMatrixFlt::scale(1, -1, 1));
    expectAll(1, 4 * k, half);
  }
}

TEST(Curvature, OnBoundariesIsTheAverageOfNeighbours) {
  // A flat grid of 2 x 2 squares around a tip of height 1, and an isolated vertex at the end.
  const int n = 2;
  shapes::Points points;
  for (int v = 0; v < 9; ++v)
    points.push_back({static_cast<float>(v % 3), static_cast<float>(v / 3), v == 4 ? 1.0f : 0.0f});
  points.push_back({5, 5, 5});
  const CompactMesh tip =
      shapes::make(points, shapes::squares(n, n, [=](int i, int j) { return 3 * j + i; }));
  const Floats k = curvatureOf(tip, MeshCurvatureGaussian);
  EXPECT_GT(k[4], 0.5);
  // Corners 2 and 6 are in one triangle: their neighbours are on the boundary too, with averages of their
  // own.
  for (const int v : {0, 1, 2, 3, 5, 6, 7, 8}) EXPECT_EQ(k[v], k[4]) << v;
  EXPECT_EQ(k[9], 0);

  EXPECT_EQ(curvatureOf(shapes::make({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}), 0), Floats(3, 0));
  for (const int type : {0, 1}) {
    CompactMesh flat = shapes::grid(6, 6);
    for (int v = 0; v < 49; ++v) flat.getVertices()[v].z = 3;
    EXPECT_THAT(curvatureOf(flat, type), testing::Each(testing::FloatNear(0, 1e-4f)));
  }
}

TEST(Curvature, IsFiniteOnAnyFiniteMeshAndTheSameForEveryNumberOfThreads) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    CompactMesh mesh = seed % 2 ? shapes::soup(12, 30, random) : shapes::torus(9, 7);
    const float scale = std::array{1.0f, kMax, 1e-38f, 1e-45f, 0.0f}[seed % 5];
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i) {
      float& x = mesh.getVerticesRaw()[i];
      x = std::clamp(x, -1.0f, 1.0f) * (random() % 4 ? scale : 1.0f);
    }
    if (seed % 3) meshComputeNormals(mesh);
    for (int type = 0; type < 5; ++type)
      EXPECT_THAT(curvatureOf(mesh, type),
                  testing::Each(testing::Truly([](float x) { return std::isfinite(x); })));
  }
  CompactMesh large = shapes::grid(120, 100);
  meshComputeNormals(large);
  const Floats expected = curvatureOf(large, MeshCurvatureMaxPrincipal);
  forThreadCounts([&] { EXPECT_EQ(curvatureOf(large, MeshCurvatureMaxPrincipal), expected); });
  DebugLog log;
  curvatureOf(CompactMesh(), 0);
  const auto seconds = [](std::string text) { return testing::MatchesRegex(text + "[0-9.]+ s\n"); };
  log.messages.erase(log.messages.begin(), log.messages.end() - 4);
  EXPECT_THAT(log.messages, testing::ElementsAre("meshCurvature:  vertices 0  triangles 0\n",
                                                 seconds(" cotangents computed in: "),
                                                 seconds("  interior curvature computed: "),
                                                 seconds("  boundary curvature computed: ")));
}

}  // namespace
}  // namespace qvGeom
