#include "stage.h"

#include <algorithm>
#include <cmath>

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshTriangle;
using qvLinear::Point;
using qvLinear::Vector;

namespace {

bool hasArea(const CompactMesh& mesh, const MeshTriangle& t) {
  for (const int v : t.v)
    if (!isFinite(mesh.getVertices()[v].asPoint())) return false;
  return length2(areaNormal(mesh, t)) > 0;
}

StageSources takeTriangles(const CompactMesh& mesh, CompactMesh& staged) {
  StageSources sources;
  std::vector<int> numbers(static_cast<std::size_t>(mesh.getNumVertices()), -1);
  std::vector<MeshTriangle> kept;
  for (int i = 0; i < mesh.getNumTriangles(); ++i) {
    MeshTriangle t = mesh.getTriangles()[i];
    if (!hasArea(mesh, t)) continue;
    for (int& v : t.v) {
      int& number = numbers[static_cast<std::size_t>(v)];
      if (number < 0) {
        number = static_cast<int>(sources.vertices.size());
        sources.vertices.push_back(v);
      }
      v = number;
    }
    kept.push_back(t);
    sources.triangles.push_back(i);
  }
  staged.resizeVertexArray(static_cast<int>(sources.vertices.size()));
  staged.resizeTriangleArray(static_cast<int>(kept.size()));
  std::copy(kept.begin(), kept.end(), staged.getTriangles());
  return sources;
}

void placeVertices(const CompactMesh& mesh, const std::vector<int>& sources, CompactMesh& staged) {
  qvGeom::BoundingBox box;
  for (const int v : sources) box.extend(&mesh.getVertices()[v].x);
  const Point low(box.minPt());
  const Vector diagonal = Point(box.maxPt()) - low;
  const Point centre = low + 0.5 * diagonal;
  const double scale = kStageRadius / (0.5 * length(diagonal));
  for (std::size_t v = 0; v < sources.size(); ++v) {
    const Vector p = scale * (mesh.getVertices()[sources[v]].asPoint() - centre);
    staged.getVertices()[v].set(p.data());
  }
}

}  // namespace

StageSources stageMesh(const CompactMesh& mesh, CompactMesh& staged) {
  StageSources sources = takeTriangles(mesh, staged);
  if (!sources.triangles.empty()) placeVertices(mesh, sources.vertices, staged);
  return sources;
}

bool isFinite(const Point& p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

Vector areaNormal(const CompactMesh& mesh, const MeshTriangle& t) {
  const Point a = mesh.getVertices()[t[0]].asPoint();
  const Point b = mesh.getVertices()[t[1]].asPoint();
  const Point c = mesh.getVertices()[t[2]].asPoint();
  return cross(b - a, c - a);
}

}  // namespace tool
