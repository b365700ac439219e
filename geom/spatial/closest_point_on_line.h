#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/mesh_coord.h"
#include "geom/model/trellis/mesh_sequence.h"
#include "geom/spatial/closest_point.h"

namespace qvGeom {

/// Nearest points of lines on a mesh: of the straight segments between the points of each run, not of the
/// surface. The mesh must outlive the object; the sequence need not. One thread at a time. O(n log n) for n
/// points, and a query O(log n) on average near the lines; every query looks at all runs of a single point,
/// besides.
class QVGEOM_API MeshClosestPtOnLine {
 public:
  /// Points of the sequence that do not name a triangle of the mesh end a run; a run of a single point, or of
  /// points at one place (as floats), is its first point. @param adjTris of the mesh
  MeshClosestPtOnLine(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshSequence const& sequence);
  MeshClosestPtOnLine(const MeshClosestPtOnLine&) = delete;
  MeshClosestPtOnLine& operator=(const MeshClosestPtOnLine&) = delete;
  ~MeshClosestPtOnLine();

  /// The nearest point, as one of the mesh: on the triangle, of the two that the ends of its segment lie on,
  /// to which it is nearer. Not valid when the sequence is empty or `p` not finite.
  MeshCoord operator()(const qvLinear::Point& p);

 private:
  void addRun(int n, MeshCoord const* run, int& segments);

  CompactMesh const& mesh_;
  CompactMesh lines_;  // vertex i at coords_[i], and a triangle without area for each segment
  qv::vector<MeshCoord> coords_;
  qv::vector<int> lone_;  // points of the runs without a segment
  qv::Reference<Octree> octree_;
  qv::Reference<OctreeTris> octreeTris_;
  std::unique_ptr<MeshClosestPoint> closest_;
};

}  // namespace qvGeom
