#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/ranges.h"
#include "geom/model/keel/vectors.h"

namespace qvGeom {

/// Chain of straight edges in N dimensions. Each vertex carries a parameter value of the caller's, which the
/// chain only stores. A closed chain repeats its first vertex at the end.
template <int N>
class BasicPolyline {
 public:
  using PointType = qvLinear::BasicPoint<double, N>;
  using RangeType = qvLinear::BasicRange<N>;

  BasicPolyline() = default;

  int getNumVertices() const { return static_cast<int>(points_.size()); }
  const PointType& getVertex(int i) const { return points_[static_cast<std::size_t>(i)]; }
  double getParameter(int i) const { return parameters_[static_cast<std::size_t>(i)]; }

  void append(const PointType& p, double parameter) {
    points_.push_back(p);
    parameters_.push_back(parameter);
    box_.unite(p);
  }
  void clear() { *this = BasicPolyline(); }

  bool isClosed() const { return closed_; }
  void setClosed(bool closed) { closed_ = closed; }
  /// Whether the chain is an outline: at least four vertices, of which the first and the last lie within
  /// `tol` of each other.
  bool isOutline(double tol) const;

  /// Box of all vertices; empty without vertices.
  const RangeType& getBoundingBox() const { return box_; }
  /// The point at an edge number plus a fraction along that edge; values outside [0, vertices - 1], and NaN,
  /// go to the nearer end, NaN to the first. The origin without vertices.
  PointType eval(double t) const;

 private:
  qv::vector<PointType> points_;
  qv::vector<double> parameters_;
  RangeType box_;
  bool closed_ = false;
};

extern template class QVGEOM_API BasicPolyline<2>;
extern template class QVGEOM_API BasicPolyline<3>;

using Polyline = BasicPolyline<3>;
using Polyline2d = BasicPolyline<2>;

}  // namespace qvGeom
