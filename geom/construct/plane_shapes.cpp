#include <cmath>
#include <limits>
#include <numbers>

#include "geom/construct/primitives.h"
#include "geom/construct/shape_build.h"
#include "geom/topology/normals.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;
using shape::AxisFrame;
using shape::Draft;

namespace {

constexpr float kUnitRange[] = {0, 1};

Vector axisNormal(int axis) { return qvLinear::axisVector<double, 3>(axis); }

}  // namespace

void constructRectangle(const float* u, const float* v, float level, int axis, CompactMesh& mesh,
                        bool withUVs, const float* uRange, const float* vRange) {
  if (!u || !v || !AxisFrame::isAxis(axis) || (withUVs && (!uRange || !vRange))) return;
  Draft draft(mesh, 4, 2, shape::kNormals | (withUVs ? shape::kUVs : 0u));
  CompactMesh& rectangle = draft.mesh();
  const AxisFrame frame(axis);
  for (int i = 0; i < 4; ++i) {
    rectangle.getVertices()[i] = frame.at(u[i & 1], v[i >> 1], level);
    if (withUVs) rectangle.getUVs()[i].set(uRange[i & 1], vRange[i >> 1]);
  }
  shape::setNormals(rectangle, axisNormal(axis));
  shape::setQuad(rectangle.getTriangles(), 0);
  draft.replace(mesh);
}

void constructRectangle(const float* u, const float* v, float level, int axis, CompactMesh& mesh,
                        bool withUVs) {
  constructRectangle(u, v, level, axis, mesh, withUVs, kUnitRange, kUnitRange);
}

void constructSquare(const float* range, float level, int axis, CompactMesh& mesh, bool withUVs) {
  constructRectangle(range, range, level, axis, mesh, withUVs);
}

void constructRectangle(const qvLinear::ParamPlane& plane, CompactMesh& mesh) {
  Draft draft(mesh, 4, 2, shape::kNormals | shape::kUVs);
  CompactMesh& patch = draft.mesh();
  for (int i = 0; i < 4; ++i) {
    const double s = i & 1, t = i >> 1;
    patch.getVertices()[i].set(plane.eval(s, t).data());
    patch.getUVs()[i].set(s, t);
  }
  shape::setNormals(patch, triNormal(Point(), Point() + plane.u, Point() + plane.v));
  shape::setQuad(patch.getTriangles(), 0);
  draft.replace(mesh);
}

void constructRectangularCorner(const float* x, const float* y, const float* z, CompactMesh& mesh,
                                bool withUVs, const float* uRange, const float* vRange) {
  if (!x || !y || !z || (withUVs && (!uRange || !vRange))) return;
  Draft draft(mesh, 6, 4, shape::kNormals | (withUVs ? shape::kUVs : 0u));
  CompactMesh& corner = draft.mesh();
  // Rows of two vertices: the top of the wall, the common edge, the front of the floor.
  const double rowY[] = {y[0], y[0], y[1]};
  const double rowZ[] = {z[1], z[0], z[0]};
  const qvLinear::Normal rowNormal[] = {{0, 1, 0}, {0, 1, 1}, {0, 0, 1}};
  for (int i = 0; i < 6; ++i) {
    const int row = i / 2;
    corner.getVertices()[i].set(Point(x[i & 1], rowY[row], rowZ[row]).data());
    corner.getNormals()[i].set(rowNormal[row].data());
    if (!withUVs) continue;
    const double v0 = vRange[0], v1 = vRange[1];
    corner.getUVs()[i].set(double{uRange[i & 1]}, row == 0 ? v0 : row == 1 ? 0.5 * (v0 + v1) : v1);
  }
  shape::setQuad(corner.getTriangles(), 0);
  shape::setQuad(corner.getTriangles() + 2, 2);
  draft.replace(mesh);
}

