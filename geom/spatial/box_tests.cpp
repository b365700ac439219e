#include "geom/spatial/box_tests.h"

#include <algorithm>
#include <cmath>

namespace qvGeom {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;
using qvLinear::VectorFlt;

bool intersects(const BoundingBox& box, const Frustum& frustum) {
  int below[3] = {};
  int above[3] = {};
  for (int i = 0; i < Frustum::kNumCorners; ++i) {
    const Point& corner = frustum.corner(i);
    bool inside = true;
    for (int k = 0; k < 3; ++k) {
      const bool isBelow = corner[k] < static_cast<double>(box.min[k]);
      const bool isAbove = corner[k] > static_cast<double>(box.max[k]);
      below[k] += isBelow ? 1 : 0;
      above[k] += isAbove ? 1 : 0;
      inside = inside && !isBelow && !isAbove;
    }
    if (inside) break;
  }
  for (int k = 0; k < 3; ++k)
    if (below[k] == Frustum::kNumCorners || above[k] == Frustum::kNumCorners) return false;

  for (int i = 0; i < Frustum::kNumPlanes; ++i) {
    const qvLinear::Plane& plane = frustum.plane(i);
    bool anyInside = false;
    for (int k = 0; k < 8 && !anyInside; ++k) {
      PointFlt corner;
      box.getPoint(k, corner.data());
      anyInside = dot(Point(corner) - plane.point, plane.normal) <= 0;
    }
    if (!anyInside) return false;
  }
  return true;
}

bool intersects(const BoundingBox& box, const Sphere& sphere) {
  return box.distance(PointFlt(sphere.center)) <= sphere.radius;
}

namespace {

struct Interval {
  float min;
  float max;

  bool isApartFrom(const Interval& other) const { return max < other.min || min > other.max; }
};

Interval times(const Interval& a, float factor) {
  const float p = a.min * factor;
  const float q = a.max * factor;
  return {std::min(p, q), std::max(p, q)};
}

// q.a e.b - q.b e.a, with a and b the two axes after the one that is crossed with the edge e.
float crossTerm(const VectorFlt& q, const VectorFlt& e, int a, int b) { return q[a] * e[b] - q[b] * e[a]; }

// The box as intervals relative to a point.
struct RelativeBox {
  Interval axis[3];

  RelativeBox(const BoundingBox& box, float const* origin) {
    for (int k = 0; k < 3; ++k) axis[k] = {box.min[k] - origin[k], box.max[k] - origin[k]};
  }
  Interval crossTerms(const VectorFlt& e, int a, int b) const {
    const Interval plus = times(axis[a], e[b]);
    const Interval minus = times(axis[b], e[a]);
    return {plus.min - minus.max, plus.max - minus.min};
  }
};

VectorFlt difference(float const* p, float const* q) { return {p[0] - q[0], p[1] - q[1], p[2] - q[2]}; }

}  // namespace

bool intersects(const BoundingBox& box, float const* p0, float const* p1, float const* p2) {
  const VectorFlt e0 = difference(p1, p0);
  const VectorFlt e1 = difference(p2, p1);
  const VectorFlt e2 = difference(p2, p0);
  const RelativeBox relative(box, p0);

  for (const VectorFlt* e : {&e0, &e1, &e2})
    for (int k = 0; k < 3; ++k) {
      const int a = (k + 1) % 3;
      const int b = (k + 2) % 3;
      const float t1 = crossTerm(e0, *e, a, b);
      const float t2 = crossTerm(e2, *e, a, b);
      const Interval triangle{std::min({0.0f, t1, t2}), std::max({0.0f, t1, t2})};
      if (relative.crossTerms(*e, a, b).isApartFrom(triangle)) return false;
    }
  for (int k = 0; k < 3; ++k) {
    if (p0[k] < box.min[k] && p1[k] < box.min[k] && p2[k] < box.min[k]) return false;
    if (p0[k] > box.max[k] && p1[k] > box.max[k] && p2[k] > box.max[k]) return false;
  }
  const VectorFlt n = cross(e0, e1);
  float min = 0;
  float max = 0;
  for (int k = 0; k < 3; ++k) {
    const Interval term = times(relative.axis[k], n[k]);
    min += term.min;
    max += term.max;
  }
  return !(min > 0 || max < 0);
}

bool intersects(const BoundingBox& box, float const* p0, float const* p1) {
  for (int k = 0; k < 3; ++k) {
    if (p0[k] < box.min[k] && p1[k] < box.min[k]) return false;
    if (p0[k] > box.max[k] && p1[k] > box.max[k]) return false;
  }
  const VectorFlt d = difference(p1, p0);
  const RelativeBox relative(box, p0);
  for (int k = 0; k < 3; ++k)
    if (relative.crossTerms(d, (k + 1) % 3, (k + 2) % 3).isApartFrom({0, 0})) return false;
  return true;
}

int intersects(const BoundingBox& box, const qvLinear::Plane& plane) {
  const VectorFlt h = box.halfDiagonal();
  double r = 0;
  for (int k = 0; k < 3; ++k) r += std::fabs(plane.normal[k]) * static_cast<double>(h[k]);
  const double s = plane.eval(Point(box.center()));
  if (s - r > 0) return 1;
  return s + r < 0 ? -1 : 0;
}

bool contains(const Frustum& frustum, const Point& p) {
  for (int i = 0; i < Frustum::kNumPlanes; ++i) {
    const qvLinear::Plane& plane = frustum.plane(i);
    if (!(dot(p - plane.point, plane.normal) <= 0)) return false;
  }
  return true;
}

bool contains(const BoundingBox& box, const PointFlt& p) {
  for (int k = 0; k < 3; ++k)
    if (!(box.min[k] <= p[k] && p[k] <= box.max[k])) return false;
  return true;
}

void project(const BoundingBox& box, const VectorFlt& dir, float& min, float& max) {
  min = 0;
  max = 0;
  for (int k = 0; k < 3; ++k) {
    const Interval term = times({box.min[k], box.max[k]}, dir[k]);
    min += term.min;
    max += term.max;
  }
}

}  // namespace qvGeom
