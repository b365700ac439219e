#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/ranges.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/point_mesh.h"

// What of points and boxes a view sees. A projection takes points to homogeneous clip space, in which the
// view is -w <= x, y, z <= w: the canonical view volume. Points are taken as floats, products computed in
// double. Nothing here keeps state: safe to call from several threads at once.

namespace qvGeom {

/// Whether some of the box may be visible: false when the box is empty or all its corners are beyond one
/// common side of the view. Never false for a box that is seen.
QVGEOM_API bool bboxClipTest(const BoundingBox& box, const qvLinear::ProjMatrixFlt& m);
/// The same for the part of the view between the window's sides, which are in units of the view: the whole is
/// [-1, 1] x [-1, 1].
QVGEOM_API bool bboxClipTest(const BoundingBox& box, const qvLinear::ProjMatrixFlt& m,
                             const qvLinear::Range2d& window);

namespace Clip {

/// On which sides of the view a point lies. A point behind the eye, with negative w, may be beyond both sides
/// in x and in y. Comparisons are strict and those with NaN are false: 0 is inside the view or not a number.
enum Outcode : int {
  BelowX = 1,   ///< x < -w
  AboveX = 2,   ///< x > w
  BelowY = 4,   ///< y < -w
  AboveY = 8,   ///< y > w
  BelowZ = 16,  ///< z < -w
  AboveZ = 32,  ///< z > w and not below
};

/// A point in clip space.
struct Vertex {
  float x = 0, y = 0, z = 0, w = 0;
  int outcode = 0;
};

enum Result : int {
  Culled = 0,   ///< all vertices are beyond one common side of the view, or there are none
  Clipped = 1,  ///< no vertex is inside, nor are all beyond one side
  Visible = 2,  ///< at least one vertex is inside
};

/// @param points [count][3]; a negative count is none
/// O(count); ends at the first visible point.
QVGEOM_API Result clipVertices(const float* points, int count, const qvLinear::ProjMatrixFlt& m);
QVGEOM_API Result clipVertices(const PointMesh& mesh, const qvLinear::ProjMatrixFlt& m);

/// Whether the point, three floats, is inside the view, its sides included.
QVGEOM_API bool evaluatePoint(const float* p, const qvLinear::ProjMatrixFlt& m);

/// Takes points to clip space and says what clipVertices would.
/// @param out       receives `count` vertices
/// @param stopEarly whether to return at the first visible point, with `out` empty
QVGEOM_API Result projectVertices(const float* points, int count, const qvLinear::ProjMatrixFlt& m,
                                  qv::vector<Vertex>& out, bool stopEarly);
QVGEOM_API Result projectVertices(const PointMesh& mesh, const qvLinear::ProjMatrixFlt& m,
                                  qv::vector<Vertex>& out, bool stopEarly);

}  // namespace Clip

}  // namespace qvGeom
