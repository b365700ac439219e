#pragma once

#include <cmath>
#include <limits>
#include <type_traits>

#include "geom/model/keel/export.h"
#include "geom/model/keel/tolerances.h"

namespace qvLinear {

/// N components without gaps; read and written by index, never by name, because `x`, `y` and `z` name the
/// axes.
template <typename T, int N>
struct BasicTuple {
  T c[N] = {};

  constexpr T& operator[](int i) { return c[i]; }
  constexpr const T& operator[](int i) const { return c[i]; }
  constexpr T* data() { return c; }
  constexpr const T* data() const { return c; }
};

/// Displacement. Arithmetic is component by component as written, with no reordering, so that
/// cross(v, u) is exactly -cross(u, v) and length2 does not depend on the direction's sign.
template <typename T, int N>
struct BasicVector : BasicTuple<T, N> {
  using Tuple = BasicTuple<T, N>;

  constexpr BasicVector() = default;
  constexpr BasicVector(T x0, T y0) requires(N == 2) : Tuple{{x0, y0}} {}
  constexpr BasicVector(T x0, T y0, T z0) requires(N == 3) : Tuple{{x0, y0, z0}} {}
  template <typename U>
  explicit constexpr BasicVector(const BasicVector<U, N>& v) {
    for (int i = 0; i < N; ++i) this->c[i] = static_cast<T>(v[i]);
  }

  /// Unit vectors along the axes.
  static const BasicVector x, y, z;

  constexpr void reverse() {
    for (T& e : this->c) e = -e;
  }
  /// Scales to unit length. @return false, with nothing changed, for a zero or non-finite vector
  bool normalize();
  /// A unit vector perpendicular to this one; the same for the same input, finite for every input.
  BasicVector orthogonalVector() const requires(N == 3);

  constexpr BasicVector& operator+=(const BasicVector& v) {
    for (int i = 0; i < N; ++i) this->c[i] += v[i];
    return *this;
  }
  constexpr BasicVector& operator-=(const BasicVector& v) {
    for (int i = 0; i < N; ++i) this->c[i] -= v[i];
    return *this;
  }
  constexpr BasicVector& operator*=(T s) {
    for (T& e : this->c) e *= s;
    return *this;
  }

  // Friends rather than templates of their own: a Normal then takes part as the vector that it is.
  friend constexpr BasicVector operator+(BasicVector a, const BasicVector& b) { return a += b; }
  friend constexpr BasicVector operator-(BasicVector a, const BasicVector& b) { return a -= b; }
  friend constexpr BasicVector operator-(BasicVector a) {
    a.reverse();
    return a;
  }
  friend constexpr BasicVector operator*(BasicVector a, T s) { return a *= s; }
  friend constexpr BasicVector operator*(T s, BasicVector a) { return a *= s; }
  friend constexpr bool operator==(const BasicVector& a, const BasicVector& b) {
    for (int i = 0; i < N; ++i)
      if (a[i] != b[i]) return false;
    return true;
  }
  friend constexpr T dot(const BasicVector& a, const BasicVector& b) {
    T sum = a[0] * b[0];
    for (int i = 1; i < N; ++i) sum += a[i] * b[i];
    return sum;
  }
  friend constexpr BasicVector cross(const BasicVector& a, const BasicVector& b) requires(N == 3) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
  }
  friend constexpr T length2(const BasicVector& a) { return dot(a, a); }
  friend T length(const BasicVector& a) { return std::sqrt(dot(a, a)); }
};

template <typename T, int N>
constexpr BasicVector<T, N> axisVector(int axis) {
  BasicVector<T, N> v;
  if (axis < N) v[axis] = 1;
  return v;
}
template <typename T, int N>
constexpr BasicVector<T, N> BasicVector<T, N>::x = axisVector<T, N>(0);
template <typename T, int N>
constexpr BasicVector<T, N> BasicVector<T, N>::y = axisVector<T, N>(1);
template <typename T, int N>
constexpr BasicVector<T, N> BasicVector<T, N>::z = axisVector<T, N>(2);

/// Position.
template <typename T, int N>
struct BasicPoint : BasicTuple<T, N> {
  using Tuple = BasicTuple<T, N>;
  using Vec = BasicVector<T, N>;

  constexpr BasicPoint() = default;
  constexpr BasicPoint(T x, T y) requires(N == 2) : Tuple{{x, y}} {}
  constexpr BasicPoint(T x, T y, T z) requires(N == 3) : Tuple{{x, y, z}} {}
  template <typename U>
  explicit constexpr BasicPoint(const BasicPoint<U, N>& p) {
    for (int i = 0; i < N; ++i) this->c[i] = static_cast<T>(p[i]);
  }

  constexpr BasicPoint& operator+=(const Vec& v) {
    for (int i = 0; i < N; ++i) this->c[i] += v[i];
    return *this;
  }

