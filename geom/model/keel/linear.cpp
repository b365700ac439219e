#include <algorithm>
#include <cmath>

#include "geom/model/keel/lines.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/ranges.h"
#include "geom/model/keel/vectors.h"

namespace qvLinear {

namespace {

bool isFinite(const Vector& v) { return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]); }
bool isFinite(const Point& p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

}  // namespace

double angle(const Vector& u, const Vector& v) {
  // The length of the cross product squares products of components: it drops to 0 long before the dot product
  // does, and every angle would be 0 or pi.
  constexpr double kLargest = 1e200;
  const double size2 = length2(u) * length2(v);
  if (size2 > 1 / kLargest && size2 < kLargest) return std::atan2(length(cross(u, v)), dot(u, v));
  Vector a = u;
  Vector b = v;
  if (!a.normalize() || !b.normalize()) return 0;
  return std::atan2(length(cross(a, b)), dot(a, b));
}

Vector rotate(const Vector& v, const Vector& axis, double radians) {
  const double c = std::cos(radians);
  const double s = std::sin(radians);
  return c * v + s * cross(axis, v) + ((1 - c) * dot(axis, v)) * axis;
}

bool Plane::isValid() const {
  return isFinite(point) && isFinite(normal) && std::isfinite(d) && length2(normal) > 0;
}

Point intersect(const Line& line, const Plane& plane, bool& ok, double tol) {
  const double along = dot(plane.normal, line.direction);
  ok = along * along > tol * length2(line.direction);
  if (!ok) return line.origin;
  const Point p = line.eval(-plane.eval(line.origin) / along);
  ok = isFinite(p);
  return ok ? p : line.origin;
}

Line intersect(const Plane& a, const Plane& b, bool& ok) {
  Vector direction = cross(a.normal, b.normal);
  ok = length2(direction) > parallelTol * parallelTol && direction.normalize();
  if (!ok) return {a.point, Vector()};
  // From a's point, within a, straight towards b.
  const Vector inA = cross(direction, a.normal);
  const double slope = dot(b.normal, inA);
  const Point origin = a.point - (b.eval(a.point) / slope) * inA;
  ok = isFinite(origin);
  return {ok ? origin : a.point, direction};
}

namespace {

double cross2(const Vector2& a, const Vector2& b) { return a[0] * b[1] - a[1] * b[0]; }

// Parameter of the point of segment a0 a1 nearest to p.
double nearestParam(const Point2& p, const Point2& a0, const Vector2& d) {
  const double dd = length2(d);
  return dd > 0 ? std::clamp(dot(p - a0, d) / dd, 0.0, 1.0) : 0.0;
}

}  // namespace

bool doLineSegmentsIntersect(const Point2& a0, const Point2& a1, const Point2& b0, const Point2& b1,
                             double tol, double& t, Point2& point, bool& single) {
  const Vector2 da = a1 - a0;
  const Vector2 db = b1 - b0;
  const auto report = [&](double param, bool one) {
    t = std::clamp(param, 0.0, 1.0);
    point = a0 + t * da;
    single = one;
    return true;
  };

  // Which ends lie within the tolerance of the other segment.
  const double tB0 = nearestParam(b0, a0, da);
  const double tB1 = nearestParam(b1, a0, da);
  const bool b0On = equivalent(b0, a0 + tB0 * da, tol);
  const bool b1On = equivalent(b1, a0 + tB1 * da, tol);
  const bool a0On = equivalent(a0, b0 + nearestParam(a0, b0, db) * db, tol);
  const bool a1On = equivalent(a1, b0 + nearestParam(a1, b0, db) * db, tol);
  if (b0On || b1On || a0On || a1On) {
    // Two touching ends that lie apart bound a common stretch.
    double first = 1;
    double last = 0;
    const auto include = [&](bool on, double param) {
      if (!on) return;
      first = std::min(first, param);
      last = std::max(last, param);
    };
    include(b0On, tB0);
    include(b1On, tB1);
    include(a0On, 0);
    include(a1On, 1);
    return report(first, (last - first) * length(da) <= 2 * tol);
  }
  const double det = cross2(da, db);
  if (det == 0) return false;
  const double ta = cross2(b0 - a0, db) / det;
  const double tb = cross2(b0 - a0, da) / det;
  // Written so that NaN fails.
  if (!(ta >= 0 && ta <= 1 && tb >= 0 && tb <= 1)) return false;
  return report(ta, true);
}

double AffineMatrix::determinant() const {
  return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
         m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
         m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

namespace {

// Signed minors of the linear part: entry (r, c) belongs to row r, column c.
void cofactors(const AffineMatrix& a, double (&k)[3][3]) {
  for (int r = 0; r < 3; ++r) {
    const double* p = a.m[(r + 1) % 3];
    const double* q = a.m[(r + 2) % 3];
    for (int c = 0; c < 3; ++c) k[r][c] = p[(c + 1) % 3] * q[(c + 2) % 3] - p[(c + 2) % 3] * q[(c + 1) % 3];
  }
}

double largestLinearEntry(const AffineMatrix& a) {
  double largest = 0;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) largest = std::fmax(largest, std::fabs(a.m[r][c]));
  return largest;
}

// A copy whose largest linear entry is 1, so that products of three entries stay in range.
AffineMatrix scaledLinearPart(const AffineMatrix& a, double largest) {
  AffineMatrix s;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) s.m[r][c] = a.m[r][c] / largest;
  return s;
}

