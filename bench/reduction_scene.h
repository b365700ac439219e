#pragma once

#include "bench/sizes.h"

namespace qvGeom {

/// A torus with noise of a tenth of an edge, as a scanner leaves it: no two vertices are equally flat.
inline CompactMesh roughTorusOf(std::int64_t triangles) {
  CompactMesh mesh = torusOf(triangles);
  std::mt19937 random(1);
  std::normal_distribution<float> noise(0, 1.0f / std::sqrt(static_cast<float>(triangles)));
  for (int i = 0; i < 3 * mesh.getNumVertices(); ++i) mesh.getVerticesRaw()[i] += noise(random);
  return mesh;
}

/// CGAL's edge collapse to that share of the edges, where it is installed.
CompactMesh reduceByCgal(const CompactMesh& mesh, double fraction);

}  // namespace qvGeom
