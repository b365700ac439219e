#include "geom/model/trellis/mesh_coord.h"

#include <algorithm>
#include <cstddef>

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

struct Corners {
  Point p[3];
};

Point pointAt(float const* vertices, int v) {
  float const* p = vertices + std::ptrdiff_t{3} * v;
  return {p[0], p[1], p[2]};
}

Corners cornersOf(int tri, float const* vertices, int const* triangles) {
  int const* t = triangles + std::ptrdiff_t{3} * tri;
  return {{pointAt(vertices, t[0]), pointAt(vertices, t[1]), pointAt(vertices, t[2])}};
}

// Parameter of the point of segment a b nearest to p.
double nearestOnSegment(const Point& p, const Point& a, const Point& b) {
  const Vector d = b - a;
  const double dd = length2(d);
  return dd > 0 ? std::clamp(dot(p - a, d) / dd, 0.0, 1.0) : 0.0;
}

struct Weights {
  double w[3];
};

// The nearest point of the three sides; the first side wins ties.
Weights nearestOnSides(const Point& p, const Corners& tri) {
  Weights best{{1, 0, 0}};
  double bestDistance = -1;
  for (int e = 0; e < 3; ++e) {
    const Point& a = tri.p[e];
    const Point& b = tri.p[(e + 1) % 3];
    const double t = nearestOnSegment(p, a, b);
    const double d = distance2(p, a + t * (b - a));
    if (bestDistance >= 0 && !(d < bestDistance)) continue;
    bestDistance = d;
    best = {{0, 0, 0}};
    best.w[e] = 1 - t;
    best.w[(e + 1) % 3] = t;
  }
  return best;
}

// Decides by signs which feature of the triangle is nearest: a corner, a side or the inside.
Weights nearestOnTriangle(const Point& p, const Corners& tri) {
  const Vector ab = tri.p[1] - tri.p[0];
  const Vector ac = tri.p[2] - tri.p[0];
  const Vector ap = p - tri.p[0];
  const double d1 = dot(ab, ap), d2 = dot(ac, ap);
  if (d1 <= 0 && d2 <= 0) return {{1, 0, 0}};
  const Vector bp = p - tri.p[1];
  const double d3 = dot(ab, bp), d4 = dot(ac, bp);
  if (d3 >= 0 && d4 <= d3) return {{0, 1, 0}};
  const Vector cp = p - tri.p[2];
  const double d5 = dot(ab, cp), d6 = dot(ac, cp);
  if (d6 >= 0 && d5 <= d6) return {{0, 0, 1}};

  // Each is the area of p's triangle over one side, times that of the whole.
  const double va = d3 * d6 - d5 * d4;
  const double vb = d5 * d2 - d1 * d6;
  const double vc = d1 * d4 - d3 * d2;
  const double sum = va + vb + vc;
  // The sum is the squared cross product of ab and ac. Where their angle is next to nothing, rounding decides
  // the signs, and the weights could name any point of the sliver: its sides are then as near as its inside.
  const bool sliver = !(sum > 1e-13 * length2(ab) * length2(ac));
  if (va > 0 && vb > 0 && vc > 0 && !sliver) return {{va / sum, vb / sum, vc / sum}};
  return nearestOnSides(p, tri);
}

bool isFinite(const Point& p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

}  // namespace

Point MeshCoordBase::evaluateBase(Point const corners[3]) const {
  Point p;
  for (int i = 0; i < 3; ++i)
    p[i] = weight[0] * corners[0][i] + weight[1] * corners[1][i] + weight[2] * corners[2][i];
  return p;
}

bool MeshCoordBase::projectBase(const Point& p, const Point& a, const Point& b, const Point& c) {
  if (!isFinite(p) || !isFinite(a) || !isFinite(b) || !isFinite(c)) return false;
  if (a == b && a == c) return false;
  const Weights nearest = nearestOnTriangle(p, {{a, b, c}});
  for (int i = 0; i < 3; ++i) weight[i] = nearest.w[i];
  return true;
}

Point MeshCoord::evaluate(float const* vertices, int const* triangles) const {
  return evaluateBase(cornersOf(triangle, vertices, triangles).p);
}

Point MeshCoord::evaluate(MeshVertex const* vertices, MeshTriangle const* triangles) const {
  const MeshTriangle& t = triangles[triangle];
  const Point corners[3] = {vertices[t[0]].asPoint(), vertices[t[1]].asPoint(), vertices[t[2]].asPoint()};
  return evaluateBase(corners);
}

bool MeshCoord::project(int tri, float const* vertices, int const* triangles, const Point& p) {
  const Corners corners = cornersOf(tri, vertices, triangles);
  if (!projectBase(p, corners.p[0], corners.p[1], corners.p[2])) return false;
  triangle = tri;
  return true;
}

bool MeshCoord::onVertex(float const* vertices, int const* triangles, double tol, int* which) const {
  const Corners corners = cornersOf(triangle, vertices, triangles);
  const Point p = evaluateBase(corners.p);
  for (int i = 0; i < 3; ++i) {
    if (!equivalent(p, corners.p[i], tol)) continue;
    *which = i;
    return true;
  }
  return false;
}

bool MeshCoord::onEdge(float const* vertices, int const* triangles, double tol, int* which) const {
  const Corners corners = cornersOf(triangle, vertices, triangles);
  const Point p = evaluateBase(corners.p);
  for (int e = 0; e < 3; ++e) {
    const Point& a = corners.p[e];
    const Point& b = corners.p[(e + 1) % 3];
    if (!equivalent(p, a + nearestOnSegment(p, a, b) * (b - a), tol)) continue;
    *which = e;
    return true;
  }
  return false;
}

}  // namespace qvGeom