// Determinant of the linear part, or 0 where rounding drowns it. The six products that it sums are the
// measure: unlike a fixed bound, they follow every scaling of rows and columns, so that a map that stretches
// one axis a million times is still told from a flat one.
double reliableDeterminant(const AffineMatrix& a) {
  constexpr double kRounding = 1e-15;
  double products = 0;
  for (int c = 0; c < 3; ++c) {
    const int d = (c + 1) % 3;
    const int e = (c + 2) % 3;
    products += std::fabs(a.m[0][c]) * (std::fabs(a.m[1][d] * a.m[2][e]) + std::fabs(a.m[1][e] * a.m[2][d]));
  }
  const double det = a.determinant();
  return std::fabs(det) > kRounding * products ? det : 0;
}

bool allFinite(const AffineMatrix& a) {
  for (const auto& row : a.m)
    for (const double e : row)
      if (!std::isfinite(e)) return false;
  return true;
}

}  // namespace

AffineMatrix AffineMatrix::inverse(bool* ok) const {
  const auto fail = [&] {
    if (ok) *ok = false;
    return AffineMatrix();
  };
  const double largest = largestLinearEntry(*this);
  if (!(largest > 0) || !std::isfinite(largest)) return fail();
  const AffineMatrix s = scaledLinearPart(*this, largest);
  const double det = reliableDeterminant(s);
  if (det == 0) return fail();
  double k[3][3];
  cofactors(s, k);
  AffineMatrix inv;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) inv.m[r][c] = k[c][r] / det / largest;
  const Vector t = inv.apply(Vector(m[3][0], m[3][1], m[3][2]));
  for (int c = 0; c < 3; ++c) inv.m[3][c] = -t[c];
  if (!allFinite(inv)) return fail();
  if (ok) *ok = true;
  return inv;
}

AffineMatrix AffineMatrix::normalMatrix() const {
  const double largestEntry = largestLinearEntry(*this);
  if (!(largestEntry > 0) || !std::isfinite(largestEntry)) return {};
  const AffineMatrix s = scaledLinearPart(*this, largestEntry);
  double k[3][3];
  cofactors(s, k);
  AffineMatrix n;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) n.m[r][c] = k[r][c];
  const double largest = largestLinearEntry(n);
  if (!(largest > 0) || !std::isfinite(largest)) return {};
  // A mirroring map turns the cofactors round; the sign brings them back. A flat one has no sign of its own.
  const double factor = reliableDeterminant(s) < 0 ? -largest : largest;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) n.m[r][c] /= factor;
  return allFinite(n) ? n : AffineMatrix();
}

AffineMatrix AffineMatrix::rotate(const Vector& from, const Vector& to) {
  Vector a = from;
  Vector b = to;
  if (!a.normalize() || !b.normalize()) return {};
  // Below this sine (squared) the cross product is nothing but rounding, and so is the mistake of taking the
  // directions for equal or opposite.
  constexpr double kNoAxis2 = 1e-30;
  Vector axis = cross(a, b);
  // Between nearly opposite directions rounding tilts the axis, and half a turn about a tilted axis misses
  // `b` by twice the tilt.
  axis -= dot(axis, a) * a;
  if (!(length2(axis) > kNoAxis2)) {
    if (dot(a, b) > 0) return {};
    axis = a.orthogonalVector();
  }
  axis.normalize();
  const double turn = angle(a, b);
  AffineMatrix r;
  for (int i = 0; i < 3; ++i) {
    const Vector image = qvLinear::rotate(axisVector<double, 3>(i), axis, turn);
    for (int c = 0; c < 3; ++c) r.m[i][c] = image[c];
  }
  return r;
}

bool equivalent(const AffineMatrixFlt& a, const AffineMatrixFlt& b, float tol) {
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 3; ++c)
      if (!(std::fabs(a.m[r][c] - b.m[r][c]) <= tol)) return false;
  return true;
}

void AffineMatrix2::setFrame(const Point2& origin, const Vector2& xAxis) {
  Vector2 x = xAxis;
  if (!x.normalize()) x = Vector2::x;
  m[0][0] = x[0];
  m[0][1] = x[1];
  m[1][0] = -x[1];
  m[1][1] = x[0];
  m[2][0] = origin[0];
  m[2][1] = origin[1];
}

AffineMatrix2 AffineMatrix2::inverse(bool* ok) const {
  const double det = m[0][0] * m[1][1] - m[0][1] * m[1][0];
  AffineMatrix2 inv;
  inv.m[0][0] = m[1][1] / det;
  inv.m[0][1] = -m[0][1] / det;
  inv.m[1][0] = -m[1][0] / det;
  inv.m[1][1] = m[0][0] / det;
  inv.m[2][0] = -(m[2][0] * inv.m[0][0] + m[2][1] * inv.m[1][0]);
  inv.m[2][1] = -(m[2][0] * inv.m[0][1] + m[2][1] * inv.m[1][1]);
  bool good = det != 0;
  for (const auto& row : inv.m)
    for (const double e : row) good = good && std::isfinite(e);
  if (ok) *ok = good;
  return good ? inv : AffineMatrix2();
}

}  // namespace qvLinear