void constructRectangularCorner(const float* x, const float* y, const float* z, CompactMesh& mesh,
                                bool withUVs) {
  constructRectangularCorner(x, y, z, mesh, withUVs, kUnitRange, kUnitRange);
}

namespace {

// Vertices, and texture coordinates where there are some, of a plane-aligned circle.
class Rim {
 public:
  Rim(const Point& centre, double radius, int axis, CompactMesh& mesh)
      : centre_(centre), radius_(radius), frame_(axis), vertices_(mesh.getVertices()), uvs_(mesh.getUVs()) {}

  void place(int vertex, double angle) const {
    const double c = std::cos(angle), s = std::sin(angle);
    vertices_[vertex] =
        frame_.at(centre_[frame_.u] + radius_ * c, centre_[frame_.v] + radius_ * s, centre_[frame_.axis]);
    if (uvs_) uvs_[vertex].set(0.5 + 0.5 * c, 0.5 + 0.5 * s);
  }

 private:
  const Point& centre_;
  double radius_;
  AxisFrame frame_;
  MeshVertex* vertices_;
  MeshUV* uvs_;
};

// Steps are kept in float. Angles are multiples of them, taken in double so that they do not drift.
double stepOf(double span, int count) { return static_cast<float>(span / count); }

bool isRound(int axis, int segments) {
  return AxisFrame::isAxis(axis) && segments >= 1 && segments < shape::kMaxElements;
}

}  // namespace

void constructCircle(const Point& centre, float radius, int axis, int segments, CompactMesh& mesh) {
  if (!isRound(axis, segments)) return;
  Draft draft(mesh, segments + 1, 0, shape::kUVs);
  CompactMesh& circle = draft.mesh();
  const Rim rim(centre, radius, axis, circle);
  const double step = stepOf(2 * std::numbers::pi, segments);
  for (int i = 0; i < segments; ++i) rim.place(i, i * step);
  circle.getVertices()[segments] = circle.getVertices()[0];
  circle.getUVs()[segments] = circle.getUVs()[0];
  circle.resizeLineStripArrays(1, segments + 1);
  circle.getLineStripLengths()[0] = segments + 1;
  for (int i = 0; i <= segments; ++i) circle.getLineStripPoints()[i] = i;
  draft.replace(mesh);
}

void constructDisk(const Point& centre, float radius, int axis, int segments, CompactMesh& mesh) {
  if (!isRound(axis, segments)) return;
  Draft draft(mesh, segments + 1, segments, shape::kNormals | shape::kUVs);
  CompactMesh& disk = draft.mesh();
  disk.getVertices()[0].set(centre.data());
  disk.getUVs()[0].set(0.5f, 0.5f);
  const Rim rim(centre, radius, axis, disk);
  const double step = stepOf(2 * std::numbers::pi, segments);
  for (int i = 1; i <= segments; ++i) {
    rim.place(i, i * step);
    disk.getTriangles()[i - 1] = {{0, i, i < segments ? i + 1 : 1}};
  }
  shape::setNormals(disk, axisNormal(axis));
  draft.replace(mesh);
}

void constructArc(const Point& centre, float radius, float startAngle, float endAngle, int axis,
                  int segmentsPerPi, CompactMesh& mesh) {
  if (!AxisFrame::isAxis(axis)) return;
  // In float, where half a turn is exactly pi; in double the float nearest to an angle would often fall
  // short.
  const float quotient =
      (endAngle - startAngle) / std::numbers::pi_v<float> * static_cast<float>(segmentsPerPi);
  if (!(quotient >= 1) || quotient >= static_cast<float>(shape::kMaxElements)) return;
  const int count = static_cast<int>(quotient);
  Draft draft(mesh, count + 1, 0, shape::kPositions);
  CompactMesh& arc = draft.mesh();
  const Rim rim(centre, radius, axis, arc);
  const double step = stepOf(double{endAngle} - double{startAngle}, count);
  arc.resizeLineArray(count);
  for (int i = 0; i < count; ++i) {
    rim.place(i, startAngle + i * step);
    arc.getLines()[i] = {{i, i + 1}};
  }
  rim.place(count, endAngle);
  draft.replace(mesh);
}

