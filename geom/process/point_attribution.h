#pragma once

#include <deque>

#include "geom/model/keel/progress.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/array_of_sets.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/topology/mesh_cache.h"

namespace qvGeom {

/// Knows for each triangle of a mesh which of the points of a growing list lie nearest to it, while the mesh
/// is edited in steps. Between `beforeEdit` and `afterEdit` the mesh is changed once.
class PointAttribution {
 public:
  using Points = std::deque<qvLinear::Point>;

  bool empty() const { return pointsOf_.members.empty(); }
  /// The points, by index in the list, of a triangle of the mesh as of the last `afterEdit`. Unless empty.
  int numPoints(int triangle) const { return pointsOf_.getSetSize(triangle); }
  int const* points(int triangle) const { return pointsOf_.getSet(triangle); }

  /// Takes down the triangles, if any have points.
  void beforeEdit(CompactMesh const& mesh);
  /// Leaves points with triangles that are still there, and finds the triangles nearest to the others and to
  /// points that are new in the list, on the shared thread pool. When cancelled, everything stays as it was.
  /// @param vertexMap new number of every vertex before the edit, -1 where it went
  /// @return the largest distance found from a point to the mesh; 0 if none was looked for
  double afterEdit(CompactMesh const& mesh, Array<int> const& vertexMap, const Points& points,
                   MeshCache& cache, qvUtil::Progress& progress);

 private:
  void keepOrSearch(CompactMesh const& mesh, Array<int> const& vertexMap, MeshCache& cache);
  void rebuild(int numTriangles, const qv::vector<int>& nearest);

  ArrayOfSets pointsOf_;
  int numKnown_ = 0;  // leading points of the list that have been looked at
  qv::vector<MeshTriangle> trianglesBefore_;
  qv::vector<int> pairs_;     // (triangle, point) of those that stay
  qv::vector<int> searched_;  // points, to be attributed anew
};

}  // namespace qvGeom
