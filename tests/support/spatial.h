#pragma once

// Meshes with their spatial records, chosen to be hard on spatial queries.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "geom/io/obj_format.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"
#include "geom/spatial/octree_iterators.h"
#include "geom/spatial/octree_partition.h"
#include "geom/topology/measures.h"

#include "tests/support/shapes.h"

namespace qvGeom {

struct Indexed {
  explicit Indexed(CompactMesh m, int perLeaf = 8)
      : mesh(std::move(m)),
        box(boxOf(mesh)),
        octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, perLeaf) {
    computeOctreeTris(mesh, octree, tris);
  }
  static BoundingBox boxOf(const CompactMesh& mesh) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    return box;
  }
  std::vector<OctreeIterator> leaves() const {
    std::vector<OctreeIterator> all;
    for (OctreeLeafIterator it(octree); it.valid(); it.next()) all.push_back(it.get());
    return all;
  }

  CompactMesh mesh;
  BoundingBox box;
  Octree octree;
  OctreeTris tris;
};

namespace shapes {

inline CompactMesh mapped(CompactMesh mesh, const std::function<MeshVertex(MeshVertex)>& f) {
  for (int i = 0; i < mesh.getNumVertices(); ++i) mesh.getVertices()[i] = f(mesh.getVertices()[i]);
  return mesh;
}

/// Closed box [-1, 1]^3 whose sides are n x n squares, so that edges and faces lie in the planes of an
/// octree.
inline CompactMesh cube(int n) {
  Points points;
  Tris tris;
  for (int side = 0; side < 6; ++side)
    for (int i = 0; i <= n; ++i)
      for (int j = 0; j <= n; ++j) {
        const float u = 2.0f * static_cast<float>(i) / static_cast<float>(n) - 1;
        const float v = 2.0f * static_cast<float>(j) / static_cast<float>(n) - 1;
        const int k = side / 2, a = static_cast<int>(points.size());
        points.emplace_back();
        points.back()[static_cast<std::size_t>(k)] = side % 2 ? 1.0f : -1.0f;
        points.back()[static_cast<std::size_t>((k + 1) % 3)] = side % 2 ? u : v;
        points.back()[static_cast<std::size_t>((k + 2) % 3)] = side % 2 ? v : u;
        if (i == n || j == n) continue;
        tris.push_back({a, a + n + 1, a + n + 2});
        tris.push_back({a, a + n + 2, a + 1});
      }
  return make(points, tris);
}

}  // namespace shapes

/// Runs a check on every hard mesh, and on the files of the folder that QVGEOM_TEST_MESHES names, up to a
/// size.
inline void forHardMeshes(int largest, const std::function<void(const Indexed&)>& check) {
  std::mt19937 random(7);
  const auto run = [&](const std::string& name, CompactMesh mesh, int perLeaf) {
    SCOPED_TRACE(name);
    check(Indexed(std::move(mesh), perLeaf));
  };
  using shapes::mapped;
  const CompactMesh torus = shapes::torus(24, 16), soup = shapes::soup(60, 90, random);
  run("soup", soup, 4);
  run("torus", torus, 8);
  const CompactMesh bars = shapes::torus(5, 60);
  run("long triangles", bars, 1);
  run("slivers", mapped(bars, [](MeshVertex v) { return MeshVertex{v.x, 1e-5f * v.y, v.z}; }), 4);
  run("cube in the planes of the tree", shapes::cube(8), 4);
  run("coarse cube, one voxel", shapes::cube(1), 64);
  run("flat", mapped(soup, [](MeshVertex v) { return MeshVertex{v.x, 0.25f, v.z}; }), 4);
  run("collinear", mapped(soup, [](MeshVertex v) { return MeshVertex{v.x, v.x, 2 * v.x}; }), 4);
  run("far away", mapped(torus, [](MeshVertex v) { return MeshVertex{v.x + 1e6f, v.y - 1e6f, v.z}; }), 8);
  run("some NaN", mapped(soup, [](MeshVertex v) { return MeshVertex{v.x > 0.9f ? NAN : v.x, v.y, v.z}; }), 4);
  run("one triangle", shapes::make({{0, 1, 2}}), 16);
  run("all points equal", mapped(soup, [](MeshVertex) { return MeshVertex{1, 2, 3}; }), 4);
  run("no triangles", shapes::make({}), 4);
  char const* folder = std::getenv("QVGEOM_TEST_MESHES");
  if (!folder) return;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    CompactMesh mesh;
    if (file.path().extension() == ".obj" && meshReadObj(mesh, file.path().c_str()) &&
        mesh.getNumTriangles() <= largest)
      run(file.path().filename().string(), std::move(mesh), 16);
  }
}

/// A random point, with a chance to lie on the planes of the octree or on a vertex.
template <typename Random>
qvLinear::Point hardPoint(const Indexed& m, double spread, Random& random) {
  std::uniform_real_distribution<double> unit(-1, 1);
  qvLinear::Point p;
  for (int k = 0; k < 3; ++k) {
    const double c = static_cast<double>(m.box.center()[k]), h = static_cast<double>(m.box.halfDiagonal()[k]);
    p[k] = static_cast<double>(static_cast<float>(c + spread * h * unit(random)));
    if (random() % 4 == 0)
      p[k] = static_cast<double>(static_cast<float>(c + h * (int(random() % 9) - 4) / 4));
  }
  const int n = m.mesh.getNumVertices();
  return random() % 8 == 0 && n > 0 ? m.mesh.getVertices()[random() % static_cast<unsigned>(n)].asPoint() : p;
}

}  // namespace qvGeom
