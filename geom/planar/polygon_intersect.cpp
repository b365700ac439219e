#include "geom/planar/polygon_intersect.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "geom/model/keel/lines.h"
#include "geom/planar/point_in_polygon.h"

namespace qvGeom {

using qvLinear::Point2;

namespace {

pointPolygonRelation relationTo(const Polyline2d& polygon, const Point2& p, double tolerance) {
  pointPolygonRelation relation = kPointNotClassified;
  intersectPointWithPolygon(p, polygon, relation, tolerance);
  return relation;
}

bool isIn(pointPolygonRelation relation) { return relation != kPointOutside; }

void printSurplus(const qv::vector<Point2>& points) {
  std::printf("Too many intersection points!\npolygon:\n");
  for (std::size_t i = 0; i < points.size(); ++i)
    std::printf("intersectionPoint[%d]: (%f, %f)\n", static_cast<int>(i), points[i][0], points[i][1]);
}

ELineSegmentPolygonIntersection judge(std::size_t contacts, pointPolygonRelation ra,
                                      pointPolygonRelation rb) {
  const bool anyInside = ra == kPointInside || rb == kPointInside;
  const bool anyOutside = ra == kPointOutside || rb == kPointOutside;
  switch (contacts) {
    case 0:
      if (ra == kPointOutside && rb == kPointOutside) return kSegmentOutside;
      return ra == kPointInside && rb == kPointInside ? kSegmentInside : kSegmentUnclear;
    case 1:
      if (anyInside) return kSegmentCrosses;
      return anyOutside ? kSegmentTouches : kSegmentUnclear;
    case 2:
      return kSegmentCrosses;
    default:
      return kSegmentUnclear;
  }
}

}  // namespace

void intersectLineSegmentWithPolygon(const Point2& a, const Point2& b, const Polyline2d& polygon,
                                     ELineSegmentPolygonIntersection& result, qv::vector<Point2>& points,
                                     qv::vector<double>& params, double tolerance) {
  points.clear();
  params.clear();
  for (int i = 1; i < polygon.getNumVertices(); ++i) {
    double t = 0;
    Point2 point;
    bool single = true;
    if (!doLineSegmentsIntersect(polygon.getVertex(i - 1), polygon.getVertex(i), a, b, tolerance, t, point,
                                 single))
      continue;
    if (!single) {
      points.clear();
      params.assign(1, i - 1 + t);
      result = kSegmentOverlaps;
      return;
    }
    // An edge longer than the range of a double has no points to speak of.
    if (!std::isfinite(point[0]) || !std::isfinite(point[1])) continue;
    const auto isSame = [&](const Point2& other) { return equivalent(point, other, tolerance); };
    if (std::any_of(points.begin(), points.end(), isSame)) continue;
    points.push_back(point);
    params.push_back(i - 1 + t);
  }
  if (points.size() > 2) printSurplus(points);
  result = judge(points.size(), relationTo(polygon, a, tolerance), relationTo(polygon, b, tolerance));
}

namespace {

// How near a cut counts as contact, and a vertex as lying in the other polygon.
constexpr double kCutTolerance = 1e-6;

// Walks along one polygon and changes over to the other where it leaves that one, which traces the outline of
// what they share. Current are the stretch from p_ to q_ of one polygon and how p_ lies to the other.
class Trace {
 public:
  Trace(const Polyline2d& a, const Polyline2d& b, double tolerance)
      : walked_(&a), other_(&b), tolerance_(tolerance), same_(std::max(kCutTolerance, tolerance)) {}
  Polyline2d run();

 private:
  static int lastVertex(const Polyline2d& polygon) { return polygon.getNumVertices() - 1; }
  pointPolygonRelation relation(const Point2& p) const { return relationTo(*other_, p, tolerance_); }
  // Each contact comes up again at the start of the stretch that is entered there: it is listed once.
  void append(const Point2& p) {
    const int n = outline_.getNumVertices();
    if (n == 0 || !equivalent(outline_.getVertex(n - 1), p, same_)) outline_.append(p, n + 1);
  }
  bool step();
  bool leave();
  void pass();
  void enter();
  void cut();
  void appendContacts();
  void advance();
  void switchTo(int vertex);
  int farthestEdge() const { return static_cast<int>(params_.back()); }
  // An overlap never starts at the end of an edge, though the sum of number and fraction may be rounded
  // there.
  int overlappedEdge() const { return std::min(farthestEdge(), lastVertex(*other_) - 1); }

  const Polyline2d* walked_;
  const Polyline2d* other_;
  const double tolerance_;
  const double same_;
  Polyline2d outline_;
  int qVertex_ = 1;
  Point2 p_, q_;
  pointPolygonRelation pRelation_ = kPointNotClassified;
  pointPolygonRelation qRelation_ = kPointNotClassified;

