#pragma once

#include <cmath>

#include "tests/support/shapes.h"

namespace qvGeom {

/// A band of a sphere of radius 10 around a hole whose loop has n vertices, as wide as the opening angle
/// says, with a little noise. The triangles are about equilateral, so that the hole wants as many as its area
/// holds.
inline CompactMesh bandAroundHole(int n, double degrees) {
  constexpr int kRings = 20;
  constexpr double kRadius = 10;
  const double opening = degrees * std::numbers::pi / 180;
  const double step = 2 * std::numbers::pi * std::sin(opening) / n;
  std::mt19937 random(1);
  std::normal_distribution<double> noise(0, 0.05 * step);
  shapes::Points points;
  for (int j = 0; j <= kRings; ++j)
    for (int i = 0; i < n; ++i) {
      const double turn = 2 * std::numbers::pi * (i + 0.5 * j) / n + noise(random);
      const double tilt = opening + j * step * 0.8660254 + noise(random);
      const double r = kRadius * (1 + 0.1 * noise(random));
      points.push_back({static_cast<float>(r * std::sin(tilt) * std::cos(turn)),
                        static_cast<float>(r * std::sin(tilt) * std::sin(turn)),
                        static_cast<float>(r * std::cos(tilt))});
    }
  shapes::Tris tris;
  for (int j = 0; j < kRings; ++j)
    for (int i = 0; i < n; ++i) {
      const int a = j * n + i, b = j * n + (i + 1) % n, c = a + n, before = (j + 1) * n + (i + n - 1) % n;
      tris.push_back({a, c, b});
      tris.push_back({a, before, c});
    }
  return shapes::make(points, tris);
}

/// What filling it came to: the sides must agree on it, roughly.
struct FilledHole {
  int newVertices = 0;
  double depth = 0;  // of the lowest new vertex under the sphere
};

/// CGAL's way, where it is installed.
FilledHole fillByCgal(const CompactMesh& mesh);

}  // namespace qvGeom
