#pragma once

#include "geom/model/keel/export.h"

namespace qvGeom {

/// Corner of a polygon that is clipped: x, y, z, w, and then attributes of the caller's.
struct ClipVert {
  static constexpr int kComponents = 16;
  double c[kComponents] = {};
};

/// Convex polygon that is clipped.
struct ClipPolygon {
  static constexpr int kMaxVertices = 10;  ///< a triangle cut by six planes has nine at most
  int numVertices = 0;
  int mask = 15;  ///< bit i: component i is carried through clipping; position alone at first
  ClipVert vertices[kMaxVertices];
};

/// Bounds that x, y and z are held to, in units of w.
struct ClipBox {
  double xLow = -1, xHigh = 1, yLow = -1, yHigh = 1, zLow = -1, zHigh = 1;
};

enum IntersectionResult : int {
  Disjoint = 0,      ///< nothing is left; the polygon has no vertices
  Intersecting = 1,  ///< it was clipped
  Contained = 2,     ///< it lies within the box, on its sides at most, and is as it was
};

/// Clips a polygon against a box, side after side: x low, x high, y low, y high, z low, z high.
///
/// Components that the mask names are interpolated where an edge crosses a side, and the others of a new
/// vertex are zero; the first four belong in every mask. Vertices on a side are kept. The first vertex left
/// is the one that the last cut came upon first, walking from the last vertex on. A polygon whose number of
/// vertices is negative or beyond the room is emptied: `Disjoint`. So is one that would grow beyond the room,
/// as only a polygon that is not convex can. Finite as long as products of bounds and w are.
///
/// O(1). Safe to call from several threads at once.
/// After I. Sutherland and G. Hodgman, Reentrant polygon clipping (1974).
QVGEOM_API IntersectionResult clipTriangle(ClipPolygon& polygon, const ClipBox& box);

}  // namespace qvGeom
