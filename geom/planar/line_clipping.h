#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/planar/clip_space.h"

namespace qvGeom::Clip {

/// Finds the segments of line sets that a view sees. They are not cut: callbacks receive whole segments.
///
/// A segment is visible when it crosses a side of the view within the others, or has both ends inside. A
/// segment that only touches the view, along a side or at a corner, may count either way. Points behind the
/// eye take part as their coordinates stand.
///
/// The function stays until it is changed. Copies are independent of each other. One thread at a time.
class QVGEOM_API LineAlgorithm {
 public:
  /// Receives the ends of a visible segment in clip space. @return of no effect
  using LineFunc = bool (*)(void* user, const qvLinear::HPoint& a, const qvLinear::HPoint& b);

  /// Without a function the visit stops at the first visible segment, or point: one that no segment uses will
  /// do.
  void setLineFunc(LineFunc func, void* user);

  /// The segments between consecutive points. @param points [count][3]
  /// @return here and below, whether any segment is visible; false for fewer than two points
  bool evaluateStrip(const float* points, int count, const qvLinear::ProjMatrixFlt& m);
  /// The segments 0-1, 2-3 and so on; a last point without partner is passed over.
  bool evaluateSegments(const float* points, int count, const qvLinear::ProjMatrixFlt& m);
  /// The three edges of every triangle in turn, up to the first of a triangle that is visible.
  bool evaluateMesh(const CompactMesh& mesh, const qvLinear::ProjMatrixFlt& m);

  /// In the callback of `evaluateStrip` the segment's number, which is that of its first point; afterwards
  /// that of the last segment visited. -1 after `setLineFunc` and for the other visits.
  int getLineSegmentNum() const { return segment_; }

 private:
  bool evaluatePoints(const float* points, int count, const qvLinear::ProjMatrixFlt& m, int step);
  bool evaluateSegment(const Vertex& a, const Vertex& b);
  bool intersects(const Vertex& a, const Vertex& b) const;
  bool intersectsFace(const Vertex& a, const Vertex& b, int mask) const;
  bool intersectsEdge(const Vertex& a, const Vertex& b, int mask) const;
  bool intersectsCorner(const Vertex& a, const Vertex& b) const;

  qv::vector<Vertex> vertices_;
  LineFunc func_ = nullptr;
  void* user_ = nullptr;
  int segment_ = -1;
};

}  // namespace qvGeom::Clip
