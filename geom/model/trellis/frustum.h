#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/lines.h"
#include "geom/model/keel/vectors.h"

namespace qvGeom {

/// Convex view volume between two quadrilaterals, near and far; a box is one too.
///
/// Corners 0 to 3 are the near quadrilateral in order round it, 4 to 7 the far ones behind 0 to 3. The planes
/// are, in order: near, far, then the sides over the near edges 0-1, 1-2, 2-3 and 3-0; their normals point
/// out of the volume, whichever way round the corners were given.
class QVGEOM_API Frustum {
 public:
  static constexpr int kNumCorners = 8;
  static constexpr int kNumPlanes = 6;

  /// The cube from (-1, -1, -1) to (1, 1, 1), looking along +z.
  Frustum();
  /// A side whose corners span no plane (a pyramid's tip) gets a zero normal, which no point is outside of.
  /// The plane of a warped side passes through the outermost of its corners.
  explicit Frustum(const qvLinear::Point (&corners)[kNumCorners]);

  const qvLinear::Point& corner(int i) const { return corners_[i]; }
  const qvLinear::Plane& plane(int i) const { return planes_[i]; }
  /// Viewing direction: from the centre of the near to that of the far quadrilateral, of unit length; zero
  /// when the two coincide.
  qvLinear::Vector getVector() const { return ray_.direction; }
  /// The line of sight: from the near centre along getVector().
  const qvLinear::Line& getRay() const { return ray_; }

 private:
  qvLinear::Point corners_[kNumCorners];
  qvLinear::Plane planes_[kNumPlanes];
  qvLinear::Line ray_;
};

}  // namespace qvGeom
