#include "geom/topology/mass_properties.h"

#include <cmath>
#include <gtest/gtest.h>

#include "geom/construct/primitives.h"
#include "geom/repair/winding.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using Meshes = qv::list<qv::Reference<CompactMesh>>;
using Numbers = std::vector<double>;

qv::Reference<CompactMesh> counted(const CompactMesh& mesh) {
  return qv::Reference<CompactMesh>(new CompactMesh(mesh));
}
CompactMesh box(float x0, float x1, float y0, float y1, float z0, float z1) {
  const float sides[3][2] = {{x0, x1}, {y0, y1}, {z0, z1}};
  CompactMesh mesh;
  constructCuboid(sides, mesh);
  return mesh;
}

// Area, volume, the six moments along an axis, and the centroid.
Numbers allOf(Meshes meshes, int axis) {
  const MeshMassCalculator calculator(meshes);
  Numbers m(11, 7);
  m[0] = calculator.calculateArea();
  m[1] = calculator.calculateVolume();
  calculator.calculateFirstMom(m[2], m[3], m[4], static_cast<MeshMassCalculator::Axis>(axis));
  calculator.calculateSecondMom(m[5], m[6], m[7], static_cast<MeshMassCalculator::Axis>(axis));
  calculator.calculateCentroid(m[8], m[9], m[10]);
  return m;
}
auto areNear(const Numbers& expected) { return testing::Pointwise(testing::DoubleNear(1e-9), expected); }

TEST(MassProperties, AgreeWithClosedFormsAndSumsOfTetrahedra) {
  CompactMesh cube = box(1, 2, 2, 3, 3, 4), reversed = cube;
  meshReverseWinding(reversed, false);
  const CompactMesh torus = shapes::torus(13, 9);
  Numbers sums(11);  // of tetrahedra over the origin
  for (int t = 0; t < torus.getNumTriangles(); ++t) {
    MeshTriangle const& tri = torus.getTriangles()[t];
    qvLinear::Vector p[3];
    for (int i = 0; i < 3; ++i) p[i] = torus.getVertices()[tri[i]].asPoint() - qvLinear::Point();
    const double v = dot(p[0], cross(p[1], p[2])) / 6;
    sums[1] += v;
    for (int k = 0; k < 3; ++k) {
      const double sum = p[0][k] + p[1][k] + p[2][k];
      sums[2 + k] += v * sum / 4;
      sums[5 + k] += v * (p[0][k] * p[0][k] + p[1][k] * p[1][k] + p[2][k] * p[2][k] + sum * sum) / 20;
    }
  }
  for (const int axis : {0, 1, 2}) {
    EXPECT_THAT(allOf({counted(cube)}, axis),
                areNear({6, 1, 1.5, 2.5, 3.5, 7.0 / 3, 19.0 / 3, 37.0 / 3, 1.5, 2.5, 3.5}));
    EXPECT_DOUBLE_EQ(allOf({counted(reversed)}, axis)[6], -19.0 / 3);
    const Numbers found = allOf({counted(torus)}, axis);
    for (int i = 1; i < 8; ++i) EXPECT_NEAR(found[i], sums[i], 1e-9) << i;
    const Numbers both = allOf({counted(cube), nullptr, counted(box(10, 14, 0, 2, 0, 4))}, axis);
    EXPECT_DOUBLE_EQ(both[1], 33);
    EXPECT_DOUBLE_EQ(both[5], 7.0 / 3 + 32 * (144 + 4.0 / 3));
    EXPECT_EQ(both[8], 6.75) << "the mean of the centroids";
  }
}

TEST(MassProperties, OfWhatHasNone) {
  const CompactMesh flat = shapes::make({{1, 2, 3}, {1, 2, 3}, {4, 5, 6}}, {{0, 1, 2}});
  EXPECT_EQ(allOf({}, 0), Numbers(11, 0));
  EXPECT_EQ(allOf({counted(flat), counted(CompactMesh())}, 0), Numbers(11, 0));
  EXPECT_EQ(allOf({counted(box(1, 2, 1, 2, 1, 2))}, 3)[5], 0) << "there is no such axis";
  for (const double x : allOf({counted(box(-3e38f, 3e38f, -3e38f, 3e38f, -3e38f, 3e38f))}, 2))
    EXPECT_TRUE(std::isfinite(x));
  // An open mesh: its volume is counted from the middle of the last box.
  const CompactMesh wall = shapes::make({{2, 0, 0}, {2, 3, 0}, {2, 0, 3}}, {{0, 1, 2}});
  EXPECT_DOUBLE_EQ(allOf({counted(wall), counted(box(0, 2, 0, 1, 0, 1))}, 0)[1], 4.5 + 2);
}

}  // namespace
}  // namespace qvGeom
