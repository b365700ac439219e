#include "geom/model/trellis/frustum.h"

#include <cmath>
#include <initializer_list>
#include <limits>

#include "geom/model/keel/tolerances.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::Vector;

namespace {

// Counter-clockwise from outside if the near corners run counter-clockwise seen from the far side. The senses
// agree with each other, so that near and far still face apart in a volume without thickness, where the
// centroid tells no side.
constexpr int kFaces[Frustum::kNumPlanes][4] = {{3, 2, 1, 0}, {4, 5, 6, 7}, {0, 1, 5, 4},
                                                {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};

constexpr Point kCube[Frustum::kNumCorners] = {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1},
                                               {-1, -1, 1},  {1, -1, 1},  {1, 1, 1},  {-1, 1, 1}};

template <int Count>
Point centroid(const Point* points) {
  Vector sum;
  // Shares are added, rather than divided afterwards, so that corners near the largest double stay finite.
  for (int i = 0; i < Count; ++i) sum += (1.0 / Count) * (points[i] - Point());
  return Point() + sum;
}

double largestCoordinate(std::initializer_list<const Point*> points) {
  double largest = 0;
  for (const Point* p : points)
    for (const double x : p->c) largest = std::fmax(largest, std::fabs(x));
  return largest;
}

Plane facePlane(const Point& a, const Point& b, const Point& c, const Point& d, const Point& inside) {
  // The two mean edges, not the diagonals: those of a face much longer than wide are all but parallel.
  const Vector across = (b - a) + (c - d);
  const Vector along = (d - a) + (c - b);
  const double rounding = 16 * std::numeric_limits<double>::epsilon() * largestCoordinate({&a, &b, &c, &d});
  const bool isSpanned = length(across) > rounding && length(along) > rounding &&
                         !isParallel(across, along, qvLinear::parallelTol);
  if (!isSpanned) return Plane(a, Normal());
  Vector normal = cross(across, along);
  if (dot(normal, (a - inside) + (b - inside) + (c - inside) + (d - inside)) < 0) normal.reverse();
  // Through the outermost corner: a warped face then has none of its own corners outside.
  Point outermost = a;
  for (const Point* p : {&b, &c, &d})
    if (dot(normal, *p - outermost) > 0) outermost = *p;
  return Plane(outermost, Normal(normal));
}

}  // namespace

Frustum::Frustum() : Frustum(kCube) {}

Frustum::Frustum(const Point (&corners)[kNumCorners]) {
  for (int i = 0; i < kNumCorners; ++i) corners_[i] = corners[i];
  const Point inside = centroid<kNumCorners>(corners_);
  for (int i = 0; i < kNumPlanes; ++i) {
    const int* f = kFaces[i];
    planes_[i] = facePlane(corners_[f[0]], corners_[f[1]], corners_[f[2]], corners_[f[3]], inside);
  }
  const Point nearCentre = centroid<4>(corners_);
  // A direction that cannot be normalised becomes zero.
  ray_ = {nearCentre, Normal(centroid<4>(corners_ + 4) - nearCentre)};
}

}  // namespace qvGeom