  friend constexpr BasicPoint operator+(BasicPoint p, const Vec& v) { return p += v; }
  friend constexpr BasicPoint operator-(BasicPoint p, const Vec& v) {
    for (int i = 0; i < N; ++i) p[i] -= v[i];
    return p;
  }
  friend constexpr Vec operator-(const BasicPoint& a, const BasicPoint& b) {
    Vec v;
    for (int i = 0; i < N; ++i) v[i] = a[i] - b[i];
    return v;
  }
  friend constexpr bool operator==(const BasicPoint& a, const BasicPoint& b) {
    for (int i = 0; i < N; ++i)
      if (a[i] != b[i]) return false;
    return true;
  }
  friend constexpr T distance2(const BasicPoint& a, const BasicPoint& b) { return length2(a - b); }
  friend T distance(const BasicPoint& a, const BasicPoint& b) { return length(a - b); }
};

using Point = BasicPoint<double, 3>;
using PointFlt = BasicPoint<float, 3>;
using Point2 = BasicPoint<double, 2>;
using Point2Flt = BasicPoint<float, 2>;
using Vector = BasicVector<double, 3>;
using VectorFlt = BasicVector<float, 3>;
using Vector2 = BasicVector<double, 2>;

static_assert(sizeof(Point) == 24 && sizeof(PointFlt) == 12 && sizeof(Vector2) == 16);

/// Homogeneous point: x, y, z, w.
struct HPoint : BasicTuple<double, 4> {
  constexpr HPoint() = default;
  constexpr HPoint(double x, double y, double z, double w) : BasicTuple{{x, y, z, w}} {}
};

/// Direction of unit length, or zero where there is none to be had. Callers that need a direction in any case
/// choose their own.
class Normal : public Vector {
 public:
  constexpr Normal() = default;
  /// Normalises; a zero or non-finite vector gives the zero normal.
  explicit Normal(const Vector& v) : Vector(v) {
    if (!normalize()) *static_cast<Vector*>(this) = Vector();
  }
  Normal(double x0, double y0, double z0) : Normal(Vector(x0, y0, z0)) {}

  constexpr const double& operator[](int i) const { return c[i]; }
};

template <typename T, int N>
bool BasicVector<T, N>::normalize() {
  // The largest component is divided out where squares would leave the range.
  T l2 = dot(*this, *this);
  if (!(l2 > std::numeric_limits<T>::min() && l2 < std::numeric_limits<T>::max())) {
    T largest = 0;
    for (const T e : this->c) {
      if (!std::isfinite(e)) return false;
      largest = std::fmax(largest, std::fabs(e));
    }
    if (largest == 0) return false;
    for (T& e : this->c) e /= largest;
    l2 = dot(*this, *this);
  }
  const T l = std::sqrt(l2);
  for (T& e : this->c) e /= l;
  return true;
}

template <typename T, int N>
BasicVector<T, N> BasicVector<T, N>::orthogonalVector() const requires(N == 3) {
  // Crossed with the axis of the smallest component: the product is then never short.
  int axis = 0;
  for (int i = 1; i < N; ++i)
    if (std::fabs(this->c[i]) < std::fabs(this->c[axis])) axis = i;
  BasicVector unit = *this;
  if (!unit.normalize()) return BasicVector::x;
  BasicVector result = cross(unit, axisVector<T, N>(axis));
  return result.normalize() ? result : BasicVector::x;
}

/// Angle between two vectors in radians, [0, pi]; 0 for a zero or non-finite one, never NaN. Swapping the
/// arguments gives the same bits.
QVGEOM_API double angle(const Vector& u, const Vector& v);

/// Whether two points or vectors lie within `tol` of each other, inclusive; false for NaN.
inline bool equivalent(const Point& a, const Point& b, double tol) { return distance(a, b) <= tol; }
inline bool equivalent(const Point2& a, const Point2& b, double tol) { return distance(a, b) <= tol; }
inline bool equivalent(const Vector2& a, const Vector2& b, double tol) { return length(a - b) <= tol; }
/// Whether every component differs by at most `tol`; false for NaN.
inline bool equivalent(const Normal& a, const Normal& b, double tol) {
  return std::fabs(a[0] - b[0]) <= tol && std::fabs(a[1] - b[1]) <= tol && std::fabs(a[2] - b[2]) <= tol;
}

/// Lexicographic order by x, y, z.
constexpr bool PointLess(const Point& a, const Point& b) {
  for (int i = 0; i < 3; ++i)
    if (a[i] != b[i]) return a[i] < b[i];
  return false;
}

/// Midpoint.
constexpr Point combine(const Point& a, const Point& b) {
  return {0.5 * (a[0] + b[0]), 0.5 * (a[1] + b[1]), 0.5 * (a[2] + b[2])};
}
/// Weighted sum of three normals; not normalised.
inline Vector combine(const Normal& a, const Normal& b, const Normal& c, double wa, double wb, double wc) {
  return wa * a + wb * b + wc * c;
}

/// The component of `v` along the unit vector `unit`, as a vector.
constexpr Vector project(const Vector& v, const Vector& unit) { return dot(v, unit) * unit; }

/// Whether two directions are parallel in either sense: sine of the angle at most `tol`. True if one is zero.
constexpr bool isParallel(const Vector& u, const Vector& v, double tol) {
  return length2(cross(u, v)) <= tol * tol * length2(u) * length2(v);
}

/// `v` turned by `radians` about the unit vector `axis`, counter-clockwise seen against the axis.
QVGEOM_API Vector rotate(const Vector& v, const Vector& axis, double radians);

}  // namespace qvLinear
