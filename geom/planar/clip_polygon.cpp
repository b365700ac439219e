#include "geom/planar/clip_polygon.h"

#include <algorithm>
#include <bit>

namespace qvGeom {

namespace {

// One side of the box: what is beyond it has a positive value.
struct Side {
  int axis;
  bool isLow;
  double bound;

  double eval(const ClipVert& v) const {
    const double c = v.c[axis];
    const double limit = bound * v.c[3];
    return isLow ? limit - c : c - limit;
  }
};

ClipVert crossing(const ClipVert& a, const ClipVert& b, double s, int mask) {
  ClipVert v;
  for (unsigned bits = static_cast<unsigned>(mask) & 0xffffu; bits != 0; bits &= bits - 1) {
    const int i = std::countr_zero(bits);
    v.c[i] = a.c[i] + s * (b.c[i] - a.c[i]);
  }
  return v;
}

// False, with `out` of no use, when there is no room.
bool cut(const ClipPolygon& in, const Side& side, ClipPolygon& out) {
  out.numVertices = 0;
  bool fits = true;
  const auto emit = [&](const ClipVert& v) {
    fits = fits && out.numVertices < ClipPolygon::kMaxVertices;
    if (fits) out.vertices[out.numVertices++] = v;
  };
  const ClipVert* previous = &in.vertices[in.numVertices - 1];
  double before = side.eval(*previous);
  for (int i = 0; i < in.numVertices; ++i) {
    const ClipVert& v = in.vertices[i];
    const double here = side.eval(v);
    if ((before <= 0) != (here <= 0)) emit(crossing(*previous, v, before / (before - here), in.mask));
    if (here <= 0) emit(v);
    previous = &v;
    before = here;
  }
  return fits;
}

}  // namespace

IntersectionResult clipTriangle(ClipPolygon& polygon, const ClipBox& box) {
  const auto empty = [&polygon] {
    polygon.numVertices = 0;
    return Disjoint;
  };
  const int n = polygon.numVertices;
  if (n < 0 || n > ClipPolygon::kMaxVertices) return empty();
  const Side sides[] = {{0, true, box.xLow},   {0, false, box.xHigh}, {1, true, box.yLow},
                        {1, false, box.yHigh}, {2, true, box.zLow},   {2, false, box.zHigh}};
  int counts[6];
  for (int k = 0; k < 6; ++k)
    counts[k] = static_cast<int>(std::count_if(polygon.vertices, polygon.vertices + n,
                                               [&](const ClipVert& v) { return sides[k].eval(v) > 0; }));
  if (std::all_of(counts, counts + 6, [](int count) { return count == 0; })) return Contained;
  if (std::find(counts, counts + 6, n) != counts + 6) return empty();

  ClipPolygon other;
  for (int k = 0; k < 6; ++k) {
    if (counts[k] == 0) continue;
    if (!cut(polygon, sides[k], other) || other.numVertices == 0) return empty();
    std::copy_n(other.vertices, other.numVertices, polygon.vertices);
    polygon.numVertices = other.numVertices;
  }
  return Intersecting;
}

}  // namespace qvGeom
