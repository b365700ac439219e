#include "geom/topology/curvature.h"

#include <cmath>
#include <gtest/gtest.h>

#include "geom/topology/normals.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using namespace qvLinear;

Floats curvatureOf(const CompactMesh& mesh, int type, const AffineMatrixFlt& matrix = {}) {
  const Adjacency a(mesh);
  Floats out(static_cast<std::size_t>(mesh.getNumVertices()), -77);
  meshCurvature(mesh, a.tris, a.vertices, matrix, static_cast<MeshCurvature>(type), out.data());
  return out;
}

using Surface = Point (*)(double u, double v);

// All four kinds, from the fundamental forms; positive where the surface bends away from du x dv.
std::array<double, 4> expectedAt(Surface s, double u, double v) {
  const double h = 1e-4;
  const Vector du = 0.5 / h * (s(u + h, v) - s(u - h, v)), dv = 0.5 / h * (s(u, v + h) - s(u, v - h));
  const Normal n(cross(dv, du));
  const auto second = [&](double i, double j) {
    return dot(n, (s(u + i * h, v + j * h) - s(u, v)) + (s(u - i * h, v - j * h) - s(u, v))) / (h * h);
  };
  const double e = length2(du), f = dot(du, dv), g = length2(dv), area = e * g - f * f;
  const double l = second(1, 0), m = (second(1, 1) - second(1, -1)) / 4, k = second(0, 1);
  const double mean = (e * k - 2 * f * m + g * l) / (2 * area), gauss = (l * k - m * m) / area;
  const double spread = std::copysign(std::sqrt(std::fabs(mean * mean - gauss)), mean);
  return {mean, gauss, mean - spread, mean + spread};
}

double largestError(Surface s, int n, int type) {
  CompactMesh mesh = shapes::grid(n, n);
  for (int v = 0; v < mesh.getNumVertices(); ++v)
    mesh.getVertices()[v].set(s((v % (n + 1)) * 1.0 / n, (v / (n + 1)) * 1.0 / n).data());
  meshComputeNormals(mesh);
  const Floats found = curvatureOf(mesh, type);
  double largest = 0;
  for (int j = n / 8; j <= n - n / 8; ++j)
    for (int i = n / 8; i <= n - n / 8; ++i)
      largest = std::max(largest,
                         std::fabs(found[j * (n + 1) + i] - expectedAt(s, i * 1.0 / n, j * 1.0 / n)[type]));
  return largest;
}

TEST(Curvature, ApproachesThatOfTheSurfaceAsTheMeshIsRefined) {
  using std::cos, std::sin;
  for (const Surface s : {Surface([](double u, double v) {  // a sphere
                            return Point(2 * cos(u) * cos(v), 2 * sin(u) * cos(v), 2 * sin(v));
                          }),
                          // a cylinder seen from inside, a torus, a saddle
                          Surface([](double u, double v) { return Point(cos(u) / 2, -sin(u) / 2, v); }),
                          Surface([](double u, double v) {
                            return Point((2 + cos(3 * v)) * cos(u), (2 + cos(3 * v)) * sin(u), sin(3 * v));
                          }),
                          Surface([](double u, double v) { return Point(u, v, (u * u - v * v / 4) / 2); })})
    for (const int type : {0, 1, 2, 3}) {
      const double fine = largestError(s, 24, type);
      EXPECT_LT(fine, largestError(s, 8, type) / 2 + 2e-4) << type;
      EXPECT_LT(fine, 0.02) << type;
    }
}

TEST(Curvature, OfAnOctahedron) {
  CompactMesh mesh =
      shapes::make({{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}},
                   {{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4}, {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}});
  const auto expectAll = [&](int type, float value, float x = 1, float y = 1) {
    const Floats found = curvatureOf(mesh, type, AffineMatrixFlt::scale(x, y, x));
    EXPECT_THAT(found, testing::Each(testing::FloatNear(value, 5e-6f))) << type;
  };
  expectAll(0, 1);  // without normals
  for (const float outwards : {1.0f, -1.0f}) {
    meshComputeNormals(mesh);
    for (int i = 0; i < 18; ++i) mesh.getNormalsRaw()[i] *= outwards;
    expectAll(0, outwards);
    expectAll(1, 1.813799f);
    expectAll(2, outwards * 0.097892f);
    expectAll(3, outwards * 1.902108f);
    expectAll(4, 0);
    expectAll(0, outwards * 2, 0.5f, -0.5f);  // a mirror takes the normals along
    expectAll(1, 4 * 1.813799f, 0.5f, -0.5f);
  }
}

TEST(Curvature, OnBoundariesIsTheAverageOfNeighbours) {
  // A tip amid 2 x 2 squares. Corners 2 and 6, of one triangle, average what their neighbours became.
  CompactMesh tip = shapes::grid(2, 2);
  for (int v = 0; v < 9; ++v) tip.getVertices()[v].z = v == 4 ? 1.0f : 0.0f;
  tip.resizeVertexArray(10);
  const Floats k = curvatureOf(tip, 1);
  EXPECT_GT(k[4], 0.5);
  EXPECT_EQ(Floats(k.begin(), k.end() - 1), Floats(9, k[4]));
  EXPECT_EQ(k[9], 0) << "isolated";
  EXPECT_TRUE(curvatureOf(CompactMesh(), 1, AffineMatrixFlt::scale(2, 2, 2)).empty());
}

TEST(Curvature, IsFiniteAndTheSameForEveryNumberOfThreads) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    std::mt19937 random(seed);
    CompactMesh mesh = seed % 2 ? shapes::soup(12, 30, random) : shapes::torus(9, 7);
    const float scale = std::array{1.0f, kMax, 1e-38f, 1e-45f, 0.0f}[seed % 5];
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
      if (random() % 4) mesh.getVerticesRaw()[i] = std::clamp(mesh.getVerticesRaw()[i], -1.0f, 1.0f) * scale;
    if (seed % 3) meshComputeNormals(mesh);
    for (int type = 0; type < 4; ++type)
      for (const float x : curvatureOf(mesh, type)) ASSERT_TRUE(std::isfinite(x)) << seed;
  }
  CompactMesh large = shapes::grid(120, 100);
  meshComputeNormals(large);
  const Floats expected = curvatureOf(large, MeshCurvatureMaxPrincipal);
  forThreadCounts([&] { EXPECT_EQ(curvatureOf(large, MeshCurvatureMaxPrincipal), expected); });
}

}  // namespace
}  // namespace qvGeom
