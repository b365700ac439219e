#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/vectors.h"

namespace qvGeom {

/// Axis-aligned box: six floats, minimum x, y, z, then maximum x, y, z.
///
/// The empty box has minimum +kEmpty and maximum -kEmpty on every axis; extending by it changes nothing, and
/// it is contained in nothing and meets nothing. Coordinates that compare unordered change nothing either.
class QVGEOM_API BoundingBox {
 public:
  static constexpr float kEmpty = 3.4028235e38f;

  float min[3] = {kEmpty, kEmpty, kEmpty};
  float max[3] = {-kEmpty, -kEmpty, -kEmpty};

  constexpr BoundingBox() = default;
  /// From six numbers: minimum, then maximum.
  explicit BoundingBox(double const* minMax);
  /// The box of the given half size around a point.
  BoundingBox(float const* center, float halfSize);

  void setInvalid() { *this = BoundingBox(); }
  bool isValid() const { return min[0] <= max[0] && min[1] <= max[1] && min[2] <= max[2]; }
  /// Makes this the single point at the origin.
  void zero();

  void extend(float const* p) {
    for (int i = 0; i < 3; ++i) {
      if (p[i] < min[i]) min[i] = p[i];
      if (p[i] > max[i]) max[i] = p[i];
    }
  }
  void extend(const qvLinear::PointFlt& p) { extend(p.data()); }
  void extend(const BoundingBox& box) {
    for (int i = 0; i < 3; ++i) {
      if (box.min[i] < min[i]) min[i] = box.min[i];
      if (box.max[i] > max[i]) max[i] = box.max[i];
    }
  }
  /// Grows by a margin on all sides. An empty box stays empty.
  void extend(float margin);
  /// Grows the shorter sides about the centre until all are as long as the longest.
  void extendToCube();

  /// The six floats.
  float const* data() const { return reinterpret_cast<float const*>(this); }
  qvLinear::PointFlt minPt() const { return {min[0], min[1], min[2]}; }
  qvLinear::PointFlt maxPt() const { return {max[0], max[1], max[2]}; }
  /// Centre and half diagonal, (0, 0, 0) for an empty box.
  qvLinear::PointFlt center() const;
  qvLinear::VectorFlt halfDiagonal() const;
  float diagonalLength() const;
  /// Corner k: the maximum of x where bit 0 of k is set, of y for bit 1, of z for bit 2.
  void getPoint(int k, float* p) const {
    for (int i = 0; i < 3; ++i) p[i] = (k >> i & 1) ? max[i] : min[i];
  }

  /// Distance from a point to the closed box, 0 inside. Computed and returned in double: it bounds searches
  /// from below, where rounding up would skip the answer. An empty box gives the largest double.
  double distance(const qvLinear::PointFlt& p) const;
  double distance2(const qvLinear::PointFlt& p) const;

  /// Closed: touching counts. False when either box is empty.
  bool contains(const BoundingBox& box) const {
    return box.isValid() && min[0] <= box.min[0] && min[1] <= box.min[1] && min[2] <= box.min[2] &&
           max[0] >= box.max[0] && max[1] >= box.max[1] && max[2] >= box.max[2];
  }
  bool intersects(const BoundingBox& box) const {
    return intersects2D(box) && min[2] <= box.max[2] && max[2] >= box.min[2] && min[2] <= max[2] &&
           box.min[2] <= box.max[2];
  }
  /// In x and y alone.
  bool intersects2D(const BoundingBox& box) const {
    return min[0] <= box.max[0] && max[0] >= box.min[0] && min[1] <= box.max[1] && max[1] >= box.min[1] &&
           min[0] <= max[0] && min[1] <= max[1] && box.min[0] <= box.max[0] && box.min[1] <= box.max[1];
  }

  /// Replaces this box by the box of its eight transformed corners, computed in double. Coordinates that no
  /// float can hold become the largest of their sign. Empty stays empty.
  void transform(const qvLinear::AffineMatrix& m);
  void transform(const qvLinear::AffineMatrixFlt& m) { transform(qvLinear::AffineMatrix(m)); }
};

static_assert(sizeof(BoundingBox) == 6 * sizeof(float));

/// Whether all six numbers differ by at most `tol`.
QVGEOM_API bool equivalent(const BoundingBox& a, const BoundingBox& b, float tol);

}  // namespace qvGeom
