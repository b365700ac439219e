#include "geom/spatial/point_inside.h"

#include "geom/spatial/box_tests.h"
#include "geom/topology/measures.h"
#include "geom/topology/normals.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Point;
using qvLinear::Vector;

namespace {

Vector normalAt(CompactMesh const& mesh, const MeshCoord& coord) {
  MeshNormal const* normals = mesh.getNormals();
  if (!normals) return meshTriNormal(mesh.getVerticesRaw(), mesh.getTriangles()[coord.triangle].v);
  const MeshTriangle& t = mesh.getTriangles()[coord.triangle];
  return combine(Normal(normals[t[0]].asVector()), Normal(normals[t[1]].asVector()),
                 Normal(normals[t[2]].asVector()), coord.weight[0], coord.weight[1], coord.weight[2]);
}

}  // namespace

MeshPtInside::MeshPtInside(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris,
                           double tolerance)
    : mesh_(mesh), closest_(mesh, octree, octreeTris), tolerance_(tolerance) {
  meshBoundingBox(mesh, box_);
}

MeshPtInside::Result MeshPtInside::evaluate(const Point& p) {
  if (!contains(box_, qvLinear::PointFlt(p))) return Outside;
  MeshCoord coord;
  const double distance = closest_.compute(p, &coord);
  if (!coord.valid()) return Outside;
  if (distance < tolerance_) return OnSurface;
  const Vector offset = coord.evaluate(mesh_.getVertices(), mesh_.getTriangles()) - p;
  return dot(offset, normalAt(mesh_, coord)) >= 0 ? Inside : Outside;
}

}  // namespace qvGeom
