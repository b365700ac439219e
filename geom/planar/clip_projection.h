#pragma once

#include "geom/model/keel/matrices.h"
#include "geom/model/keel/values.h"
#include "geom/model/keel/vectors.h"
#include "geom/planar/clip_space.h"

// How points come to clip space; the same everywhere, to the bit. Not part of the public surface.

namespace qvGeom::Clip {

/// Floats in, double products, floats out; values beyond the range of floats are held at its ends, so that
/// nothing finite becomes infinite.
class Projection {
 public:
  explicit Projection(const qvLinear::ProjMatrixFlt& m) {
    for (int i = 0; i < 16; ++i) m_[i] = static_cast<double>(m.m[i]);
  }

  /// Row 0, 1 or 2 gives x, y or z, row 3 gives w.
  float row(int r, float const* p) const {
    const double sum = m_[r] * static_cast<double>(p[0]) + m_[4 + r] * static_cast<double>(p[1]) +
                       m_[8 + r] * static_cast<double>(p[2]) + m_[12 + r];
    return static_cast<float>(qvUtil::withinFloats(sum));
  }
  Vertex apply(float const* p) const {
    Vertex v{row(0, p), row(1, p), row(2, p), row(3, p)};
    v.outcode = (v.x < -v.w ? BelowX : 0) | (v.x > v.w ? AboveX : 0) | (v.y < -v.w ? BelowY : 0) |
                (v.y > v.w ? AboveY : 0) |
                (v.z < -v.w  ? BelowZ
                 : v.z > v.w ? AboveZ
                             : 0);
    return v;
  }

 private:
  double m_[16];
};

inline qvLinear::HPoint pointOf(const Vertex& v) {
  return {static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z),
          static_cast<double>(v.w)};
}

}  // namespace qvGeom::Clip
