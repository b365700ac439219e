#include "geom/topology/mass_properties.h"

#include "geom/topology/measures.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;
using Corners = MeshMassCalculator::Corners;

namespace {

template <typename Visit>
void forEachTriangle(const CompactMesh& mesh, const Visit& visit) {
  MeshVertex const* vertices = mesh.getVertices();
  MeshTriangle const* triangles = mesh.getTriangles();
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    MeshTriangle const& tri = triangles[t];
    const Corners p = {vertices[tri[0]].asPoint(), vertices[tri[1]].asPoint(), vertices[tri[2]].asPoint()};
    visit(p);
  }
}

// Of length twice the area.
Vector normalOf(const Corners& p) { return cross(p[1] - p[0], p[2] - p[0]); }

double sumOf(const Corners& p, int a) { return p[0][a] + p[1][a] + p[2][a]; }

// The divergence theorem turns the integral of x over the volume into that of x^2 / 2 over the surface,
// counted by the x component of the normal, and the integral of y into that of x y. Over a triangle these are
// quadratic forms of its corners.
void addFirstMoment(const Corners& p, int a, double (&sums)[3]) {
  const double flux = normalOf(p)[a];
  const double sumA = sumOf(p, a);
  for (int b = 0; b < 3; ++b) {
    const double products = p[0][a] * p[0][b] + p[1][a] * p[1][b] + p[2][a] * p[2][b];
    sums[b] += flux * (products + sumA * sumOf(p, b)) / (b == a ? 48 : 24);
  }
}

// Likewise x^2 into x^3 / 3, and y^2 into x y^2.
void addSecondMoment(const Corners& p, int a, double (&sums)[3]) {
  const double flux = normalOf(p)[a];
  const double sumA = sumOf(p, a);
  for (int b = 0; b < 3; ++b) {
    double products = 0;
    for (int i = 0; i < 3; ++i)
      products += p[i][a] * (2 * p[i][b] * p[i][b] - p[(i + 1) % 3][b] * p[(i + 2) % 3][b]);
    const double sumB = sumOf(p, b);
    sums[b] += flux * (products + sumB * sumB * sumA) / (b == a ? 180 : 60);
  }
}

using AddMoment = void (*)(const Corners&, int, double (&)[3]);

void addTo(double& x, double& y, double& z, AddMoment add, const Corners& p, int axis) {
  double sums[3] = {x, y, z};
  add(p, axis, sums);
  x = sums[0];
  y = sums[1];
  z = sums[2];
}

void sumMoments(const qv::list<qv::Reference<CompactMesh>>& meshes, AddMoment add, int axis, double& x,
                double& y, double& z) {
  x = y = z = 0;
  if (axis < 0 || axis > 2) return;
  for (const auto& mesh : meshes)
    forEachTriangle(*mesh, [&](const Corners& p) { addTo(x, y, z, add, p, axis); });
}

}  // namespace

MeshMassCalculator::MeshMassCalculator(qv::list<qv::Reference<CompactMesh>>& meshes) {
  for (const auto& mesh : meshes)
    if (mesh) meshes_.push_back(mesh);
}

double MeshMassCalculator::calculateArea() const {
  double area = 0;
  for (const auto& mesh : meshes_) area += meshArea(MeshPlacement{{}, mesh.get()}, MeshChannel::vertices);
  return area;
}

double MeshMassCalculator::calculateVolume() const {
  BoundingBox box;
  for (const auto& mesh : meshes_) meshBoundingBox(*mesh, box);
  const double xRef = 0.5 * (double{box.min[0]} + double{box.max[0]});
  double volume = 0;
  for (const auto& mesh : meshes_)
    forEachTriangle(*mesh, [&](const Corners& p) { volume += integrate(p, xRef); });
  return volume;
}

void MeshMassCalculator::calculateFirstMom(double& x, double& y, double& z, Axis axis) const {
  sumMoments(meshes_, addFirstMoment, axis, x, y, z);
}

void MeshMassCalculator::calculateSecondMom(double& x, double& y, double& z, Axis axis) const {
  sumMoments(meshes_, addSecondMoment, axis, x, y, z);
}

void MeshMassCalculator::calculateCentroid(double& x, double& y, double& z) const {
  x = y = z = 0;
  if (meshes_.empty()) return;
  meshCentroid(x, y, z);
  const auto n = static_cast<double>(meshes_.size());
  x /= n;
  y /= n;
  z /= n;
}

void MeshMassCalculator::meshCentroid(double& x, double& y, double& z) const {
  for (const auto& mesh : meshes_) {
    Vector sum;
    double weight = 0;
    forEachTriangle(*mesh, [&](const Corners& p) { sum += triangleCentroid(p, weight); });
    if (weight == 0) continue;
    x += sum[0] / weight;
    y += sum[1] / weight;
    z += sum[2] / weight;
  }
}

Vector MeshMassCalculator::triangleCentroid(const Corners& p, double& weight) {
  const double w = length(normalOf(p));
  weight += w;
  return w * Vector(sumOf(p, 0) / 3, sumOf(p, 1) / 3, sumOf(p, 2) / 3);
}

double MeshMassCalculator::integrate(const Corners& p, double xRef) {
  return normalOf(p)[0] * (sumOf(p, 0) - 3 * xRef) / 6;
}

void MeshMassCalculator::firstMomentTriX(const Corners& p, double& x, double& y, double& z) {
  addTo(x, y, z, addFirstMoment, p, AxisX);
}
void MeshMassCalculator::firstMomentTriY(const Corners& p, double& x, double& y, double& z) {
  addTo(x, y, z, addFirstMoment, p, AxisY);
}
void MeshMassCalculator::firstMomentTriZ(const Corners& p, double& x, double& y, double& z) {
  addTo(x, y, z, addFirstMoment, p, AxisZ);
}
void MeshMassCalculator::secondMomentTriX(const Corners& p, double& x, double& y, double& z) {
  addTo(x, y, z, addSecondMoment, p, AxisX);
}
void MeshMassCalculator::secondMomentTriY(const Corners& p, double& x, double& y, double& z) {
  addTo(x, y, z, addSecondMoment, p, AxisY);
}
void MeshMassCalculator::secondMomentTriZ(const Corners& p, double& x, double& y, double& z) {
  addTo(x, y, z, addSecondMoment, p, AxisZ);
}

}  // namespace qvGeom
