#include "geom/spatial/sampling.h"

#include <cmath>
#include <gtest/gtest.h>
#include <set>

#include "geom/model/keel/random.h"

namespace qvGeom {
namespace {

using qvLinear::Vector;
using qvLinear::VectorFlt;

TEST(Sampling, SequencesAreTheStatedOnes) {
  HammersleyPermutation2 permutation;
  EXPECT_EQ(permutation[3] + permutation.map2d(1, 2) + permutation.mapPeriodic(5, 2), 0)
      << "not calculated yet";
  permutation.calculate(3);
  const int reversed[] = {0, 4, 2, 6, 1, 5, 3, 7};
  for (int i = 0; i < 16; ++i) EXPECT_EQ(permutation[i], reversed[i % 8]);
  EXPECT_TRUE(permutation[-1] == 7 && permutation.map2d(11, 9) == 3 * 8 + 4 &&
              permutation.mapPeriodic(13, 0) == 0);
  EXPECT_EQ(permutation.mapPeriodic(13, 5), 3 * 8 + 2);
  EXPECT_EQ(permutation.mapPeriodic(-2147483647 - 1, -1), permutation.map2d(0, 0));
  permutation.calculate(15);
  std::set<int> all;
  for (int i = 0; i < 32768; ++i) all.insert(permutation[i]);
  EXPECT_TRUE(all.size() == 32768 && *all.rbegin() == 32767);
  for (const int bad : {-1, 16}) {
    permutation.calculate(bad);
    EXPECT_EQ(permutation[1], 0);
  }
  ScrambledHammersleySequence sequence;
  const float base3[] = {0, 1 / 3.0f, 2 / 3.0f, 1 / 9.0f};
  const float base5[] = {0, 0.6f, 0.4f, 0.2f, 0.8f, 0.12f, 0.72f};
  const float base7[] = {0, 2 / 7.0f, 5 / 7.0f, 3 / 7.0f, 1 / 7.0f, 4 / 7.0f, 6 / 7.0f, 2 / 49.0f};
  sequence.calculate(3, 4);
  for (int i = 0; i < 8; ++i) EXPECT_FLOAT_EQ(sequence[i], base3[i % 4]);
  sequence.calculate(5, 7);
  for (int i = 0; i < 7; ++i) EXPECT_FLOAT_EQ(sequence[i], base5[i]);
  sequence.calculate(7, 8);
  for (int i = 0; i < 8; ++i) EXPECT_FLOAT_EQ(sequence[i], base7[i]);
  sequence.calculate(4, 8);
  EXPECT_EQ(sequence[1], 0);
}

TEST(Sampling, DirectionsAreUnitAndEven) {
  const auto expectNear = [](const VectorFlt& v, float x, float y, float z) {
    EXPECT_LT(length(v - VectorFlt(x, y, z)), 1e-6f) << v[0] << " " << v[1] << " " << v[2];
  };
  VectorFlt w;
  mapSphericalToUniformCartesian(0, 1, w);
  expectNear(w, 0, 0, 1);
  mapSphericalToUniformCartesian(0.25f, 0.5f, w);
  expectNear(w, 0, 1, 0);
  mapSphericalCapToUniformCartesian(0, 1, 2, w);
  expectNear(w, 0, 0, -1);
  mapSphericalCapToUniformCartesian(0.5f, 1, 1, w);
  expectNear(w, -1, 0, 0);
  float u, v;
  for (const float z : {1.0f, std::nextafter(1.0f, 2.0f), -1.0f}) {
    mapUniformCartesianToSpherical(VectorFlt(0, 0, z), u, v);
    EXPECT_TRUE(u == 0 && v == (z > 0 ? 1 : 0));
  }
  qvUtil::srand48(3);
  Vector sum;
  const Vector normal(1, -2, 0.5);
  qv::vector<Vector> vectors(20000);
  computeHemisphereVectors(normal, vectors);
  for (const Vector& d : vectors) {
    ASSERT_TRUE(std::fabs(length(d) - 1) < 1e-12 && dot(d, normal) >= 0);
    sum += d;
    mapUniformCartesianToSpherical(VectorFlt(d), u, v);
    ASSERT_TRUE(u >= 0 && u <= 1 && v >= 0 && v <= 1);
    mapSphericalToUniformCartesian(u, v, w);
    ASSERT_LT(length(w - VectorFlt(d)), std::hypot(d[0], d[1]) < 0.01 ? 2e-3f : 3e-5f);
  }
  EXPECT_LT(length((2.0 / 20000) * sum - (1 / length(normal)) * normal), 0.03)
      << "the mean of a hemisphere is 1/2";
}

}  // namespace
}  // namespace qvGeom
