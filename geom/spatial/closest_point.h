#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/lines.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/mesh_coord.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

// Nearest points of triangles and nearest vertices, by best-first walks over an octree. Distances are
// compared squared, in double; a candidate replaces the best only when it is strictly nearer, so that the
// first of equals stays. Triangles without a nearest point (corners not finite, or all at one place) are
// passed over. A query that is not finite finds nothing, and neither does one so far away (1e154) that no
// double can hold the square of the distance.

/// Visits the leaf voxels of an octree by increasing distance of their boxes from a point; among equals, in
/// the order in which a walk from the root meets them, children ascending. Keeps its storage across `reset`.
/// The octree must outlive the iteration. One thread at a time.
class QVGEOM_API OctreeClosestIt {
 public:
  /// Exhausted until `reset`.
  OctreeClosestIt();
  OctreeClosestIt(const Octree& octree, const qvLinear::Point& p);
  ~OctreeClosestIt();
  OctreeClosestIt(const OctreeClosestIt&) = delete;
  OctreeClosestIt& operator=(const OctreeClosestIt&) = delete;

  void reset(const Octree& octree, const qvLinear::Point& p);
  bool valid() const;
  /// The current leaf, and the squared distance of its box from the point (rounded to single precision, and
  /// to the largest float beyond).
  /// While `valid`, as is `next`.
  OctreeIterator get() const;
  double getDistance2() const;
  void next();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// Nearest points of a mesh, for many queries. Exact: no triangle is nearer than the answer.
///
/// Mesh, octree and partition must outlive it and stay as they are. An octree and a partition that do not fit
/// together or to the mesh count as empty. The object, with all copies made from it, is used by one thread at
/// a time; several objects may share their mesh. Construction O(T), a query near the surface O(log V) on
/// average.
class QVGEOM_API MeshClosestPoint {
 public:
  MeshClosestPoint(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris);
  /// Shares the working memory of `other`, which must outlive the copy.
  MeshClosestPoint(const MeshClosestPoint& other);
  MeshClosestPoint& operator=(const MeshClosestPoint&) = delete;
  ~MeshClosestPoint();

  /// @param coord null, or where the nearest point is stored; untouched when there is none
  /// @return the distance; without any triangle the square root of the largest double
  double compute(const qvLinear::Point& p, MeshCoord* coord);

 private:
  class Context;
  Context* context_;
  std::unique_ptr<Context> owned_;
};

/// Nearest point by way of the vertices: searches an octree over the mesh's vertices and measures the
/// triangles around them. Of triangles whose corners all lie farther than both the best found so far and
/// longestEdge / sqrt 2, the nearer inside may be missed: where the mesh has triangles of very different
/// sizes the answer is an upper bound.
/// @param octree      over the vertices of this mesh, as `adjTris`; with others nothing is found
/// @param longestEdge length of the longest edge
/// @param limit2      only points nearer than its square root are of interest
/// @param vertexBoxes null, or [V] boxes that hold the triangles around each vertex
/// @param coord       null, or where the nearest point is stored; untouched when nothing is nearer
///                    than the limit
/// @return the distance, or the square root of `limit2`
/// Thread-safe on a mesh that nobody changes.
QVGEOM_API double meshClosestPoint(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris,
                                   const qvLinear::Point& p, double longestEdge, double limit2,
                                   BoundingBox const* vertexBoxes, MeshCoord* coord);
/// The same without a limit; finds the longest edge itself, in O(T).
QVGEOM_API double meshClosestPoint(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris,
                                   const qvLinear::Point& p, MeshCoord* coord);

/// Squared distance to the nearest vertex; the largest double without vertices. Prints its seconds.
/// @param octree over the vertices of this mesh; with another the answer is that for no vertices
QVGEOM_API double meshClosestVertex2(CompactMesh const& mesh, Octree const& octree, const qvLinear::Point& p);
/// The same for callers who only need to know of a vertex that is near enough: a squared distance of at most
/// `enough2` ends the search. Where no vertex is so near, the answer is that for the nearest. Spares most of
/// the work where many are about equally far, as at the centre of a ball.
QVGEOM_API double meshClosestVertex2(CompactMesh const& mesh, Octree const& octree, const qvLinear::Point& p,
                                     double enough2);

/// Nearest point of one triangle; not valid when it has none.
/// @param vertices  [V][3]
/// @param triangles [T][3]
/// @param tri       below T
QVGEOM_API MeshCoord meshTriClosestPt(float const* vertices, int const* triangles, int tri,
                                      const qvLinear::Point& p);

/// Point of the mesh nearest to the foot of `p` on the line (to the line's origin when it has no direction).
QVGEOM_API MeshCoord meshRayClosestPt(CompactMesh const& mesh, double longestEdge, Octree const& octree,
                                      MeshAdjTris const& adjTris, const qvLinear::Line& line,
                                      const qvLinear::Point& p);

}  // namespace qvGeom
