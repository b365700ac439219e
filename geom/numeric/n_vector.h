#pragma once

#include <iosfwd>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"

namespace qvGeom {

/// Dense vector of doubles with value semantics. Operations on vectors of different sizes run over the
/// elements that all of them have. Several threads may read one vector; changes are made by one thread, while
/// nobody reads.
class QVGEOM_API NVector {
 public:
  NVector() = default;
  /// n zeros; none for n < 1.
  explicit NVector(int n) : values_(n < 1 ? 0 : n) {}

  int size() const { return static_cast<int>(values_.size()); }
  double operator[](int i) const { return values_[i]; }
  double& operator[](int i) { return values_[i]; }
  const double* data() const { return values_.data(); }
  double* data() { return values_.data(); }

  /// Sum of the products, added up from the last element to the first: the order is part of the result.
  double dot(const NVector& o) const;
  /// Largest absolute value, 0 for an empty vector. A NaN is passed over.
  double infinityNorm() const;
  /// Sets every element to c[i] s + a[i]. The vectors may be one and the same.
  void setToVectorPlusScalarTimesVector(const NVector& a, double s, const NVector& c);

  /// "(1 2 )": each element in the stream's format and a blank behind it.
  friend QVGEOM_API std::ostream& operator<<(std::ostream& out, const NVector& v);

 private:
  qv::vector<double> values_;
};

}  // namespace qvGeom
