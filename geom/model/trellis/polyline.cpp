#include "geom/model/trellis/polyline.h"

namespace qvGeom {

template <int N>
bool BasicPolyline<N>::isOutline(double tol) const {
  return getNumVertices() >= 4 && equivalent(points_.front(), points_.back(), tol);
}

template <int N>
typename BasicPolyline<N>::PointType BasicPolyline<N>::eval(double t) const {
  if (points_.empty()) return {};
  const int last = getNumVertices() - 1;
  // Settled before the edge number is cut out of t, which may be NaN or past every int.
  if (!(t > 0)) return points_.front();
  if (t >= last) return points_.back();
  const int edge = static_cast<int>(t);
  const PointType& start = getVertex(edge);
  return start + (t - edge) * (getVertex(edge + 1) - start);
}

template class BasicPolyline<2>;
template class BasicPolyline<3>;

}  // namespace qvGeom
