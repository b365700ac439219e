#include "geom/topology/normals.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/tolerances.h"
#include "geom/topology/element_runs.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Point;
using qvLinear::Vector;

Normal triNormal(Point const& a, Point const& b, Point const& c) {
  const Normal n(cross(c - b, a - b));
  return n == Vector() ? Normal(0, 0, 1) : n;
}

Normal meshTriNormal(float const* vertices, int const* triangle) {
  const auto corner = [&](int i) {
    float const* p = vertices + std::ptrdiff_t{3} * triangle[i];
    return Point(p[0], p[1], p[2]);
  };
  return triNormal(corner(0), corner(1), corner(2));
}

namespace {

// On the calling thread: the order of the additions decides the last bits.
void addTriangleNormals(const CompactMesh& mesh, MeshNormal* sums) {
  float const* vertices = mesh.getVerticesRaw();
  MeshTriangle const* triangles = mesh.getTriangles();
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const Normal n = meshTriNormal(vertices, triangles[t].v);
    for (const int v : triangles[t].v) {
      sums[v].x = static_cast<float>(sums[v].x + n[0]);
      sums[v].y = static_cast<float>(sums[v].y + n[1]);
      sums[v].z = static_cast<float>(sums[v].z + n[2]);
    }
  }
}

void sendNormalsModified(PointMesh& mesh) {
  MeshModification modification(&mesh, MeshModification::AttributesModified, nullptr);
  modification.normalsModified();
  mesh.modified(modification);
}

}  // namespace

void meshComputeNormals(CompactMesh& mesh) {
  const int n = mesh.getNumVertices();
  if (n == 0) return;
  debugChannel().print("meshComputeNormals:  vertices %d  triangles %d\n", n, mesh.getNumTriangles());
  mesh.allocNormalArray();
  std::fill_n(mesh.getNormals(), n, MeshNormal());
  addTriangleNormals(mesh, mesh.getNormals());
  meshNormalize(mesh.getNormalsRaw(), n);
  mesh.setNormalsComputed(true);
  sendNormalsModified(mesh);
}

void meshComputeTriangleNormals(CompactMesh& mesh) {
  const int n = mesh.getNumTriangles();
  if (n == 0) return;
  debugChannel().print("meshComputeTriangleNormals:  vertices %d  triangles %d\n", mesh.getNumVertices(), n);
  qvOS::StopWatch watch;
  watch.start();
  mesh.allocTriangleNormalArray();
  MeshNormal* normals = mesh.getTriangleNormals();
  float const* vertices = mesh.getVerticesRaw();
  MeshTriangle const* triangles = mesh.getTriangles();
  forElementRuns(n, [=](int begin, int end) {
    for (int t = begin; t < end; ++t) normals[t].set(meshTriNormal(vertices, triangles[t].v).data());
  });
  debugChannel().print("  normalized: %f s\n", watch.stop());

  MeshModification modification(&mesh, MeshModification::AttributesModified, nullptr);
  modification.triangleNormalsModified();
  mesh.modified(modification);
}

void meshNormalize(float* normals, int n) {
  if (!normals || n <= 0) return;
  forElementRuns(n, [=](int begin, int end) {
    for (int i = begin; i < end; ++i) {
      float* const p = normals + std::ptrdiff_t{3} * i;
      // In double, since the square of a large float has no float.
      const double x = p[0], y = p[1], z = p[2];
      const double squared = x * x + y * y + z * z;
      if (squared <= qvLinear::epsilon2Tol) {
        p[0] = p[1] = 0;
        p[2] = 1;
        continue;
      }
      const float factor = static_cast<float>(1 / std::sqrt(squared));
      for (int k = 0; k < 3; ++k) p[k] *= factor;
    }
  });
}

void meshNormalize(PointMesh& mesh) {
  if (!mesh.getNormalsRaw()) return;
  meshNormalize(mesh.getNormalsRaw(), mesh.getNumVertices());
  sendNormalsModified(mesh);
}

}  // namespace qvGeom
