#include "geom/model/trellis/bounding_box.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "geom/model/keel/values.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::VectorFlt;

BoundingBox::BoundingBox(double const* minMax) {
  for (int i = 0; i < 3; ++i) {
    min[i] = static_cast<float>(minMax[i]);
    max[i] = static_cast<float>(minMax[3 + i]);
  }
}

BoundingBox::BoundingBox(float const* center, float halfSize) {
  for (int i = 0; i < 3; ++i) {
    min[i] = center[i] - halfSize;
    max[i] = center[i] + halfSize;
  }
}

void BoundingBox::zero() {
  for (int i = 0; i < 3; ++i) min[i] = max[i] = 0;
}

void BoundingBox::extend(float margin) {
  if (!isValid()) return;
  for (int i = 0; i < 3; ++i) {
    min[i] -= margin;
    max[i] += margin;
  }
}

void BoundingBox::extendToCube() {
  if (!isValid()) return;
  const VectorFlt half = halfDiagonal();
  const PointFlt mid = center();
  const float longest = std::max({half[0], half[1], half[2]});
  for (int i = 0; i < 3; ++i) {
    // The union with the old bounds: rounding about the centre must not cut anything off.
    min[i] = std::min(min[i], mid[i] - longest);
    max[i] = std::max(max[i], mid[i] + longest);
  }
}

PointFlt BoundingBox::center() const {
  if (!isValid()) return {};
  // Halved before adding: the sum of two large floats may not be one.
  return {0.5f * min[0] + 0.5f * max[0], 0.5f * min[1] + 0.5f * max[1], 0.5f * min[2] + 0.5f * max[2]};
}

VectorFlt BoundingBox::halfDiagonal() const {
  if (!isValid()) return {};
  return {0.5f * max[0] - 0.5f * min[0], 0.5f * max[1] - 0.5f * min[1], 0.5f * max[2] - 0.5f * min[2]};
}

float BoundingBox::diagonalLength() const {
  const VectorFlt half = halfDiagonal();
  return static_cast<float>(2 * length(qvLinear::Vector(half)));
}

double BoundingBox::distance2(const PointFlt& p) const {
  if (!isValid()) return std::numeric_limits<double>::max();
  double sum = 0;
  for (int i = 0; i < 3; ++i) {
    const double below = double{min[i]} - double{p[i]};
    const double above = double{p[i]} - double{max[i]};
    const double d = std::max({below, above, 0.0});
    sum += d * d;
  }
  return sum;
}

double BoundingBox::distance(const PointFlt& p) const {
  return isValid() ? std::sqrt(distance2(p)) : std::numeric_limits<double>::max();
}

void BoundingBox::transform(const qvLinear::AffineMatrix& m) {
  if (!isValid()) return;
  BoundingBox result;
  for (int k = 0; k < 8; ++k) {
    float corner[3];
    getPoint(k, corner);
    Point p = m.apply(Point(corner[0], corner[1], corner[2]));
    for (int i = 0; i < 3; ++i) p[i] = qvUtil::withinFloats(p[i]);
    result.extend(PointFlt(p));
  }
  *this = result;
}

bool equivalent(const BoundingBox& a, const BoundingBox& b, float tol) {
  for (int i = 0; i < 3; ++i)
    if (!(std::fabs(a.min[i] - b.min[i]) <= tol && std::fabs(a.max[i] - b.max[i]) <= tol)) return false;
  return true;
}

}  // namespace qvGeom
