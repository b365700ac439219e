#include "geom/planar/polygon_sector.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/lines.h"
#include "geom/model/keel/tolerances.h"
#include "geom/planar/point_in_polygon.h"

namespace qvGeom {

using qvLinear::Point2;
using qvLinear::Vector2;

namespace {

constexpr double kEps = qvLinear::epsilonTol;

double cross2(const Vector2& a, const Vector2& b) { return a[0] * b[1] - a[1] * b[0]; }

// Written so that NaN is no direction.
bool isDirection(const Vector2& d) { return length(d) >= kEps; }

}  // namespace

void isPointInsideSector(const Point2& p, const Point2& apex, const Vector2& d0, const Vector2& d1,
                         EPointSectorIntersection& result, double tolerance) {
  const auto judge = [&] {
    if (!isDirection(d0) || !isDirection(d1)) return kNoSector;
    if (equivalent(p, apex, tolerance)) return kOnSectorBoundary;
    const Vector2 w = p - apex;
    const double c0 = cross2(d0, w);
    const double c1 = cross2(w, d1);
    const double c = cross2(d0, d1);
    const bool onLine0 = std::fabs(c0) < kEps;
    const bool onLine1 = std::fabs(c1) < kEps;
    const bool leftOfBoth = c0 > 0 && c1 > 0;
    if (std::fabs(c) >= kEps) {
      if ((onLine0 && dot(d0, w) > 0) || (onLine1 && dot(d1, w) > 0)) return kOnSectorBoundary;
      const bool inside = c > 0 ? leftOfBoth : c0 >= 0 || c1 >= 0;
      return inside ? kInsideSector : kOutsideSector;
    }
    if (dot(d0, d1) > 0) return onLine0 && dot(d0, w) > 0 ? kOnSectorBoundary : kOutsideSector;
    if (onLine0 || onLine1) return kOnSectorBoundary;
    return leftOfBoth ? kInsideSector : kOutsideSector;
  };
  result = judge();
}

namespace {

// Collects what a sector and the boundary of a polygon have in common, edge by edge.
class Walk {
 public:
  Walk(const Point2& apex, const Vector2& d0, const Vector2& d1, const Polyline2d& polygon, double tolerance);
  qv::vector<Point2> run();

 private:
  bool isOutside(const Point2& p) const {
    EPointSectorIntersection relation = kNoSector;
    isPointInsideSector(p, apex_, d0_, d1_, relation, tolerance_);
    return relation == kOutsideSector;
  }
  void collect(const Point2& p);
  void collectVertex(const Point2& p) {
    if (!isOutside(p)) collect(p);
  }
  void findCrossings(const Point2& a, const Point2& b);
  void walkEdge(const Point2& a, const Point2& b);

  const Point2 apex_;
  const Vector2 d0_, d1_;
  const Polyline2d& polygon_;
  const double tolerance_;
  Point2 rayEnds_[2];             // so far out that the polygon ends before
  bool apexIsDue_;                // lies in the polygon and is not listed yet
  qv::vector<double> crossings_;  // of the current edge, as fractions along it
  qv::vector<Point2> found_;
};

Walk::Walk(const Point2& apex, const Vector2& d0, const Vector2& d1, const Polyline2d& polygon,
           double tolerance)
    : apex_(apex), d0_(d0), d1_(d1), polygon_(polygon), tolerance_(tolerance) {
  const qvLinear::Range2d& box = polygon.getBoundingBox();
  const double reach = 2 * (distance(apex, box.min) + distance(box.min, box.max) + std::fabs(tolerance));
  rayEnds_[0] = apex + (reach / length(d0)) * d0;
  rayEnds_[1] = apex + (reach / length(d1)) * d1;
  pointPolygonRelation relation = kPointNotClassified;
  intersectPointWithPolygon(apex, polygon, relation, tolerance);
  apexIsDue_ = relation != kPointOutside;
}

qv::vector<Point2> Walk::run() {
  const int n = polygon_.getNumVertices();
  const int numEdges = polygon_.isClosed() ? n - 1 : n;
  collectVertex(polygon_.getVertex(0));
  for (int i = 0; i < numEdges; ++i) walkEdge(polygon_.getVertex(i), polygon_.getVertex((i + 1) % n));
  return std::move(found_);
}

void Walk::collect(const Point2& p) {
  if (!std::isfinite(p[0]) || !std::isfinite(p[1])) return;
  for (const Point2& q : found_)
    if (p == q || equivalent(p, q, tolerance_)) return;
  found_.push_back(p);
}

// An edge along a ray meets it where it comes to it; when the apex lies on the edge, that is the apex,
// however the far ends were rounded.
void Walk::findCrossings(const Point2& a, const Point2& b) {
  crossings_.clear();
  for (const Point2& rayEnd : rayEnds_) {
    double t = 0;
    Point2 point;
    bool single = true;
    if (doLineSegmentsIntersect(a, b, apex_, rayEnd, tolerance_, t, point, single)) crossings_.push_back(t);
  }
  const double edge2 = distance2(a, b);
  if (edge2 > 0 && isPointOnEdge(a, b, apex_, tolerance_))
    crossings_.push_back(std::clamp(dot(apex_ - a, b - a) / edge2, 0.0, 1.0));
  std::sort(crossings_.begin(), crossings_.end());
}

void Walk::walkEdge(const Point2& a, const Point2& b) {
  findCrossings(a, b);
  const auto eval = [&](double t) { return t < 1 ? a + t * (b - a) : b; };
  double before = 0;
  for (const double t : crossings_) {
    const Point2 crossing = eval(t);
    const bool goesOn = distance(eval(before), crossing) > tolerance_;
    if (goesOn && apexIsDue_ && isOutside(eval(0.5 * (before + t)))) {
      collect(apex_);
      apexIsDue_ = false;
    }
    collect(crossing);
    before = t;
  }
  collectVertex(b);
}

}  // namespace

void isSectorPolygonIntersect(const Point2& apex, const Vector2& d0, const Vector2& d1,
                              const Polyline2d& polygon, ESectorPolygonIntersection& result, Polyline2d& out,
                              double tolerance) {
  result = kSectorInvalid;
  if (!isDirection(d0) || !isDirection(d1)) return;
  result = kSectorPolygonInvalid;
  if (polygon.getNumVertices() < 3 || !(polygon.getBoundingBox().area() > 0)) return;
  const qv::vector<Point2> found = Walk(apex, d0, d1, polygon, tolerance).run();
  if (found.size() < 3) {
    result = found.empty() ? kSectorPolygonDisjoint : kSectorPolygonTouch;
    return;
  }
  result = kSectorPolygonOverlap;
  out.clear();
  double parameter = 0;
  for (const Point2& p : found) out.append(p, ++parameter);
  out.append(found.front(), ++parameter);
  out.setClosed(true);
}

}  // namespace qvGeom