namespace {

// A sector whose angle is not finite has no positions; one whose radii are not has no finite ones.
bool isSector(float innerRadius, float outerRadius, double angle) {
  return std::isfinite(innerRadius) && std::isfinite(outerRadius) && std::isfinite(angle);
}

// Positions and normals of the pairs of an annular arc.
void placeAnnularArc(float innerRadius, float outerRadius, double angle, CompactMesh& mesh) {
  MeshVertex* vertices = mesh.getVertices();
  const int pairs = mesh.getNumVertices() / 2;
  for (int i = 0; i < pairs; ++i) {
    // The fraction first: no multiple of the angle leaves the range of numbers.
    const double theta = pairs > 1 ? angle * (static_cast<double>(i) / (pairs - 1)) : 0;
    const Vector direction(std::cos(theta), std::sin(theta), 0);
    vertices[2 * i].set((double{innerRadius} * direction).data());
    vertices[2 * i + 1].set((double{outerRadius} * direction).data());
  }
  shape::setNormals(mesh, angle >= 0 ? -Vector::z : Vector::z);
}

}  // namespace

void constructAnnularArc(float innerRadius, float outerRadius, double angle, int count, CompactMesh& mesh) {
  if (count < 1 || count > shape::kMaxElements / 2 || !isSector(innerRadius, outerRadius, angle)) return;
  Draft draft(mesh, 2 * count, 2 * count - 2, shape::kNormals | shape::kUVs);
  CompactMesh& sector = draft.mesh();
  MeshUV* uvs = sector.getUVs();
  for (int i = 0; i < count; ++i) {
    const double u = count > 1 ? static_cast<double>(i) / (count - 1) : 0;
    uvs[2 * i].set(u, 0.0);
    uvs[2 * i + 1].set(u, 1.0);
  }
  for (int k = 2; k < 2 * count; k += 2) {
    sector.getTriangles()[k - 2] = {{k - 2, k, k - 1}};
    sector.getTriangles()[k - 1] = {{k - 1, k, k + 1}};
  }
  placeAnnularArc(innerRadius, outerRadius, angle, sector);
  draft.replace(mesh);
}

void updateAnnularArc(float innerRadius, float outerRadius, double angle, CompactMesh& mesh) {
  const int n = mesh.getNumVertices();
  if (n % 2 != 0 || mesh.getNumTriangles() != n - 2 || !isSector(innerRadius, outerRadius, angle)) return;
  mesh.allocNormalArray();
  placeAnnularArc(innerRadius, outerRadius, angle, mesh);
  MeshModification modification(&mesh, MeshModification::GeometryModified, nullptr);
  modification.normalsModified();
  mesh.modified(modification);
}

qv::Reference<CompactMesh> constructPolygonFromConvexBoundary(const Polyline2d& boundary) {
  const int n = boundary.getNumVertices() - (boundary.isOutline(0) ? 1 : 0);
  if (n < 3 || n > shape::kMaxElements) return {};
  const qv::Reference<CompactMesh> mesh(new CompactMesh);
  Draft draft(*mesh, n, n - 2, shape::kPositions);
  for (int i = 0; i < n; ++i)
    draft.mesh().getVertices()[i].set(Point(boundary.getVertex(i)[0], boundary.getVertex(i)[1], 0).data());
  for (int i = 0; i < n - 2; ++i) draft.mesh().getTriangles()[i] = {{0, i + 1, i + 2}};
  return draft.replace(*mesh) ? mesh : qv::Reference<CompactMesh>();
}

void addUniformNormals(CompactMesh& mesh, const Vector& direction) {
  Vector unit = direction;
  if (!unit.normalize()) return;
  mesh.allocNormalArray();
  shape::setNormals(mesh, unit);
}

}  // namespace qvGeom
