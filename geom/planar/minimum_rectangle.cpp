#include "geom/planar/minimum_rectangle.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "geom/model/keel/lines.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/tolerances.h"
#include "geom/planar/convex_hull.h"

namespace qvGeom {

using qvLinear::Line;
using qvLinear::Point;
using qvLinear::Point2;
using qvLinear::Vector;

namespace {

using Hull = qv::vector<Point>;

constexpr float kNoArea = std::numeric_limits<float>::max();
constexpr double kSameSide = 1e-6;  // model units
constexpr double kLargestMargin = 1e150;

// A pair of parallel jaws: how far the hull extends along a line, and the vertices that reach its ends.
struct Caliper {
  Line line;
  double min = std::numeric_limits<double>::max();
  double max = std::numeric_limits<double>::lowest();
  std::size_t minIndex = 0;
  std::size_t maxIndex = 0;

  void measure(const Line& first, const Hull& hull) {
    line = first;
    for (std::size_t i = 0; i < hull.size(); ++i) {
      const double t = projectParam(hull[i], line);
      if (t < min) min = t, minIndex = i;
      if (t > max) max = t, maxIndex = i;
    }
  }
  // As the line turns on, counter-clockwise, so do the vertices at its ends.
  void turnTo(const Line& turned, const Hull& hull) {
    line = turned;
    minIndex = farthest(hull, minIndex, -line.direction);
    maxIndex = farthest(hull, maxIndex, line.direction);
    min = projectParam(hull[minIndex], line);
    max = projectParam(hull[maxIndex], line);
  }
  Vector side() const { return (max - min) * line.direction; }

 private:
  // Steps are compared, not parameters: those of vertices that almost coincide may round to the same, and a
  // jaw that stops there never comes past them.
  static std::size_t farthest(const Hull& hull, std::size_t i, const Vector& direction) {
    for (std::size_t steps = 0; steps < hull.size(); ++steps) {
      const std::size_t next = i + 1 < hull.size() ? i + 1 : 0;
      if (!(dot(hull[next] - hull[i], direction) > 0)) break;
      i = next;
    }
    return i;
  }
};

// The rectangle around the hull that stands on one of its edges.
struct CaliperState {
  Caliper along;
  Caliper across;

  double area() const { return length(cross(along.side(), across.side())); }
  Rect2 rectangle() const {
    const Point& o = along.line.origin;
    const auto corner = [&](double a, double b) {
      const Point p = o + a * along.line.direction + b * across.line.direction;
      return Point2(p[0], p[1]);
    };
    Rect2 rect{{corner(along.min, across.min), corner(along.max, across.min), corner(along.max, across.max),
                corner(along.min, across.max)}};
    if (length2(across.side()) > length2(along.side()))
      std::rotate(rect.corner, rect.corner + 1, rect.corner + 4);
    return rect;
  }
};

Rect2 smallestRectangle(const Hull& hull, float& ratio) {
  CaliperState state, smallest;
  double smallestArea = 0, largestArea = 0;
  for (std::size_t i = 0; i < hull.size(); ++i) {
    Vector d = hull[i + 1 < hull.size() ? i + 1 : 0] - hull[i];
    if (d.normalize()) {
      const Line along(hull[i], d), across(hull[i], Vector(-d[1], d[0], d[2]));
      if (i == 0) {
        state.along.measure(along, hull);
        state.across.measure(across, hull);
      } else {
        state.along.turnTo(along, hull);
        state.across.turnTo(across, hull);
      }
    }
    const double area = state.area();
    if (i == 0) {
      largestArea = area;
    } else if (area > largestArea) {
      largestArea = area;
      continue;
    } else if (!(area < smallestArea)) {
      continue;
    }
    smallestArea = area;
    smallest = state;
  }
  const double quotient = smallestArea > 0 ? largestArea / smallestArea : kNoArea;
  ratio = static_cast<float>(std::min(quotient, double{kNoArea}));
  return smallest.rectangle();
}

void alignIfSquare(Rect2& rect) {
  double sides[4], mean = 0;
  for (int i = 0; i < 4; ++i) mean += (sides[i] = distance(rect.corner[i], rect.corner[(i + 1) % 4])) / 4;
  if (!std::all_of(sides, sides + 4, [&](double s) { return std::fabs(s - mean) <= kSameSide; })) return;
  Point2 centre;
  for (const Point2& p : rect.corner) centre += qvLinear::Vector2(p[0] / 4, p[1] / 4);
  const double h = mean / 2, x = centre[0], y = centre[1];
  rect = {{{x - h, y - h}, {x + h, y - h}, {x + h, y + h}, {x - h, y + h}}};
}

void grow(Rect2& rect, double margin) {
  if (margin == 0 || !(std::fabs(margin) <= kLargestMargin)) return;
  const qvLinear::Vector2 offsets[4] = {
      {-margin, -margin}, {margin, -margin}, {margin, margin}, {-margin, margin}};
  // Without a first side there is no side at all, and so no direction but the axes.
  qvLinear::AffineMatrix2 frame;
  if (!equivalent(rect.corner[0], rect.corner[1], qvLinear::epsilonTol))
    frame.setFrame(rect.corner[0], rect.corner[1] - rect.corner[0]);
  const qvLinear::AffineMatrix2 intoFrame = frame.inverse(nullptr);
  for (int i = 0; i < 4; ++i) rect.corner[i] = frame.apply(intoFrame.apply(rect.corner[i]) + offsets[i]);
}

template <typename Line>
void boundLines(const qv::vector<const Line*>& lines, double margin, Rect2& rect, float& ratio) {
  Hull hull;
  ratio = 0;
  if (!convexHull2d(lines, hull) || hull.empty()) return;
  const Point2 first(hull.front()[0], hull.front()[1]), last(hull.back()[0], hull.back()[1]);
  if (hull.size() == 1) {
    rect = {{first, first, first, first}};
    ratio = 1;
  } else if (hull.size() == 2) {
    rect = {{first, last, first, last}};
    ratio = kNoArea;
  } else {
    rect = smallestRectangle(hull, ratio);
  }
  alignIfSquare(rect);
  grow(rect, margin);
}

}  // namespace

void minAreaBound(const qv::vector<const Polyline*>& lines, double margin, Rect2& rect, float& ratio) {
  boundLines(lines, margin, rect, ratio);
}
void minAreaBound(const qv::vector<const Polyline2d*>& lines, double margin, Rect2& rect, float& ratio) {
  boundLines(lines, margin, rect, ratio);
}

}  // namespace qvGeom
