#pragma once

#include <cmath>

#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/elements.h"

namespace qvGeom {

/// Barycentric weights of a point of some triangle, and the triangle's number. (0, 0, 0, -1) when created.
/// Compare members, not bytes: the record has padding.
struct QVGEOM_API MeshCoordBase {
  double weight[3] = {0, 0, 0};
  int triangle = -1;

  /// Whether this names a point: a triangle, and finite weights.
  bool valid() const {
    return triangle >= 0 && std::isfinite(weight[0]) && std::isfinite(weight[1]) && std::isfinite(weight[2]);
  }
  /// Weighted sum of the corners.
  qvLinear::Point evaluateBase(qvLinear::Point const corners[3]) const;
  /// Sets the weights of the point of the closed triangle a, b, c that is nearest to p: none negative, with
  /// sum 1 up to rounding. A triangle without area gives the nearest point of its sides.
  /// @return false, with nothing changed, when a coordinate is not finite or all corners coincide
  /// After C. Ericson, Real-Time Collision Detection (2005), 5.1.5.
  bool projectBase(const qvLinear::Point& p, const qvLinear::Point& a, const qvLinear::Point& b,
                   const qvLinear::Point& c);

  friend bool operator==(const MeshCoordBase& a, const MeshCoordBase& b) {
    return a.triangle == b.triangle && a.weight[0] == b.weight[0] && a.weight[1] == b.weight[1] &&
           a.weight[2] == b.weight[2];
  }
};

/// A point on a mesh. The functions take the mesh's arrays: vertices [V][3], triangles [T][3]; the triangle
/// must be one of them.
struct QVGEOM_API MeshCoord : MeshCoordBase {
  qvLinear::Point evaluate(MeshVertex const* vertices, MeshTriangle const* triangles) const;
  qvLinear::Point evaluate(float const* vertices, int const* triangles) const;

  /// Makes this the point of triangle `tri` nearest to p; false, with nothing changed, as projectBase.
  bool project(int tri, float const* vertices, int const* triangles, const qvLinear::Point& p);
  /// The same, for a point known to lie on the triangle.
  bool setFromPoint(int tri, float const* vertices, int const* triangles, const qvLinear::Point& p) {
    return project(tri, vertices, triangles, p);
  }

  /// Whether the point lies within `tol` (model units, inclusive) of a corner, or of an edge, of its
  /// triangle. The first of corners, or edges, 0, 1, 2 that fits is written to `which`; otherwise `which` is
  /// untouched. Edge e joins corners e and e + 1 mod 3.
  bool onVertex(float const* vertices, int const* triangles, double tol, int* which) const;
  bool onEdge(float const* vertices, int const* triangles, double tol, int* which) const;
};

}  // namespace qvGeom
