#include "geom/edit/edge_swap.h"

#include <cmath>

#include "geom/model/keel/vectors.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

constexpr double kRightAngle = 1.5707963267948966;
constexpr double kFeatureAngle = 0.04363323129985824;  // radians

struct Quadrilateral {
  TopoMeshVertex q[4];
  Point p[4];

  explicit Quadrilateral(TopoMeshEdge e) : q{e.start(), e.end(), e.prev().start(), e.twin().prev().start()} {
    for (int i = 0; i < 4; ++i) p[i] = q[i].point();
  }
  // At corner `at`, between the directions to two others.
  double angleAt(int at, int a, int b) const { return qvLinear::angle(p[a] - p[at], p[b] - p[at]); }
  Vector areaVector(int a, int b, int c) const { return cross(p[b] - p[a], p[c] - p[a]); }
};

// Between the normals of the triangles (a, b, c) and (b, a, d); its sign tells a ridge from a valley.
double signedDihedral(const Quadrilateral& q, int a, int b, int c, int d) {
  const Vector n1 = q.areaVector(a, b, c);
  const Vector n2 = q.areaVector(b, a, d);
  const double angle = qvLinear::angle(n1, n2);
  return dot(cross(n1, n2), q.p[b] - q.p[a]) < 0 ? -angle : angle;
}

// An angle as a complex number of any length: to add angles, multiply.
struct Turn {
  double re, im;

  friend Turn operator*(const Turn& a, const Turn& b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
  }
  // Far above the rounding of the products here, and of the arc tangents that are spared.
  static constexpr double kMargin = 1e-12;
  // Whether the sine of the angle is certainly positive, +1, or negative, -1.
  int side() const {
    const double doubt = kMargin * std::fabs(re);
    return im > doubt ? 1 : im < -doubt ? -1 : 0;
  }
};

// The sum of the angles at a and b, each between the directions to c and d. Zero where a product of lengths
// might leave the range.
Turn sumOfAngles(const Quadrilateral& q, int a, int b, int c, int d) {
  const auto turnAt = [&](int at) -> Turn {
    const Vector u = q.p[c] - q.p[at];
    const Vector v = q.p[d] - q.p[at];
    const Turn turn{dot(u, v), length(cross(u, v))};
    const double size2 = turn.re * turn.re + turn.im * turn.im;
    return size2 > 1e-70 && size2 < 1e70 ? turn : Turn{0, 0};
  };
  return turnAt(a) * turnAt(b);
}

// Compares the sums of opposite angles now and after a swap without arc tangents, which cost most of a sweep.
// @return the sign of their difference where it is beyond doubt, else 0
int compareAngleSums(const Quadrilateral& q) {
  const Turn now = sumOfAngles(q, 2, 3, 0, 1);
  const Turn swapped = sumOfAngles(q, 1, 0, 2, 3);
  const int nowSide = now.side();
  const int swappedSide = swapped.side();
  // A positive sine means less than pi, a negative one more.
  if (nowSide * swappedSide < 0) return swappedSide;
  if (nowSide <= 0 || swappedSide <= 0) return 0;
  return (now * Turn{swapped.re, -swapped.im}).side();
}

// Between two vectors that have directions; 0 where the cosine may be rounding, and where a product of
// lengths might leave the range.
int certainSignOfCosine(const Vector& a, const Vector& b) {
  const double a2 = length2(a), b2 = length2(b);
  if (!(a2 > 1e-70 && a2 < 1e70 && b2 > 1e-70 && b2 < 1e70)) return 0;
  const double cosine = dot(a, b);
  if (cosine * cosine <= Turn::kMargin * Turn::kMargin * (a2 * b2)) return 0;
  return cosine > 0 ? 1 : -1;
}

}  // namespace

MeshEdgeSwapper::MeshEdgeSwapper() = default;
MeshEdgeSwapper::~MeshEdgeSwapper() = default;

MeshEdgeSwapper::VetoSignal& MeshEdgeSwapper::getVetoSignal() {
  if (!veto_) veto_ = std::make_unique<VetoSignal>();
  return *veto_;
}

