#include "geom/spatial/ray.h"

#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>

#include "geom/model/keel/tolerances.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;

namespace {

constexpr double kParallel = 1e-6;

// Read by every test, without a lock: it is set before tracing starts. Atomic only so that a host that breaks
// the rule gets the old or the new value.
std::atomic<double> backfaceCullDistance{1e-6};

// An exact sum of doubles, kept as parts that do not overlap, smallest first.
// After J. R. Shewchuk, Adaptive precision floating-point arithmetic and fast robust geometric predicates
// (1997).
class ExactSum {
 public:
  void add(double x) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < size_; ++i) {
      const double sum = x + parts_[i];
      const double virtualPart = sum - x;
      const double rest = (x - (sum - virtualPart)) + (parts_[i] - virtualPart);
      x = sum;
      if (rest != 0) parts_[kept++] = rest;
    }
    if (x != 0) parts_[kept++] = x;
    size_ = kept;
  }
  void addProduct(double a, double b) {
    const double product = a * b;
    add(std::fma(a, b, -product));
    add(product);
  }
  int sign() const { return size_ == 0 ? 0 : parts_[size_ - 1] > 0 ? 1 : -1; }

 private:
  // Three components of four products of two parts each, times a direction: 3 * 2 * 4 * 2 * 2 terms at most.
  std::array<double, 100> parts_;
  std::size_t size_ = 0;
};

// a - b as the sum of two doubles: floats far apart in size need both.
struct Difference {
  double high;
  double low;

  Difference(float a, float b) {
    const double x = static_cast<double>(a);
    const double y = static_cast<double>(b);
    high = x - y;
    const double virtualY = x - high;
    low = (x - (high + virtualY)) + (virtualY - y);
  }
};

// Sign of dir . ((p - o) x (q - o)), without rounding: on which side of the edge p q the ray passes. Swapping
// p and q changes the sign and nothing else, which is why the triangles on both sides of an edge agree.
// Floats leave room for products of three in the range of doubles, once the direction has been scaled.
int sideOfEdge(const Vector& dir, float const* o, float const* p, float const* q) {
  ExactSum sum;
  const auto addTerm = [&](double d, const Difference& a, const Difference& b) {
    for (const double x : {a.high, a.low}) {
      if (x == 0) continue;
      for (const double y : {b.high, b.low}) {
        const double product = x * y;
        sum.addProduct(d, product);
        sum.addProduct(d, std::fma(x, y, -product));
      }
    }
  };
  for (int k = 0; k < 3; ++k) {
    const int a = (k + 1) % 3;
    const int b = (k + 2) % 3;
    addTerm(dir[k], Difference(p[a], o[a]), Difference(q[b], o[b]));
    addTerm(-dir[k], Difference(p[b], o[b]), Difference(q[a], o[a]));
  }
  return sum.sign();
}

Vector between(float const* a, float const* b) {
  return {static_cast<double>(b[0]) - static_cast<double>(a[0]),
          static_cast<double>(b[1]) - static_cast<double>(a[1]),
          static_cast<double>(b[2]) - static_cast<double>(a[2])};
}

double sumOfSizes(const Vector& v) { return std::fabs(v[0]) + std::fabs(v[1]) + std::fabs(v[2]); }

// A power of two that brings the largest component to about 1.
Vector scaled(const Vector& dir) {
  int exponent = 0;
  std::frexp(std::fmax(std::fabs(dir[0]), std::fmax(std::fabs(dir[1]), std::fabs(dir[2]))), &exponent);
  return {std::ldexp(dir[0], -exponent), std::ldexp(dir[1], -exponent), std::ldexp(dir[2], -exponent)};
}

enum class Side { none, front, back };

