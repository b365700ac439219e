#include "geom/planar/triangle_clipping.h"

#include <algorithm>
#include <cstddef>

#include "geom/planar/clip_polygon.h"
#include "geom/planar/clip_projection.h"

namespace qvGeom::Clip {

using qvLinear::HPoint;
using qvLinear::ProjMatrixFlt;

namespace {

// Where the texture coordinates are among the components of a polygon's corner.
constexpr int kU = 7;
constexpr int kV = 8;
constexpr int kPositionMask = 15;
constexpr int kUVMask = 1 << kU | 1 << kV;

HPoint pointOf(const ClipVert& v) { return {v.c[0], v.c[1], v.c[2], v.c[3]}; }
MeshUV uvOf(const ClipVert& v) { return {static_cast<float>(v.c[kU]), static_cast<float>(v.c[kV])}; }

ClipVert cornerOf(const Vertex& v) {
  const HPoint p = pointOf(v);
  ClipVert corner;
  std::copy_n(p.data(), 4, corner.c);
  return corner;
}

}  // namespace

void TriangleAlgorithm::setTriangleFunc(TriangleFunc func, void* user) {
  func_ = func;
  user_ = user;
}

void TriangleAlgorithm::setSelectedTrianglesOnly(bool selectedOnly) { selectedOnly_ = selectedOnly; }

void TriangleAlgorithm::setCullFaces(bool cullFront, bool cullBack) {
  cullFront_ = cullFront;
  cullBack_ = cullBack;
}

void TriangleAlgorithm::setClockwiseFront(bool clockwise) { clockwiseFront_ = clockwise; }

void TriangleAlgorithm::getUVs(MeshUV& a, MeshUV& b, MeshUV& c) const {
  a = cornerUVs_[0];
  b = cornerUVs_[1];
  c = cornerUVs_[2];
}

bool TriangleAlgorithm::evaluateMesh(const CompactMesh& mesh, const ProjMatrixFlt& m) {
  if (mesh.getNumVertices() < 3) return false;
  const Result result = projectVertices(mesh, m, vertices_, !func_);
  if (result == Culled || (result == Visible && !func_)) return result == Visible;

  uvs_ = mesh.getUVs();
  mask_ = uvs_ ? kPositionMask | kUVMask : kPositionMask;
  std::fill_n(cornerUVs_, 3, MeshUV());
  continue_ = true;
  const BitVector& selected = mesh.getSelectedTriangles();
  MeshTriangle const* triangles = mesh.getTriangles();
  bool anyVisible = false;
  for (int t = 0; t < mesh.getNumTriangles() && continue_; ++t) {
    if (selectedOnly_ && !selected.test(t)) continue;
    triangle_ = t;
    if (!evaluateTriangle(triangles[t][0], triangles[t][1], triangles[t][2])) continue;
    anyVisible = true;
    if (!func_) break;
  }
  uvs_ = nullptr;
  return anyVisible;
}

bool TriangleAlgorithm::evaluateTriangle(int i, int j, int k) {
  const int corners[3] = {i, j, k};
  const Vertex& a = vertices_[static_cast<std::size_t>(i)];
  const Vertex& b = vertices_[static_cast<std::size_t>(j)];
  const Vertex& c = vertices_[static_cast<std::size_t>(k)];
  if ((a.outcode & b.outcode & c.outcode) != 0) return false;
  if (cullFace(a, b, c)) return false;
  // Clipping would find it contained: a polygon is not worth making.
  if ((a.outcode | b.outcode | c.outcode) == 0) {
    if (!func_) return true;
    if (uvs_)
      for (int n = 0; n < 3; ++n) cornerUVs_[n] = uvs_[corners[n]];
    continue_ = func_(user_, pointOf(a), pointOf(b), pointOf(c));
    return true;
  }
  ClipPolygon polygon;
  polygon.mask = mask_;
  polygon.numVertices = 3;
  for (int n = 0; n < 3; ++n) {
    ClipVert& corner = polygon.vertices[n] = cornerOf(vertices_[static_cast<std::size_t>(corners[n])]);
    if (!uvs_) continue;
    corner.c[kU] = static_cast<double>(uvs_[corners[n]].u);
    corner.c[kV] = static_cast<double>(uvs_[corners[n]].v);
  }
  if (clipTriangle(polygon, ClipBox()) == Disjoint) return false;
  for (int n = 2; n < polygon.numVertices && func_ && continue_; ++n) {
    const ClipVert* fan[3] = {&polygon.vertices[0], &polygon.vertices[n - 1], &polygon.vertices[n]};
    for (int corner = 0; corner < 3; ++corner) cornerUVs_[corner] = uvOf(*fan[corner]);
    continue_ = func_(user_, pointOf(*fan[0]), pointOf(*fan[1]), pointOf(*fan[2]));
  }
  return true;
}

bool TriangleAlgorithm::cullFace(const Vertex& a, const Vertex& b, const Vertex& c) {
  const HPoint p = pointOf(a);
  const HPoint q = pointOf(b);
  const HPoint r = pointOf(c);
  const double k = (p[0] - q[0]) * (q[1] - r[1]) + (p[1] - q[1]) * (r[0] - q[0]);
  frontFacing_ = (k < 0) == clockwiseFront_;
  return frontFacing_ ? cullFront_ : cullBack_;
}

}  // namespace qvGeom::Clip