void MeshEdgeSwapper::clearVetoSignal() { veto_.reset(); }

bool MeshEdgeSwapper::shouldSwap(TopoMeshEdge e) {
  if (!veto_ || veto_->empty() || !e.twin()) return false;
  bool veto = false;
  veto_->emit(e, veto);
  return !veto;
}

void MeshEdgeSwapper::minimizeOppositeAngleSum(TopoMeshEdge e, bool& veto) {
  veto = veto || !e.twin();
  if (veto) return;
  const Quadrilateral q(e);
  const int sign = compareAngleSums(q);
  if (sign > 0) return;
  if (sign < 0) {
    veto = true;
    return;
  }
  const double now = q.angleAt(2, 0, 1) + q.angleAt(3, 0, 1);
  const double swapped = q.angleAt(1, 2, 3) + q.angleAt(0, 2, 3);
  if (swapped >= now) veto = true;
}

void MeshEdgeSwapper::preventFoldover(TopoMeshEdge e, bool& veto) {
  veto = veto || !e.twin();
  if (veto) return;
  const Quadrilateral q(e);
  Vector n1 = q.areaVector(3, 1, 2);
  Vector n2 = q.areaVector(3, 2, 0);
  const int sign = certainSignOfCosine(n1, n2);
  if (sign != 0) {
    veto = sign < 0;
    return;
  }
  if (!n1.normalize() || !n2.normalize() || qvLinear::angle(n1, n2) > kRightAngle) veto = true;
}

void MeshEdgeSwapper::preserveBoundary(TopoMeshEdge e, bool& veto) {
  veto = veto || !e.twin();
  if (veto) return;
  const Quadrilateral q(e);
  if ((q.q[0].onBoundary() && q.q[1].onBoundary()) || (q.q[2].onBoundary() && q.q[3].onBoundary()))
    veto = true;
}

void MeshEdgeSwapper::preserveFeatures(TopoMeshEdge e, bool& veto) {
  veto = veto || !e.twin();
  if (veto) return;
  const Quadrilateral q(e);
  const double now = signedDihedral(q, 0, 1, 2, 3);
  const double swapped = signedDihedral(q, 3, 2, 0, 1);
  if (std::fabs(now - swapped) > kFeatureAngle) veto = true;
}

namespace {

int swapIfAllowed(TopoMesh& mesh, TopoMeshEdge e, MeshEdgeSwapper& swapper) {
  return swapper.shouldSwap(e) && mesh.swapEdge(e) ? 1 : 0;
}

template <typename SweepOnce>
int sweepRepeatedly(const SweepOnce& once) {
  int total = 0;
  for (int sweep = 0; sweep < MeshEdgeSwapper::kMaxSweeps; ++sweep) {
    const int swaps = once();
    if (swaps == 0) break;
    total += swaps;
  }
  return total;
}

}  // namespace

int meshSwapEdgesOnce(TopoMesh& mesh, MeshEdgeSwapper& swapper) {
  int swaps = 0;
  for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh())
    if (e.twin() && e < e.twin()) swaps += swapIfAllowed(mesh, e, swapper);
  return swaps;
}

int meshSwapEdgesOnce(TopoMesh& mesh, qv::set<TopoMeshEdge> const& edges, MeshEdgeSwapper& swapper) {
  int swaps = 0;
  for (const TopoMeshEdge e : edges)
    if (e.isAlive() && e.twin()) swaps += swapIfAllowed(mesh, e, swapper);
  return swaps;
}

int meshSwapEdgesRepeatedly(TopoMesh& mesh, MeshEdgeSwapper& swapper) {
  return sweepRepeatedly([&] { return meshSwapEdgesOnce(mesh, swapper); });
}

int meshSwapEdgesRepeatedly(TopoMesh& mesh, qv::set<TopoMeshEdge> const& edges, MeshEdgeSwapper& swapper) {
  return sweepRepeatedly([&] { return meshSwapEdgesOnce(mesh, edges, swapper); });
}

}  // namespace qvGeom
