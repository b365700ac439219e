#include "geom/numeric/n_vector.h"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace qvGeom {

double NVector::dot(const NVector& o) const {
  double sum = 0;
  for (int i = std::min(size(), o.size()) - 1; i >= 0; --i) sum += values_[i] * o.values_[i];
  return sum;
}

double NVector::infinityNorm() const {
  double largest = 0;
  for (const double value : values_) largest = std::fmax(largest, std::fabs(value));
  return largest;
}

void NVector::setToVectorPlusScalarTimesVector(const NVector& a, double s, const NVector& c) {
  for (int i = std::min({size(), a.size(), c.size()}) - 1; i >= 0; --i)
    values_[i] = c.values_[i] * s + a.values_[i];
}

std::ostream& operator<<(std::ostream& out, const NVector& v) {
  out << '(';
  for (const double value : v.values_) out << value << ' ';
  return out << ')';
}

}  // namespace qvGeom
