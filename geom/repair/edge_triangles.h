#pragma once

#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/elements.h"

namespace qvGeom {

/// How a triangle runs along the edge from a to b: +1 with it, -1 only against it, 0 when it lacks the edge.
/// A triangle that repeats vertices may run both ways. For a = b, only a triangle with that vertex at two
/// corners has the edge.
inline int edgeSense(const MeshTriangle& t, int a, int b) {
  // Without branches: which corner is a is anybody's guess.
  const bool a0 = t[0] == a, a1 = t[1] == a, a2 = t[2] == a;
  const bool b0 = t[0] == b, b1 = t[1] == b, b2 = t[2] == b;
  const bool with = (a0 & b1) | (a1 & b2) | (a2 & b0);
  const bool against = (b0 & a1) | (b1 & a2) | (b2 & a0);
  return with ? 1 : against ? -1 : 0;
}

/// Calls `visit(t, sense)` for every entry of a's list whose triangle has the edge from a to b, in list
/// order, until one call returns false: a triangle with a at two corners has two entries. The sense is that
/// of the triangle as it is when its turn comes.
/// @return whether every call returned true
///
/// Where a's list is long, b's shorter one tells the same: it holds the same triangles in the same order. So
/// the edges of a cone of n triangles cost O(n) together, and those of any mesh of T triangles with few
/// triangles per edge O(T^1.5).
template <typename Visit>
bool forEdgeTriangles(MeshTriangle const* triangles, MeshAdjTris const& adjTris, int a, int b,
                      const Visit& visit) {
  constexpr int kLong = 32;  // up to here, asking for the length of b's list costs more than it saves
  const int n = adjTris.numTris(a);
  int const* tris = adjTris.triIndices(a);
  const int other = n > kLong ? adjTris.numTris(b) : n;
  if (other >= n) {
    for (int i = 0; i < n; ++i) {
      const int sense = edgeSense(triangles[tris[i]], a, b);
      if (sense != 0 && !visit(tris[i], sense)) return false;
    }
    return true;
  }
  tris = adjTris.triIndices(b);
  for (int i = 0; i < other; ++i) {
    const int t = tris[i];
    if (i > 0 && t == tris[i - 1]) continue;
    const int entries = (triangles[t][0] == a) + (triangles[t][1] == a) + (triangles[t][2] == a);
    for (int k = 0; k < entries; ++k)
      if (!visit(t, edgeSense(triangles[t], a, b))) return false;
  }
  return true;
}

}  // namespace qvGeom