  // The last cut, its contacts by distance from p_.
  ELineSegmentPolygonIntersection contact_ = kSegmentUnclear;
  qv::vector<Point2> points_;
  qv::vector<double> params_;
};

Polyline2d Trace::run() {
  p_ = walked_->getVertex(0);
  q_ = walked_->getVertex(1);
  pRelation_ = relation(p_);
  if (isIn(pRelation_)) append(p_);
  // Every step goes on by a vertex or by a contact; touching polygons may send it to and fro for ever.
  const int limit = walked_->getNumVertices() + other_->getNumVertices() - 2;
  for (int i = 0; i < limit && !outline_.isOutline(same_); ++i)
    if (!step()) break;
  return std::move(outline_);
}

bool Trace::step() {
  qRelation_ = relation(q_);
  if (isIn(pRelation_)) {
    if (!isIn(qRelation_)) return leave();
    append(q_);
    advance();
    return true;
  }
  if (isIn(qRelation_))
    enter();
  else
    pass();
  return true;
}

void Trace::cut() {
  intersectLineSegmentWithPolygon(p_, q_, *other_, contact_, points_, params_, kCutTolerance);
  const bool usable =
      contact_ == kSegmentCrosses || contact_ == kSegmentTouches || contact_ == kSegmentOverlaps;
  if (!usable) params_.clear();
  if (points_.size() == 2 && distance2(p_, points_[1]) < distance2(p_, points_[0])) {
    std::swap(points_[0], points_[1]);
    std::swap(params_[0], params_[1]);
  }
}

void Trace::appendContacts() {
  for (const Point2& p : points_) append(p);
}

// From inside to outside. Where the two tolerances disagree there may be no contact to go on from: the trace
// ends.
bool Trace::leave() {
  cut();
  if (params_.empty()) return false;
  if (contact_ == kSegmentOverlaps) {
    const int end = overlappedEdge() + 1;
    append(other_->getVertex(end));
    switchTo(end);
  } else {
    appendContacts();
    switchTo(farthestEdge());
  }
  return true;
}

// From outside to outside.
void Trace::pass() {
  cut();
  if (params_.empty()) {
    advance();
  } else if (contact_ == kSegmentOverlaps) {
    const int edge = overlappedEdge();
    append(other_->getVertex(edge));
    append(other_->getVertex(edge + 1));
    switchTo(edge + 1);
  } else {
    appendContacts();
    switchTo(farthestEdge());
  }
}

// From outside to inside.
void Trace::enter() {
  cut();
  if (contact_ == kSegmentOverlaps)
    append(other_->getVertex(overlappedEdge()));
  else if (!params_.empty())
    appendContacts();
  append(q_);
  advance();
}

void Trace::advance() {
  p_ = q_;
  pRelation_ = qRelation_;
  qVertex_ = qVertex_ == lastVertex(*walked_) ? 1 : qVertex_ + 1;
  q_ = walked_->getVertex(qVertex_);
}

// A contact at the repeated vertex is one at vertex 0.
void Trace::switchTo(int vertex) {
  std::swap(walked_, other_);
  const int from = vertex >= lastVertex(*walked_) ? 0 : vertex;
  p_ = walked_->getVertex(from);
  qVertex_ = from + 1;
  q_ = walked_->getVertex(qVertex_);
  pRelation_ = relation(p_);
}

bool isUsable(const Polyline2d& polygon) {
  return polygon.getNumVertices() >= 4 && polygon.isClosed() && polygon.getBoundingBox().area() > 0;
}

bool allIn(const Polyline2d& inner, const Polyline2d& outer) {
  for (int i = 0; i + 1 < inner.getNumVertices(); ++i)
    if (!isIn(relationTo(outer, inner.getVertex(i), kCutTolerance))) return false;
  return true;
}

Polyline2d closedOutline(Polyline2d outline, double tolerance) {
  if (!outline.isOutline(tolerance)) {
    const Point2 first = outline.getVertex(0);
    outline.append(first, outline.getNumVertices() + 1);
  }
  outline.setClosed(true);
  return outline;
}

}  // namespace

void intersectPolygons(const Polyline2d& a, const Polyline2d& b, EPolygonsIntersection& result,
                       Polyline2d& out, double tolerance) {
  result = kPolygonsInvalid;
  if (!isUsable(a) || !isUsable(b)) return;
  Polyline2d outline = Trace(a, b, tolerance).run();
  const bool aInB = allIn(a, b);
  const bool bInA = allIn(b, a);
  if (aInB) {
    result = bInA ? kPolygonsEqual : kFirstInSecond;
    out = Polyline2d(a);
  } else if (bInA) {
    result = kSecondInFirst;
    out = Polyline2d(b);
  } else if (outline.getNumVertices() < 3) {
    result = kPolygonsDisjoint;
    out.clear();
  } else {
    result = kPolygonsOverlap;
    out = closedOutline(std::move(outline), std::max(kCutTolerance, tolerance));
  }
}

}  // namespace qvGeom
