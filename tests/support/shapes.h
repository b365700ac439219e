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

/// Triangles over as many points as their indices ask for, placed along a helix.
inline CompactMesh make(const Tris& tris) {
  int n = 0;
  for (const auto& t : tris) n = std::max({n, t[0] + 1, t[1] + 1, t[2] + 1});
  Points points;
  for (int i = 0; i < n; ++i) {
    const float a = static_cast<float>(i);
    points.push_back({std::cos(a), std::sin(a), 0.1f * a});
  }
  return make(points, tris);
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
  Tris tris;
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i) {
      const int a = j * (w + 1) + i;
      tris.push_back({a, a + 1, a + w + 2});
      tris.push_back({a, a + w + 2, a + w + 1});
    }
  return make(points, tris);
}

/// Closed surface of genus 1 with 2 w h triangles (w, h >= 3), normals outward.
inline CompactMesh torus(int w, int h) {
  Points points;
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i) {
      const double u = 2 * std::numbers::pi * i / w;
      const double v = 2 * std::numbers::pi * j / h;
      const double r = 2 + std::cos(v);
      points.push_back({static_cast<float>(r * std::cos(u)), static_cast<float>(r * std::sin(u)),
                        static_cast<float>(std::sin(v))});
    }
  Tris tris;
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i) {
      const int a = j * w + i, b = j * w + (i + 1) % w;
      const int c = (j + 1) % h * w + (i + 1) % w, d = (j + 1) % h * w + i;
      tris.push_back({a, b, c});
      tris.push_back({a, c, d});
    }
  return make(points, tris);
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

/// The same surface with its vertices renumbered: vertex v becomes order[v].
inline CompactMesh renumbered(const CompactMesh& mesh, const std::vector<int>& order) {
  CompactMesh result = mesh;
  for (int v = 0; v < mesh.getNumVertices(); ++v)
    result.getVertices()[order[static_cast<std::size_t>(v)]] = mesh.getVertices()[v];
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    for (int& v : result.getTriangles()[t].v) v = order[static_cast<std::size_t>(v)];
  return result;
}

}  // namespace qvGeom::shapes
