#include "geom/construct/shape_build.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace qvGeom::shape {

namespace {

bool allFinite(const CompactMesh& mesh) {
  for (int i = 0; i < mesh.getNumAttributes(); ++i) {
    MeshAttributes const& channel = *mesh.getAttributes(i);
    float const* values = channel.asFloat();
    const std::ptrdiff_t n = std::ptrdiff_t{channel.getNumElements()} * channel.getNumComponents();
    if (!std::all_of(values, values + n, [](float x) { return std::isfinite(x); })) return false;
  }
  return true;
}

}  // namespace

Draft::Draft(const CompactMesh& target, int vertices, int triangles, unsigned arrays) {
  mesh_.setArrayAllocator(target.getArrayAllocator());
  mesh_.resizeVertexArray(vertices);
  mesh_.resizeTriangleArray(triangles);
  if (arrays & kNormals) mesh_.allocNormalArray();
  if (arrays & kUVs) mesh_.allocUVArray();
}

bool Draft::replace(CompactMesh& target) {
  if (!allFinite(mesh_)) return false;
  target.swap(mesh_);
  return true;
}

void setNormals(CompactMesh& mesh, const qvLinear::Vector& normal) {
  MeshNormal n;
  n.set(normal.data());
  std::fill_n(mesh.getNormals(), mesh.getNumVertices(), n);
}

void setQuad(MeshTriangle* two, int q) {
  two[0] = {{q, q + 1, q + 2}};
  two[1] = {{q + 3, q + 2, q + 1}};
}

}  // namespace qvGeom::shape
