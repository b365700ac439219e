#include "geom/planar/point_in_polygon.h"

#include <algorithm>
#include <cmath>

#include "geom/model/keel/ranges.h"

namespace qvGeom {

using qvLinear::Point2;
using qvLinear::Range1d;
using qvLinear::Vector2;

bool isPointOnEdge(const Point2& a, const Point2& b, const Point2& p, double tolerance) {
  const double edgeLength = distance(a, b);
  if (edgeLength == 0) return equivalent(p, a, tolerance);
  const Vector2 unit((b[0] - a[0]) / edgeLength, (b[1] - a[1]) / edgeLength);
  const Vector2 toP = p - a;
  // Written so that NaN fails.
  if (!(std::fabs(dot(toP, Vector2(-unit[1], unit[0]))) < tolerance)) return false;
  return Range1d(0, edgeLength).contains(dot(toP, unit), tolerance);
}

namespace {

// Whether the box of an edge, grown by the tolerance, reaches p.
bool boxReaches(const Point2& a, const Point2& b, const Point2& p, double tolerance) {
  for (int i = 0; i < 2; ++i) {
    const double fromA = a[i] - p[i];
    const double fromB = b[i] - p[i];
    if ((fromA > tolerance && fromB > tolerance) || (fromA < -tolerance && fromB < -tolerance)) return false;
  }
  return true;
}

// The test over `numEdges` edges whose i-th vertex is vertex(i), so that no caller has to copy vertices.
template <typename VertexAt>
pointPolygonRelation relationOf(const Point2& p, int numEdges, const VertexAt& vertex, double tolerance) {
  bool inside = false;
  for (int i = 0; i < numEdges; ++i) {
    const Point2& a = vertex(i);
    const Point2& b = vertex(i + 1);
    if ((p[1] < a[1]) == (p[1] < b[1])) continue;
    const double x = (p[1] - a[1]) * (b[0] - a[0]) / (b[1] - a[1]) + a[0];
    if (std::fabs(x - p[0]) < tolerance) return kPointOnBoundary;
    if (p[0] < x) inside = !inside;
  }
  for (int i = 0; i < numEdges; ++i) {
    const Point2& a = vertex(i);
    const Point2& b = vertex(i + 1);
    if (boxReaches(a, b, p, tolerance) && isPointOnEdge(a, b, p, tolerance)) return kPointOnBoundary;
  }
  return inside ? kPointInside : kPointOutside;
}

}  // namespace

void isPointInPolygon(const Point2& p, const qv::vector<Point2>& polygon, pointPolygonRelation& relation,
                      double tolerance) {
  relation = relationOf(
      p, static_cast<int>(polygon.size()) - 1, [&](int i) -> const Point2& { return polygon[i]; }, tolerance);
}

void intersectPointWithPolygon(const Point2& p, const Polyline2d& polygon, pointPolygonRelation& relation,
                               double tolerance) {
  const int n = polygon.getNumVertices();
  relation = kPointOutside;
  if (n == 0 || !polygon.getBoundingBox().contains(p, tolerance)) return;
  const auto vertex = [&](int i) -> const Point2& { return polygon.getVertex(i < n ? i : 0); };
  relation = relationOf(p, polygon.isClosed() ? n - 1 : n, vertex, tolerance);
}

bool pointPolygonIntersect2D(const float* p, const float (*polygon)[2], int n) {
  if (n < 3) return false;
  bool inside = false;
  for (int i = 0; i < n; ++i) {
    const float* a = polygon[i];
    const float* b = polygon[i + 1];
    const bool heightInRange = std::min(a[1], b[1]) <= p[1] && p[1] <= std::max(a[1], b[1]);
    if (!heightInRange || (a[0] < p[0] && b[0] < p[0])) continue;
    if (a[1] == b[1]) {
      if (std::min(a[0], b[0]) <= p[0] && p[0] <= std::max(a[0], b[0])) return true;
      continue;
    }
    const float f = (p[1] - a[1]) / (b[1] - a[1]);
    if (f >= 0 && f < 1 && (b[0] - a[0]) * f - (p[0] - a[0]) >= 0) inside = !inside;
  }
  return inside;
}

}  // namespace qvGeom
