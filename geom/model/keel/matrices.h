#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"

namespace qvLinear {

/// Affine map in row form: rows 0 to 2 are the images of the axes, row 3 the translation, and a point p goes
/// to p[0] row0 + p[1] row1 + p[2] row2 + row3. The identity by default.
template <typename T>
struct BasicAffineMatrix {
  using Vec = BasicVector<T, 3>;
  using Pt = BasicPoint<T, 3>;

  T m[4][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, 0}};

  constexpr BasicAffineMatrix() = default;
  template <typename U>
  explicit constexpr BasicAffineMatrix(const BasicAffineMatrix<U>& other) {
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 3; ++c) m[r][c] = static_cast<T>(other.m[r][c]);
  }

  static constexpr BasicAffineMatrix translation(const Vec& v) {
    BasicAffineMatrix a;
    for (int c = 0; c < 3; ++c) a.m[3][c] = v[c];
    return a;
  }
  static constexpr BasicAffineMatrix scale(T x, T y, T z) {
    BasicAffineMatrix a;
    a.m[0][0] = x;
    a.m[1][1] = y;
    a.m[2][2] = z;
    return a;
  }

  constexpr T* operator[](int row) { return m[row]; }
  constexpr const T* operator[](int row) const { return m[row]; }

  constexpr Pt apply(const Pt& p) const {
    Pt q;
    for (int c = 0; c < 3; ++c) q[c] = p[0] * m[0][c] + p[1] * m[1][c] + p[2] * m[2][c] + m[3][c];
    return q;
  }
  /// Without the translation.
  constexpr Vec apply(const Vec& v) const {
    Vec w;
    for (int c = 0; c < 3; ++c) w[c] = v[0] * m[0][c] + v[1] * m[1][c] + v[2] * m[2][c];
    return w;
  }
  constexpr bool isIdentity() const { return *this == BasicAffineMatrix(); }

  /// First a, then b.
  friend constexpr BasicAffineMatrix operator*(const BasicAffineMatrix& a, const BasicAffineMatrix& b) {
    BasicAffineMatrix r;
    for (int i = 0; i < 4; ++i)
      for (int c = 0; c < 3; ++c)
        r.m[i][c] = a.m[i][0] * b.m[0][c] + a.m[i][1] * b.m[1][c] + a.m[i][2] * b.m[2][c] +
                    (i == 3 ? b.m[3][c] : T{0});
    return r;
  }
  friend constexpr bool operator==(const BasicAffineMatrix& a, const BasicAffineMatrix& b) {
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 3; ++c)
        if (a.m[r][c] != b.m[r][c]) return false;
    return true;
  }
};

using AffineMatrixFlt = BasicAffineMatrix<float>;

/// The double-precision map, with the operations that need the precision.
struct QVGEOM_API AffineMatrix : BasicAffineMatrix<double> {
  constexpr AffineMatrix() = default;
  constexpr AffineMatrix(const BasicAffineMatrix<double>& other) : BasicAffineMatrix<double>(other) {}
  explicit constexpr AffineMatrix(const AffineMatrixFlt& other) : BasicAffineMatrix<double>(other) {}

  double determinant() const;
  /// Inverse map; the identity, with `*ok` false, when there is none. `ok` may be null.
  AffineMatrix inverse(bool* ok) const;
  /// The map for normals: the inverse transpose of the linear part up to a positive factor, without
  /// translation. Made of cofactors divided by the largest of them, so it is finite for singular maps and its
  /// size does not depend on the scale of this one. A linear part without cofactors, or not finite, gives the
  /// identity.
  AffineMatrix normalMatrix() const;
  /// The shortest turn that takes direction `from` to direction `to`; for opposite directions half a turn
  /// about some perpendicular axis; the identity when either has no direction.
  static AffineMatrix rotate(const Vector& from, const Vector& to);
};

/// Whether every entry differs by at most `tol`; false for NaN.
QVGEOM_API bool equivalent(const AffineMatrixFlt& a, const AffineMatrixFlt& b, float tol);

/// Affine map of the plane in row form: (x, y) goes to x row0 + y row1 + row2. The identity by default.
struct QVGEOM_API AffineMatrix2 {
  double m[3][2] = {{1, 0}, {0, 1}, {0, 0}};

  /// Makes this the map from the coordinates of a frame to the plane: the frame's origin and its unit x axis;
  /// the y axis is the x axis turned by a right angle counter-clockwise. A zero direction counts as (1, 0).
  void setFrame(const Point2& origin, const Vector2& xAxis);
  /// Inverse map; the identity, with `*ok` false, when there is none. `ok` may be null.
  AffineMatrix2 inverse(bool* ok) const;
  constexpr Point2 apply(const Point2& p) const {
    return {p[0] * m[0][0] + p[1] * m[1][0] + m[2][0], p[0] * m[0][1] + p[1] * m[1][1] + m[2][1]};
  }
};

/// Projective map of space, sixteen numbers in column order: entry (row r, column c) is m[4 c + r], and a
/// point goes to the product with the column (x, y, z, 1). The identity by default.
template <typename T>
struct BasicProjMatrix {
  T m[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

  constexpr HPoint apply(const Point& p) const {
    HPoint h;
    for (int r = 0; r < 4; ++r) h[r] = m[r] * p[0] + m[4 + r] * p[1] + m[8 + r] * p[2] + m[12 + r];
    return h;
  }
};

using ProjMatrix = BasicProjMatrix<double>;
using ProjMatrixFlt = BasicProjMatrix<float>;

}  // namespace qvLinear
