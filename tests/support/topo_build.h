#pragma once

#include <array>
#include <map>
#include <utility>
#include <vector>

#include "geom/model/trellis/topo_mesh.h"

// Half-edge meshes to begin a test with.

namespace qvGeom::test {

struct TopoSoup {
  std::vector<qvLinear::Point> points;
  std::vector<std::array<int, 3>> triangles;
};

/// nx by ny squares, each cut along the diagonal from its lower left to its upper right corner; vertex (i, j)
/// has index i + j * (nx + 1).
inline TopoSoup topoGrid(int nx, int ny) {
  TopoSoup soup;
  for (int j = 0; j <= ny; ++j)
    for (int i = 0; i <= nx; ++i) soup.points.emplace_back(i, j, 0);
  for (int j = 0; j < ny; ++j)
    for (int i = 0; i < nx; ++i) {
      const int a = i + j * (nx + 1), b = a + 1, c = b + nx + 1, d = c - 1;
      soup.triangles.push_back({a, b, c});
      soup.triangles.push_back({a, c, d});
    }
  return soup;
}

/// The same squares with opposite sides joined: closed, genus 1. At least 3 by 3.
inline TopoSoup topoTorus(int nx, int ny) {
  TopoSoup soup = topoGrid(nx, ny);
  for (auto& triangle : soup.triangles)
    for (int& v : triangle) v = v % (nx + 1) % nx + v / (nx + 1) % ny * nx;
  soup.points.resize(static_cast<std::size_t>(nx * ny));
  return soup;
}

inline TopoSoup topoIcosahedron() {
  const double g = 1.6180339887498949;
  return {{{-1, g, 0},
           {1, g, 0},
           {-1, -g, 0},
           {1, -g, 0},
           {0, -1, g},
           {0, 1, g},
           {0, -1, -g},
           {0, 1, -g},
           {g, 0, -1},
           {g, 0, 1},
           {-g, 0, -1},
           {-g, 0, 1}},
          {{0, 11, 5},  {0, 5, 1},  {0, 1, 7},  {0, 7, 10}, {0, 10, 11}, {1, 5, 9}, {5, 11, 4},
           {11, 10, 2}, {10, 7, 6}, {7, 1, 8},  {3, 9, 4},  {3, 4, 2},   {3, 2, 6}, {3, 6, 8},
           {3, 8, 9},   {4, 9, 5},  {2, 4, 11}, {6, 2, 10}, {8, 6, 7},   {9, 8, 1}}};
}

/// Joins each half-edge without twin to the oldest one that runs the other way and has none either.
inline void twinOpposites(TopoMesh& mesh) {
  std::map<std::pair<TopoMeshVertex, TopoMeshVertex>, std::vector<TopoMeshEdge>> open;
  for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh())
    if (!e.twin()) open[{e.start(), e.end()}].push_back(e);
  for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh())
    for (TopoMeshEdge other : open[{e.end(), e.start()}])
      if (mesh.setTwins(e, other)) break;
}

/// Adds vertices and triangles and joins neighbours. @return the vertices, by index in the soup
inline std::vector<TopoMeshVertex> buildTopo(TopoMesh& mesh, const TopoSoup& soup) {
  std::vector<TopoMeshVertex> v;
  for (const auto& p : soup.points) v.push_back(mesh.allocVertex(p));
  const auto at = [&v](int i) { return v[static_cast<std::size_t>(i)]; };
  for (const auto& [a, b, c] : soup.triangles) mesh.allocTriangle(at(a), at(b), at(c));
  twinOpposites(mesh);
  return v;
}

}  // namespace qvGeom::test
