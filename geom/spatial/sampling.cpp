#include "geom/spatial/sampling.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "geom/model/keel/random.h"

namespace qvGeom {

using qvLinear::Vector;
using qvLinear::VectorFlt;

namespace {

constexpr float kTwoPi = 6.2831854820251465f;

template <typename T>
T periodic(const qv::vector<T>& table, unsigned i) {
  return table.empty() ? T() : table[i % table.size()];
}

float arcCosine(float x) { return std::acos(std::clamp(x, -1.0f, 1.0f)); }

}  // namespace

void HammersleyPermutation2::calculate(int k) {
  table_.clear();
  if (k < 0 || k > 15) return;
  const unsigned n = 1u << k;
  table_.resize(n);
  for (unsigned i = 0; i < n; ++i)
    for (int j = 0; j < k; ++j)
      if (i >> j & 1) table_[i] += static_cast<int>(n >> (j + 1));
}

int HammersleyPermutation2::operator[](int i) const { return periodic(table_, static_cast<unsigned>(i)); }

int HammersleyPermutation2::map2d(int x, int y) const {
  if (table_.empty()) return 0;
  const int n = static_cast<int>(table_.size());
  return (x & (n - 1)) * n + (*this)[y & (n - 1)];
}

int HammersleyPermutation2::mapPeriodic(int i, int p) const {
  if (p == 0) return 0;
  const long long index = i;  // the one quotient that does not fit an int
  return map2d(static_cast<int>(index % p), static_cast<int>(index / p));
}

void ScrambledHammersleySequence::calculate(int base, int count) {
  static constexpr int kDigits3[] = {0, 1, 2};
  static constexpr int kDigits5[] = {0, 3, 2, 1, 4};
  static constexpr int kDigits7[] = {0, 2, 5, 3, 1, 4, 6};
  values_.clear();
  int const* digits = base == 3 ? kDigits3 : base == 5 ? kDigits5 : base == 7 ? kDigits7 : nullptr;
  if (!digits || count <= 0) return;
  values_.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    double value = 0;
    double place = 1.0 / base;
    for (int rest = i; rest > 0; rest /= base, place /= base) value += digits[rest % base] * place;
    values_.push_back(static_cast<float>(value));
  }
}

float ScrambledHammersleySequence::operator[](int i) const {
  return periodic(values_, static_cast<unsigned>(i));
}

void randomUnitVector(Vector& v) {
  double size2;
  do {
    for (double& x : v.c) x = 2 * qvUtil::drand48() - 1;
    size2 = length2(v);
  } while (size2 >= 1 || size2 < 0.01);
  const double size = std::sqrt(size2);
  for (double& x : v.c) x /= size;
}

void computeHemisphereVectors(const Vector& normal, qv::vector<Vector>& vectors) {
  for (Vector& v : vectors) {
    randomUnitVector(v);
    if (dot(v, normal) < 0) v.reverse();
  }
}

void mapSphericalToUniformCartesian(float u, float v, VectorFlt& out) {
  const float theta = arcCosine(2 * v - 1);
  const float phi = kTwoPi * u;
  const float sine = std::sin(theta);
  out = VectorFlt(std::cos(phi) * sine, std::sin(phi) * sine, std::cos(theta));
}

void mapSphericalCapToUniformCartesian(float u, float v, float h, VectorFlt& out) {
  const float z = v * h;
  const float r = std::sqrt(std::max(z * (2 - z), 0.0f));
  const float phi = kTwoPi * u;
  out = VectorFlt(std::cos(phi) * r, std::sin(phi) * r, 1 - z);
}

void mapUniformCartesianToSpherical(const VectorFlt& w, float& u, float& v) {
  const float theta = arcCosine(w[2]);
  const float sine = std::sin(theta);
  u = 0;
  if (!(std::fabs(sine) < 0.001f)) {
    u = std::atan2(w[1] / sine, w[0] / sine) / kTwoPi;
    if (u < 0) u += 1;
  }
  v = (std::cos(theta) + 1) * 0.5f;
}

}  // namespace qvGeom
