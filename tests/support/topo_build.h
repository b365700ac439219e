#pragma once

#include <vector>

#include "geom/model/trellis/topo_mesh.h"

// Half-edge meshes to begin a test with.

namespace qvGeom::test {

struct TopoSoup {
  std::vector<qvLinear::Point> points;
  std::vector<std::vector<int>> faces;
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
      soup.faces.insert(soup.faces.end(), {{a, b, c}, {a, c, d}});
    }
  return soup;
}

/// The same squares with opposite sides joined: closed, genus 1. At least 3 by 3.
inline TopoSoup topoTorus(int nx, int ny) {
  TopoSoup soup = topoGrid(nx, ny);
  for (auto& face : soup.faces)
    for (int& v : face) v = v % (nx + 1) % nx + v / (nx + 1) % ny * nx;
  soup.points.resize(static_cast<std::size_t>(nx * ny));
  return soup;
}

/// In the combinatorial sense: all points lie at the origin.
inline TopoSoup topoIcosahedron() {
  TopoSoup soup{std::vector<qvLinear::Point>(12), {}};
  for (int i = 0; i < 5; ++i) {
    const int j = (i + 1) % 5;  // two caps about 0 and 11, and a belt between the rings 1.. and 6..
    soup.faces.insert(soup.faces.end(), {{0, 1 + i, 1 + j}, {1 + i, 6 + i, 1 + j}});
    soup.faces.insert(soup.faces.end(), {{1 + j, 6 + i, 6 + j}, {11, 6 + j, 6 + i}});
  }
  return soup;
}

/// Joins each half-edge without twin to the oldest one that runs the other way and has none either.
inline void twinOpposites(TopoMesh& mesh) {
  for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh())
    for (TopoMeshEdge other = mesh.firstEdge(); other && !e.twin(); other = other.nextInMesh())
      mesh.setTwins(e, other);
}

/// Adds vertices and faces and joins neighbours. @return the vertices, by index in the soup
inline std::vector<TopoMeshVertex> buildTopo(TopoMesh& mesh, const TopoSoup& soup) {
  std::vector<TopoMeshVertex> v, corners;
  for (const auto& p : soup.points) v.push_back(mesh.allocVertex(p));
  for (const auto& face : soup.faces) {
    corners.clear();
    for (const int i : face) corners.push_back(v[i]);
    mesh.allocFace(corners);
  }
  twinOpposites(mesh);
  return v;
}

}  // namespace qvGeom::test
