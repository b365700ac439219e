#pragma once

#include <deque>
#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/progress.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/mesh_coord.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

/// Whether two triangles cross, and the segment along which they do. Computed in double, without a tolerance
/// for the sides of planes. Triangles of equal normals (to within `qvLinear::epsilonTol` a component) never
/// cross, nor do those in parallel planes or those that merely touch in a point.
/// @param s0, s1 ends of the common segment; written on true only
/// After T. Moeller, A fast triangle-triangle intersection test (1997).
QVGEOM_API bool intersect(const qvLinear::Point& p0, const qvLinear::Point& p1, const qvLinear::Point& p2,
                          const qvLinear::Point& q0, const qvLinear::Point& q1, const qvLinear::Point& q2,
                          qvLinear::Point& s0, qvLinear::Point& s1);

/// The part of a crossing that lies on one triangle: both ends on the same one.
struct MeshIntersectPair {
  MeshCoord first;
  MeshCoord second;

  friend bool operator==(const MeshIntersectPair& a, const MeshIntersectPair& b) {
    return a.first == b.first && a.second == b.second;
  }
};

/// Finds where the triangles of a mesh cross each other, or those of another mesh.
///
/// Mesh, octree and partition must outlive it and stay as they are; when they do not fit together nothing is
/// found. Runs on the shared thread pool; the result does not depend on the number of threads. Cancelling
/// leaves the crossings found so far. One query at a time. Memory O(T); the time is that of testing triangles
/// which share a voxel and whose boxes meet.
class QVGEOM_API MeshIntersect {
 public:
  MeshIntersect(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris);
  ~MeshIntersect();
  MeshIntersect(const MeshIntersect&) = delete;
  MeshIntersect& operator=(const MeshIntersect&) = delete;

  /// Crossings of the mesh with itself. Triangles that share a vertex are not tested: neighbours touch. For
  /// every pair i > j of crossing triangles two entries, on i and on j, in ascending order of i. Prints the
  /// counts.
  /// @param pairs replaced
  void selfIntersect(qvUtil::Progress& progress, std::deque<MeshIntersectPair>& pairs);

  /// Crossings with another mesh, for every triangle of this one in ascending order. Prints the counts; or,
  /// when the boxes of the two meshes do not meet, that they do not, and then both results stay as they are.
  /// @param m      maps this mesh's frame to that of the other; nothing is found, and nothing printed, if it
  ///               cannot be inverted
  /// @param pairs1 replaced by the pieces on this mesh
  /// @param pairs2 replaced by those on the other, in the same order
  void intersect(CompactMesh const& other, Octree const& otherOctree, OctreeTris const& otherOctreeTris,
                 const qvLinear::AffineMatrix& m, qvUtil::Progress& progress,
                 std::deque<MeshIntersectPair>& pairs1, std::deque<MeshIntersectPair>& pairs2);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvGeom
