#include "geom/topology/transforms.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "geom/model/keel/tolerances.h"
#include "geom/topology/element_runs.h"
#include "geom/topology/normals.h"

namespace qvGeom {

using qvLinear::AffineMatrix;
using qvLinear::AffineMatrixFlt;
using qvUtil::Transform2d;
using qvUtil::withinFloats;

namespace {

float narrow(double value) { return static_cast<float>(withinFloats(value)); }

bool isFinite(const AffineMatrixFlt& matrix) {
  return std::all_of(&matrix.m[0][0], &matrix.m[0][0] + 12, [](float e) { return std::isfinite(e); });
}

bool isFinite(const Transform2d& t) {
  return std::isfinite(t.scaleU) && std::isfinite(t.scaleV) && std::isfinite(t.offsetU) &&
         std::isfinite(t.offsetV);
}

bool isIdentity(const AffineMatrixFlt& matrix) {
  return equivalent(matrix, AffineMatrixFlt(), qvLinear::epsilonTolFlt);
}

}  // namespace

void meshTransform(float* points, int n, AffineMatrixFlt const& matrix) {
  if (!points || n <= 0 || !isFinite(matrix)) return;
  const AffineMatrix m(matrix);
  forElementRuns(n, [points, m](int begin, int end) {
    for (int i = begin; i < end; ++i) {
      float* const p = points + std::ptrdiff_t{3} * i;
      const qvLinear::Point image = m.apply(qvLinear::Point(p[0], p[1], p[2]));
      for (int k = 0; k < 3; ++k) p[k] = narrow(image[k]);
    }
  });
}

void meshTransformNormals(float* normals, int n, AffineMatrixFlt const& matrix) {
  if (!normals || n <= 0 || !isFinite(matrix)) return;
  meshTransform(normals, n, AffineMatrixFlt(AffineMatrix(matrix).normalMatrix()));
  meshNormalize(normals, n);
}

namespace {

void transformVertices(PointMesh& mesh, const AffineMatrixFlt& matrix, MeshModification& modification) {
  const int n = mesh.getNumVertices();
  meshTransform(mesh.getVerticesRaw(), n, matrix);
  if (mesh.getNormalsRaw()) {
    meshTransformNormals(mesh.getNormalsRaw(), n, matrix);
    modification.normalsModified();
  }
  mesh.modified(modification);
}

}  // namespace

void meshTransform(PointMesh& mesh, AffineMatrixFlt const& matrix) {
  if (isIdentity(matrix) || !isFinite(matrix)) return;
  MeshModification modification(&mesh, MeshModification::GeometryModified, nullptr);
  transformVertices(mesh, matrix, modification);
}

void meshTransform(CompactMesh& mesh, AffineMatrixFlt const& matrix) {
  if (isIdentity(matrix) || !isFinite(matrix)) return;
  MeshModification modification(&mesh, MeshModification::GeometryModified, nullptr);
  if (mesh.getTriangleNormalsRaw()) {
    meshTransformNormals(mesh.getTriangleNormalsRaw(), mesh.getNumTriangles(), matrix);
    modification.triangleNormalsModified();
  }
  transformVertices(mesh, matrix, modification);
}

void meshTransform2d(float* uvs, int n, Transform2d const& transform) {
  if (!uvs || n <= 0 || transform == Transform2d() || !isFinite(transform)) return;
  forElementRuns(n, [uvs, t = transform](int begin, int end) {
    for (int i = begin; i < end; ++i) {
      float* const p = uvs + std::ptrdiff_t{2} * i;
      p[0] = withinFloats(p[0] * t.scaleU + t.offsetU);
      p[1] = withinFloats(p[1] * t.scaleV + t.offsetV);
    }
  });
}

void meshTransform2d(PointMesh& mesh, qvString::CString const& channel, Transform2d const& transform) {
  if (transform == Transform2d() || !isFinite(transform)) return;
  MeshModification modification(&mesh, MeshModification::AttributesModified, nullptr);
  MeshAttributes* values = mesh.getAttributes(channel);
  if (values && values->getNumComponents() == 2) {
    meshTransform2d(values->asFloat(), values->getNumElements(), transform);
    values->invalidateRange();
  }
  if (channel == PointMesh::UVsName) {
    modification.uvsModified();
  } else if (channel == PointMesh::STsName) {
    modification.stsModified();
  } else {
    return;
  }
  mesh.modified(modification);
}

Transform2d changeOfBasis2d(qvLinear::Range2d const& from, qvLinear::Range2d const& to) {
  const auto ratio = [](double target, double source) {
    return source > 0 && std::isfinite(source) ? withinFloats(target / source) : 0;
  };
  const double scaleU = ratio(to.width(), from.width());
  const double scaleV = ratio(to.height(), from.height());
  return {narrow(scaleU), narrow(scaleV), narrow(to.min[0] - scaleU * from.min[0]),
          narrow(to.min[1] - scaleV * from.min[1]), 1};
}

void meshTriBoundingBox(MeshVertex const* vertices, MeshTriangle const& triangle, BoundingBox& box) {
  box.setInvalid();
  for (const int v : triangle.v) box.extend(&vertices[v].x);
}

void meshTriBoundingBoxes(MeshVertex const* vertices, MeshTriangle const* triangles, int n,
                          BoundingBox* boxes) {
  for (int i = 0; i < n; ++i) meshTriBoundingBox(vertices, triangles[i], boxes[i]);
}

}  // namespace qvGeom
