#pragma once

// Meshes that tests and benchmarks share.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom::shapes {

using Points = std::vector<std::array<float, 3>>;
using Tris = std::vector<std::array<int, 3>>;

inline CompactMesh make(const Points& points, const Tris& tris) {
  CompactMesh mesh;
  mesh.copyVertices(static_cast<int>(points.size()), reinterpret_cast<MeshVertex const*>(points.data()));
  mesh.copyTriangles(static_cast<int>(tris.size()), reinterpret_cast<int const*>(tris.data()));
  return mesh;
}

/// Triangles over as many points as their indices ask for, all at the origin.
inline CompactMesh make(const Tris& tris) {
  int n = 0;
  for (const auto& t : tris) n = std::max({n, t[0] + 1, t[1] + 1, t[2] + 1});
  return make(Points(static_cast<std::size_t>(n)), tris);
}

/// Two triangles per square of w by h; corner (i, j) of the squares is at vertex at(i, j).
template <typename At>
Tris squares(int w, int h, const At& at) {
  Tris tris;
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i) {
      tris.push_back({at(i, j), at(i + 1, j), at(i + 1, j + 1)});
      tris.push_back({at(i, j), at(i + 1, j + 1), at(i, j + 1)});
    }
  return tris;
}

/// Open height field of 2 w h triangles over the unit square, numbered row by row.
inline CompactMesh grid(int w, int h) {
  Points points;
  for (int j = 0; j <= h; ++j)
    for (int i = 0; i <= w; ++i) {
      const float x = static_cast<float>(i) / static_cast<float>(w);
      const float y = static_cast<float>(j) / static_cast<float>(h);
      points.push_back({x, y, 0.1f * std::sin(9 * x) * std::cos(7 * y)});
    }
  return make(points, squares(w, h, [=](int i, int j) { return j * (w + 1) + i; }));
}

/// Closed surface of genus 1 with 2 w h triangles (w, h >= 3), normals outward.
inline CompactMesh torus(int w, int h) {
  Points points;
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i) {
      const double u = 2 * std::numbers::pi * i / w, v = 2 * std::numbers::pi * j / h, r = 2 + std::cos(v);
      points.push_back({static_cast<float>(r * std::cos(u)), static_cast<float>(r * std::sin(u)),
                        static_cast<float>(std::sin(v))});
    }
  return make(points, squares(w, h, [=](int i, int j) { return j % h * w + i % w; }));
}

/// Triangles with random corners, degenerate and repeated ones among them.
inline CompactMesh soup(int vertices, int triangles, std::mt19937& random) {
  std::uniform_real_distribution<float> coordinate(-1, 1);
  std::uniform_int_distribution<int> index(0, vertices - 1);
  Points points(static_cast<std::size_t>(vertices));
  for (auto& p : points) p = {coordinate(random), coordinate(random), coordinate(random)};
  Tris tris(static_cast<std::size_t>(triangles));
  for (auto& t : tris) t = {index(random), index(random), index(random)};
  return make(points, tris);
}

}  // namespace qvGeom::shapes
