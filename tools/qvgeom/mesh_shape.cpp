#include "mesh_shape.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace tool {

using qvGeom::CompactMesh;

namespace {

std::vector<char> usedVertices(const CompactMesh& mesh) {
  std::vector<char> used(static_cast<std::size_t>(mesh.getNumVertices()), 0);
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    for (const int v : mesh.getTriangles()[t].v) used[v] = 1;
  return used;
}

}  // namespace

MeshShape shapeOf(const CompactMesh& mesh, Console& console) {
  qvGeom::SimpleMeshCache cache;
  const auto adjTris = cache.getAdjTris(mesh);
  console.throwIfInterrupted();
  const auto neighbours = cache.getAdjVertices(mesh);
  console.throwIfInterrupted();
  MeshShape shape;
  shape.pieces = meshComponents(mesh, *adjTris, nullptr);
  shape.boundaryLoops = cache.getBoundaries(mesh)->size();
  console.throwIfInterrupted();
  std::int64_t ends = 0;
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    if (v % kInterruptRhythm == 0) console.throwIfInterrupted();
    const int n = neighbours->numAdjVertices(v);
    ends += n;
    ++(adjTris->numTris(v) > 0 ? shape.vertices : shape.unusedVertices);
    for (int i = 0; i < n; ++i) {
      const int w = neighbours->vertexIndices(v)[i];
      if (!qvGeom::Boundary::hasEdge(mesh, *adjTris, v, w) || qvGeom::Boundary::hasEdge(mesh, *adjTris, w, v))
        continue;
      ++shape.boundaryEdges;
      const double length = distance(mesh.getVertices()[v].asPoint(), mesh.getVertices()[w].asPoint());
      if (std::isfinite(length)) shape.boundaryLength += length;
    }
  }
  shape.euler = shape.vertices - ends / 2 + mesh.getNumTriangles();
  return shape;
}

std::string counted(std::int64_t n, const std::string& one) {
  const bool isVertex = one.size() > 1 && one.substr(one.size() - 2) == "ex";
  const std::string many = isVertex ? one.substr(0, one.size() - 2) + "ices" : one + "s";
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

int dropUnusedVertices(CompactMesh& mesh) {
  const std::vector<char> used = usedVertices(mesh);
  const auto kept = static_cast<int>(std::count(used.begin(), used.end(), 1));
  const int dropped = mesh.getNumVertices() - kept;
  if (dropped == 0) return 0;
  std::vector<int> numbers(used.size());
  std::vector<qvGeom::MeshVertex> vertices;
  for (std::size_t v = 0; v < used.size(); ++v) {
    numbers[v] = static_cast<int>(vertices.size());
    if (used[v]) vertices.push_back(mesh.getVertices()[v]);
  }
  std::vector<int> corners(mesh.getTrianglesRaw(), mesh.getTrianglesRaw() + 3 * mesh.getNumTriangles());
  for (int& corner : corners) corner = numbers[corner];
  CompactMesh smaller(kept, vertices.data(), nullptr, nullptr, nullptr);
  smaller.copyTriangles(mesh.getNumTriangles(), corners.data());
  mesh = smaller;
  qvGeom::MeshModification modification(&mesh, qvGeom::MeshModification::TopologyModified, nullptr);
  mesh.modified(modification);
  return dropped;
}

}  // namespace tool
