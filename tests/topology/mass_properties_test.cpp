#include "geom/topology/mass_properties.h"

#include <cmath>
#include <gtest/gtest.h>

#include "geom/construct/primitives.h"
#include "geom/repair/winding.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using Meshes = qv::list<qv::Reference<CompactMesh>>;
using Numbers = std::array<double, 3>;

qv::Reference<CompactMesh> counted(const CompactMesh& mesh) {
  return qv::Reference<CompactMesh>(new CompactMesh(mesh));
}
CompactMesh box(Numbers min, Numbers max) {
  float sides[3][2];
  for (int k = 0; k < 3; ++k) {
    sides[k][0] = static_cast<float>(min[k]);
    sides[k][1] = static_cast<float>(max[k]);
  }
  CompactMesh mesh;
  constructCuboid(sides, mesh);
  return mesh;
}
Numbers firstOf(Meshes meshes, int axis) {
  Numbers m{7, 7, 7};
  MeshMassCalculator(meshes).calculateFirstMom(m[0], m[1], m[2], static_cast<MeshMassCalculator::Axis>(axis));
  return m;
}
Numbers secondOf(Meshes meshes, int axis) {
  Numbers m{7, 7, 7};
  MeshMassCalculator(meshes).calculateSecondMom(m[0], m[1], m[2],
                                                static_cast<MeshMassCalculator::Axis>(axis));
  return m;
}
Numbers centroidOf(Meshes meshes) {
  Numbers c{7, 7, 7};
  MeshMassCalculator(meshes).calculateCentroid(c[0], c[1], c[2]);
  return c;
}
auto areNear(const Numbers& expected, double tolerance) {
  return testing::Pointwise(testing::DoubleNear(tolerance), expected);
}

TEST(MassProperties, OfBoxes) {
  for (const double sign : {1.0, -1.0}) {
    CompactMesh cube = box({1, 2, 3}, {2, 3, 4});
    if (sign < 0) meshReverseWinding(cube, false);
    Meshes meshes{counted(cube)};
    const MeshMassCalculator calculator(meshes);
    EXPECT_EQ(calculator.calculateArea(), 6);
    EXPECT_DOUBLE_EQ(calculator.calculateVolume(), sign);
    for (const int axis : {0, 1, 2}) {
      EXPECT_THAT(firstOf(meshes, axis), areNear({sign * 1.5, sign * 2.5, sign * 3.5}, 1e-12)) << axis;
      EXPECT_THAT(secondOf(meshes, axis), areNear({sign * 7 / 3, sign * 19 / 3, sign * 37 / 3}, 1e-12))
          << axis;
    }
  }
  const Meshes two{counted(box({0, 0, 0}, {1, 1, 1})), nullptr, counted(box({10, 0, 0}, {14, 2, 4}))};
  Meshes listed = two;
  EXPECT_DOUBLE_EQ(MeshMassCalculator(listed).calculateVolume(), 33);
  EXPECT_THAT(firstOf(two, 1), areNear({0.5 + 32 * 12, 0.5 + 32, 0.5 + 64}, 1e-9));
  EXPECT_THAT(centroidOf(two), areNear({6.25, 0.75, 1.25}, 1e-12)) << "of centroids, whatever the sizes";
}

TEST(MassProperties, OfTetrahedraOverTheOrigin) {
  const auto torus = counted(shapes::torus(13, 9));
  double volume = 0;
  Numbers first{}, second{};
  for (int t = 0; t < torus->getNumTriangles(); ++t) {
    qvLinear::Point p[4];
    for (int i = 0; i < 3; ++i) p[i] = torus->getVertices()[torus->getTriangles()[t][i]].asPoint();
    const auto at = [&](int i) { return p[i] - p[3]; };
    const double v = dot(at(0), cross(at(1), at(2))) / 6;
    volume += v;
    for (int k = 0; k < 3; ++k) {
      const double sum = p[0][k] + p[1][k] + p[2][k];
      first[k] += v * sum / 4;
      second[k] += v * (p[0][k] * p[0][k] + p[1][k] * p[1][k] + p[2][k] * p[2][k] + sum * sum) / 20;
    }
  }
  Meshes meshes{torus};
  EXPECT_NEAR(MeshMassCalculator(meshes).calculateVolume(), volume, 1e-9);
  for (const int axis : {0, 1, 2}) {
    EXPECT_THAT(firstOf(meshes, axis), areNear(first, 1e-9)) << axis;
    EXPECT_THAT(secondOf(meshes, axis), areNear(second, 1e-9)) << axis;
  }
  EXPECT_NEAR(volume, 2 * 2 * M_PI * M_PI, 0.15 * volume);
}

TEST(MassProperties, OfWhatHasNone) {
  Meshes flat{counted(shapes::make({{1, 2, 3}, {1, 2, 3}, {4, 5, 6}}, {{0, 1, 2}})), counted(CompactMesh())};
  for (Meshes meshes : {Meshes{}, flat}) {
    const MeshMassCalculator calculator(meshes);
    EXPECT_EQ(calculator.calculateArea(), 0);
    EXPECT_EQ(calculator.calculateVolume(), 0);
    EXPECT_EQ(secondOf(meshes, 0), Numbers());
    EXPECT_EQ(centroidOf(meshes), Numbers());
  }
  Meshes huge{counted(box({-3e38, -3e38, -3e38}, {3e38, 3e38, 3e38}))};
  EXPECT_EQ(MeshMassCalculator(huge).calculateArea(), double{kMax});
  EXPECT_TRUE(std::isfinite(secondOf(huge, 2)[0]) &&
              std::isfinite(MeshMassCalculator(huge).calculateVolume()));
  EXPECT_EQ(firstOf({counted(box({0, 0, 0}, {1, 1, 1}))}, 3), Numbers()) << "there is no such axis";
  // An open mesh: its volume is counted from the middle of the last box.
  Meshes wall{counted(shapes::make({{2, 0, 0}, {2, 3, 0}, {2, 0, 3}}, {{0, 1, 2}})),
              counted(box({0, 0, 0}, {2, 1, 1}))};
  EXPECT_DOUBLE_EQ(MeshMassCalculator(wall).calculateVolume(), 4.5 + 2);
}

}  // namespace
}  // namespace qvGeom
