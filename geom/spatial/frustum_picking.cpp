#include "geom/spatial/frustum_picking.h"

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/tolerances.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/spatial/octree_iterators.h"
#include "geom/spatial/ray.h"

namespace qvGeom {

using qvLinear::Line;
using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;

namespace {

// Every vertex stands in one leaf, so that only triangles are met more than once.
class Picking {
 public:
  Picking(CompactMesh const& mesh, MeshAdjTris const& adjTris, const Line& line)
      : mesh_(mesh), adjTris_(adjTris), line_(line) {
    seen_.resize(mesh.getNumTriangles());
  }

  // The triangle, or -1.
  int run(Octree const& octree, Frustum const& frustum, PointFlt& hit) {
    for (OctreeIntersectIt it(octree, frustum); it.valid(); it.next()) {
      const OctreeIterator leaf = it.get();
      for (int i = 0; i < leaf.numPoints(); ++i) {
        const int tri = hitAround(leaf.firstPoint()[i], hit);
        if (tri >= 0) return tri;
      }
    }
    return -1;
  }

 private:
  int hitAround(int v, PointFlt& hit) {
    int const* tris = adjTris_.triIndices(v);
    for (int i = 0; i < adjTris_.numTris(v); ++i) {
      if (seen_.test(tris[i])) continue;
      seen_.setBit(tris[i]);
      if (meshRayTriIntersect(mesh_, tris[i], line_, hit)) return tris[i];
    }
    return -1;
  }

  CompactMesh const& mesh_;
  MeshAdjTris const& adjTris_;
  const Line& line_;
  BitVector seen_;
};

}  // namespace

bool meshRayIntersect(CompactMesh const& mesh, Octree const& vertexOctree, MeshAdjTris const& adjTris,
                      Frustum const& frustum, PointFlt& hit, int* tri) {
  qvOS::StopWatch watch;
  watch.start();
  const int v = mesh.getNumVertices();
  int found = -1;
  if (vertexOctree.getNumPoints() == v && adjTris.getNumVertices() == v)
    found = Picking(mesh, adjTris, frustum.getRay()).run(vertexOctree, frustum, hit);
  if (found < 0) {
    debugChannel().print("meshRayIntersect:  no intersection %f s\n", watch.stop());
    return false;
  }
  if (tri) *tri = found;
  debugChannel().print("meshRayIntersect:  (%f,%f,%f) %f s\n", static_cast<double>(hit[0]),
                       static_cast<double>(hit[1]), static_cast<double>(hit[2]), watch.stop());
  return true;
}

bool meshRayTriIntersect(CompactMesh const& mesh, int tri, const Line& line, PointFlt& hit) {
  const MeshTriangle& t = mesh.getTriangles()[tri];
  MeshVertex const* vertices = mesh.getVertices();
  const PointFlt origin(line.origin);
  double param, u, v;
  if (!intersectRayTriangle(line.direction.data(), origin.data(), &vertices[t[0]].x, &vertices[t[1]].x,
                            &vertices[t[2]].x, param, u, v))
    return false;
  hit = PointFlt(line.eval(param));
  return true;
}

bool meshRayTriIntersect(CompactMesh const& mesh, int tri, const Line& line, Point& hit) {
  PointFlt rounded;
  if (!meshRayTriIntersect(mesh, tri, line, rounded)) return false;
  hit = Point(rounded);
  return true;
}

bool pointFrustumIntersect(const Point& p, Frustum const& frustum) {
  for (int i = 0; i < Frustum::kNumPlanes; ++i)
    if (isAbove(p, frustum.plane(i), qvLinear::epsilonTol)) return false;
  return true;
}

bool lineFrustumIntersect(const PointFlt& a, const PointFlt& b, Frustum const& frustum, PointFlt& hit) {
  const Point from(a);
  const Point to(b);
  bool fromInside = true;
  bool toInside = true;
  for (int i = 0; i < Frustum::kNumPlanes; ++i) {
    const bool fromAbove = isAbove(from, frustum.plane(i), qvLinear::epsilonTol);
    const bool toAbove = isAbove(to, frustum.plane(i), qvLinear::epsilonTol);
    if (fromAbove && toAbove) return false;
    fromInside = fromInside && !fromAbove;
    toInside = toInside && !toAbove;
  }
  if (fromInside || toInside) {
    hit = a;
    return true;
  }
  Vector d = to - from;
  const double length = distance(from, to);
  if (!d.normalize()) return false;
  // Two triangles for each side of the volume.
  constexpr int kTriangles[12][3] = {{0, 1, 2}, {0, 2, 3}, {0, 4, 5}, {0, 5, 1}, {3, 7, 4}, {3, 4, 0},
                                     {2, 1, 5}, {2, 5, 6}, {3, 7, 6}, {3, 6, 2}, {6, 7, 4}, {6, 4, 5}};
  for (const auto& triangle : kTriangles) {
    PointFlt p[3];
    for (int c = 0; c < 3; ++c) p[c] = PointFlt(frustum.corner(triangle[c]));
    double t, u, v;
    if (!intersectRayTriangle(d.data(), a.data(), p[0].data(), p[1].data(), p[2].data(), t, u, v)) continue;
    if (t < 0 || t > length) continue;
    hit = PointFlt(from + t * d);
    return true;
  }
  return false;
}

bool lineFrustumIntersect(const PointFlt& a, const PointFlt& b, Frustum const& frustum) {
  PointFlt hit;
  return lineFrustumIntersect(a, b, frustum, hit);
}

}  // namespace qvGeom
