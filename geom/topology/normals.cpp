#include "geom/topology/normals.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

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

// Unit normals of consecutive triangles, with the bits of meshTriNormal. Coordinate by coordinate, so that
// square roots and divisions, which take most of the time, are done several at once.
class NormalBlock {
 public:
  static constexpr int kSize = 256;

  void compute(float const* vertices, MeshTriangle const* triangles, int n) {
    for (int i = 0; i < n; ++i) {
      const auto corner = [&](int k) {
        float const* p = vertices + std::ptrdiff_t{3} * triangles[i][k];
        return Point(p[0], p[1], p[2]);
      };
      const Point b = corner(1);
      const Vector normal = cross(corner(2) - b, corner(0) - b);
      for (int k = 0; k < 3; ++k) c_[k][i] = normal[k];
    }
    for (int i = 0; i < n; ++i) squared_[i] = c_[0][i] * c_[0][i] + c_[1][i] * c_[1][i] + c_[2][i] * c_[2][i];
    int ordinary = 0;
    for (int i = 0; i < n; ++i) ordinary += squared_[i] > kSmallest && squared_[i] < kLargest ? 1 : 0;
    if (ordinary == n) {
      for (int i = 0; i < n; ++i) {
        const double length = std::sqrt(squared_[i]);
        c_[0][i] /= length;
        c_[1][i] /= length;
        c_[2][i] /= length;
      }
    } else {
      for (int i = 0; i < n; ++i) set(i, meshTriNormal(vertices, triangles[i].v));
    }
  }
  double operator()(int i, int k) const { return c_[k][i]; }

 private:
  // Between them a vector is normalised by its plain length.
  static constexpr double kSmallest = std::numeric_limits<double>::min();
  static constexpr double kLargest = std::numeric_limits<double>::max();

  void set(int i, const Vector& normal) {
    for (int k = 0; k < 3; ++k) c_[k][i] = normal[k];
  }

  double c_[3][kSize];
  double squared_[kSize];
};

// On the calling thread: the order of the additions decides the last bits.
void addTriangleNormals(const CompactMesh& mesh, MeshNormal* sums) {
  NormalBlock normals;
  MeshTriangle const* triangles = mesh.getTriangles();
  for (int begin = 0; begin < mesh.getNumTriangles(); begin += NormalBlock::kSize) {
    const int n = std::min(NormalBlock::kSize, mesh.getNumTriangles() - begin);
    normals.compute(mesh.getVerticesRaw(), triangles + begin, n);
    for (int i = 0; i < n; ++i)
      for (const int v : triangles[begin + i].v) {
        sums[v].x = static_cast<float>(sums[v].x + normals(i, 0));
        sums[v].y = static_cast<float>(sums[v].y + normals(i, 1));
        sums[v].z = static_cast<float>(sums[v].z + normals(i, 2));
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
    NormalBlock block;
    for (; begin < end; begin += NormalBlock::kSize) {
      const int count = std::min(NormalBlock::kSize, end - begin);
      block.compute(vertices, triangles + begin, count);
      for (int i = 0; i < count; ++i) {
        const double normal[3] = {block(i, 0), block(i, 1), block(i, 2)};
        normals[begin + i].set(normal);
      }
    }
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
