#include "geom/planar/plane_fit.h"

#include <algorithm>
#include <cmath>

#include "geom/model/keel/matrices.h"
#include "geom/model/keel/tolerances.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::Vector;

namespace {

// Reduces a scatter matrix by Gauss-Jordan elimination. The vectors that it then takes to zero are normals.
class ScatterMatrix {
 public:
  void add(const Vector& v) {
    for (int r = 0; r < 3; ++r)
      for (int c = r; c < 3; ++c) m_[r][c] += v[r] * v[c];
  }
  bool isFinite() const {
    return std::all_of(m_[0], m_[0] + 9, [](double e) { return std::isfinite(e); });
  }
  /// Returns the rank.
  int reduce() {
    for (int r = 1; r < 3; ++r)
      for (int c = 0; c < r; ++c) m_[r][c] = m_[c][r];
    eliminate(0);
    eliminate(1);
    // With a pivot in both, the last column says how z depends on x and y. What is left in the last row is
    // how far the points are off, and no reason to give the plane up.
    if (!hasPivot_[0] || !hasPivot_[1]) eliminate(2);
    return hasPivot_[0] + hasPivot_[1] + hasPivot_[2];
  }
  Vector nullVector() const {
    if (!hasPivot_[0] && !hasPivot_[1] && !hasPivot_[2]) return {};
    Vector v(1, 1, 1);
    for (int c = 0; c < 3; ++c) {
      if (!hasPivot_[c]) continue;
      v[c] = 0;
      for (int later = c + 1; later < 3; ++later)
        if (!hasPivot_[later]) v[c] -= m_[c][later];
    }
    return v;
  }

 private:
  void eliminate(int c) {
    int pivot = c;
    for (int r = c + 1; r < 3; ++r)
      if (std::fabs(m_[r][c]) > std::fabs(m_[pivot][c])) pivot = r;
    if (std::fabs(m_[pivot][c]) < qvLinear::epsilonTol) return;
    hasPivot_[c] = true;
    std::swap(m_[c], m_[pivot]);
    const double divisor = m_[c][c];
    for (double& e : m_[c]) e /= divisor;
    for (int r = 0; r < 3; ++r) {
      if (r == c) continue;
      const double factor = m_[r][c];
      for (int k = 0; k < 3; ++k) m_[r][k] -= factor * m_[c][k];
    }
  }

  double m_[3][3] = {};
  bool hasPivot_[3] = {};
};

// at(i) is point i.
template <typename At>
int fitPoints(int n, const At& at, Plane& plane) {
  plane = Plane();
  if (n <= 0) return 0;
  Vector sum;
  for (int i = 0; i < n; ++i) sum += at(i) - Point();
  const Point centroid(sum[0] / n, sum[1] / n, sum[2] / n);
  ScatterMatrix scatter;
  for (int i = 0; i < n; ++i) scatter.add(at(i) - centroid);
  if (!scatter.isFinite()) return 0;
  const int rank = scatter.reduce();
  plane = Plane(centroid, Normal(scatter.nullVector()));
  return rank;
}

template <typename At>
bool recognize(int n, const At& at, Plane& plane, double tolerance) {
  if (n < 3) return false;
  Plane fitted;
  fitPoints(n, at, fitted);
  if (!fitted.isValid()) return false;
  for (int i = 3; i < n; ++i)
    if (!(std::fabs(fitted.eval(at(i))) < tolerance)) return false;
  plane = fitted;
  return true;
}

auto verticesOf(const PointMesh& mesh) {
  return [vertices = mesh.getVertices()](int i) { return vertices[i].asPoint(); };
}

}  // namespace

int fit(int n, const Point* points, Plane& plane) {
  return fitPoints(
      n, [=](int i) { return points[i]; }, plane);
}

int fit(const PointMesh& mesh, Plane& plane) {
  return fitPoints(mesh.getNumVertices(), verticesOf(mesh), plane);
}

bool recognizePlane(const qv::vector<Point>& points, Plane& plane, double tolerance) {
  return recognize(
      static_cast<int>(points.size()), [&](int i) { return points[i]; }, plane, tolerance);
}

bool recognizePlane(const PointMesh& mesh, Plane& plane, double tolerance) {
  return recognize(mesh.getNumVertices(), verticesOf(mesh), plane, tolerance);
}

void fitWithEndsOnPlane(int n, const Point* points, Plane& plane) {
  plane = Plane();
  if (n <= 2) return;
  // In a frame whose x axis joins the ends, planes through both differ by a turn about x only.
  const Vector ends = points[n - 1] - points[0];
  const Vector y = ends.orthogonalVector();
  Vector z = cross(ends, y);
  if (!z.normalize()) return;
  qvLinear::AffineMatrix frame;
  for (int k = 0; k < 3; ++k) {
    frame[0][k] = ends[k];
    frame[1][k] = y[k];
    frame[2][k] = z[k];
    frame[3][k] = points[0][k];
  }
  bool ok = false;
  const qvLinear::AffineMatrix intoFrame = frame.inverse(&ok);
  if (!ok) return;
  double yy = 0, yz = 0, zz = 0;
  for (int i = 1; i < n - 1; ++i) {
    const Point p = intoFrame.apply(points[i]);
    yy += p[1] * p[1];
    yz += p[1] * p[2];
    zz += p[2] * p[2];
  }
  // Across the direction in which the points spread most.
  const double spread = 0.5 * std::atan2(2 * yz, yy - zz);
  const Normal normal(std::cos(spread) * z - std::sin(spread) * y);
  if (!(normal == Vector())) plane = Plane(points[0], normal);
}

}  // namespace qvGeom
