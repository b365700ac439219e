#include "geom/edit/edge_swap.h"

#include <cmath>

#include "geom/model/keel/vectors.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

constexpr int kMaxSweeps = 1000;
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
  const Quadrilateral q(e);
  const double now = q.angleAt(2, 0, 1) + q.angleAt(3, 0, 1);
  const double swapped = q.angleAt(1, 2, 3) + q.angleAt(0, 2, 3);
  if (swapped >= now) veto = true;
}

void MeshEdgeSwapper::preventFoldover(TopoMeshEdge e, bool& veto) {
  const Quadrilateral q(e);
  Vector n1 = q.areaVector(3, 1, 2);
  Vector n2 = q.areaVector(3, 2, 0);
  if (!n1.normalize() || !n2.normalize() || qvLinear::angle(n1, n2) > kRightAngle) veto = true;
}

void MeshEdgeSwapper::preserveBoundary(TopoMeshEdge e, bool& veto) {
  const Quadrilateral q(e);
  if ((q.q[0].onBoundary() && q.q[1].onBoundary()) || (q.q[2].onBoundary() && q.q[3].onBoundary()))
    veto = true;
}

void MeshEdgeSwapper::preserveFeatures(TopoMeshEdge e, bool& veto) {
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
  for (int sweep = 0; sweep < kMaxSweeps; ++sweep) {
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