// The common part of both tests: which side of the triangle the line of the ray meets, and where.
Side meet(double const* direction, float const* orig, float const* p0, float const* p1, float const* p2,
          bool frontOnly, double& t, double& u, double& v) {
  const Vector dir(direction[0], direction[1], direction[2]);
  const Vector e1 = between(p0, p1);
  const Vector e2 = between(p0, p2);
  const Vector h = cross(dir, e2);
  const double det = dot(e1, h);
  if (frontOnly ? !(det >= kParallel) : !(det > kParallel || det < -kParallel)) return Side::none;
  const double sign = det > 0 ? 1 : -1;
  const double size = sign * det;
  if (!(size <= std::numeric_limits<double>::max())) return Side::none;  // it would leave no weights
  const Vector s = between(p0, orig);
  double su = sign * dot(s, h);
  const Vector q = cross(s, e1);
  double sv = sign * dot(dir, q);

  // Values so near to zero that rounding may have turned their sign are decided exactly.
  constexpr double kRounding = 16 * std::numeric_limits<double>::epsilon();
  const double size1 = sumOfSizes(e1);
  const double size2 = sumOfSizes(e2);
  const double doubt = kRounding * sumOfSizes(dir) * (sumOfSizes(s) + size1 + size2) * (size1 + size2);
  // Written so that NaN is rejected.
  if (!(su >= -doubt && sv >= -doubt && su + sv <= size + doubt)) return Side::none;
  if (su <= doubt || sv <= doubt || su + sv >= size - doubt) {
    const Vector d = scaled(dir);
    const int front = det > 0 ? 1 : -1;
    const int sideU = front * sideOfEdge(d, orig, p0, p2);
    const int sideV = front * sideOfEdge(d, orig, p1, p0);
    if (sideU < 0 || sideV < 0 || front * sideOfEdge(d, orig, p2, p1) < 0) return Side::none;
    if (sideU == 0 || su < 0) su = 0;
    if (sideV == 0 || sv < 0) sv = 0;
  }
  t = dot(e2, q) / det;
  u = su / size;
  v = sv / size;
  return det > 0 ? Side::front : Side::back;
}

}  // namespace

bool intersectRayTriangle(double const* dir, float const* orig, float const* p0, float const* p1,
                          float const* p2, double& t, double& u, double& v) {
  const Side side = meet(dir, orig, p0, p1, p2, false, t, u, v);
  if (side == Side::none) return false;
  return t >= backfaceCullDistance.load(std::memory_order_relaxed) || side == Side::front;
}

bool intersectRayTriangleCull(double const* dir, float const* orig, float const* p0, float const* p1,
                              float const* p2, double& t, double& u, double& v) {
  return meet(dir, orig, p0, p1, p2, true, t, u, v) == Side::front;
}

bool intersectRayTriangle(const Vector& dir, const PointFlt& orig, const PointFlt& p0, const PointFlt& p1,
                          const PointFlt& p2) {
  double t, u, v;
  return intersectRayTriangle(dir.data(), orig.data(), p0.data(), p1.data(), p2.data(), t, u, v) &&
         t > qvLinear::epsilonTol;
}

void setBackfaceCullDistance(double distance) {
  backfaceCullDistance.store(distance, std::memory_order_relaxed);
}

Ray::Ray(const PointFlt& origin, const Vector& dir) : origin_(&origin), direction_(&dir) {
  for (int k = 0; k < 3; ++k) {
    inverse_[k] = static_cast<float>(1 / dir[k]);
    const bool upwards = inverse_[k] >= 0;
    near_[k] = upwards ? k : k + 3;
    far_[k] = upwards ? k + 3 : k;
  }
}

bool Ray::intersects(const BoundingBox& box, float t0, float t1) const {
  float const* bounds = box.data();
  const PointFlt& o = *origin_;
  float tmin = -std::numeric_limits<float>::infinity();
  float tmax = std::numeric_limits<float>::infinity();
  for (int k = 0; k < 3; ++k) {
    // NaN stands for a ray that runs within the plane of a side. Touching counts, on both sides of a plane
    // that two boxes share; so NaN is no bound at all, and neither comparison takes it.
    const float near = (bounds[near_[k]] - o[k]) * inverse_[k];
    const float far = (bounds[far_[k]] - o[k]) * inverse_[k];
    if (near > tmax || tmin > far) return false;
    if (near > tmin) tmin = near;
    if (far < tmax) tmax = far;
  }
  return tmin < t1 && tmax > t0;
}

bool Ray::intersects(const MeshTriangle& triangle, MeshVertex const* vertices) const {
  double t, u, v;
  if (!intersectRayTriangle(direction_->data(), origin_->data(), &vertices[triangle[0]].x,
                            &vertices[triangle[1]].x, &vertices[triangle[2]].x, t, u, v))
    return false;
  if (t <= qvLinear::epsilonTolFlt) return false;
  if (t < t_) {
    t_ = t;
    u_ = u;
    v_ = v;
  }
  return true;
}

}  // namespace qvGeom
