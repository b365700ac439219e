#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "geom/construct/primitives.h"
#include "geom/construct/shape_build.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;
using shape::Draft;

void constructCuboid(const float box[3][2], CompactMesh& mesh) {
  if (!box) return;
  // Corners by bits: maximum x, y, z. Seen from outside, the quadrilateral of two triangles across each face.
  static constexpr int kFaces[6][4] = {{1, 5, 3, 7}, {4, 0, 6, 2}, {2, 3, 6, 7},
                                       {4, 5, 0, 1}, {5, 4, 7, 6}, {0, 1, 2, 3}};
  Draft draft(mesh, 24, 12, shape::kNormals);
  CompactMesh& cuboid = draft.mesh();
  for (int f = 0; f < 6; ++f) {
    const Vector axis = qvLinear::axisVector<double, 3>(f / 2);
    const Vector normal = f % 2 == 0 ? axis : -axis;
    const int q = 4 * f;
    for (int i = 0; i < 4; ++i) {
      const int corner = kFaces[f][i];
      const float p[] = {box[0][corner & 1], box[1][corner >> 1 & 1], box[2][corner >> 2]};
      cuboid.getVertices()[q + i].set(p);
      cuboid.getNormals()[q + i].set(normal.data());
    }
    cuboid.getTriangles()[2 * f] = {{q + 2, q + 1, q}};
    cuboid.getTriangles()[2 * f + 1] = {{q + 1, q + 2, q + 3}};
  }
  draft.replace(mesh);
}

void constructCube(const float* range, CompactMesh& mesh) {
  if (!range) return;
  const float box[3][2] = {{range[0], range[1]}, {range[0], range[1]}, {range[0], range[1]}};
  constructCuboid(box, mesh);
}

namespace {

class SphereShape {
 public:
  // 8 n (2 n - 1) triangles.
  static constexpr std::int64_t kMaxN = 6688;
  static_assert(8 * kMaxN * (2 * kMaxN - 1) <= shape::kMaxElements);
  static_assert(8 * (kMaxN + 1) * (2 * kMaxN + 1) > shape::kMaxElements);

  SphereShape(const Point& centre, double radius, int n)
      : centre_(centre), radius_(radius), n_(n), longitudes_(4 * n), rings_(2 * n - 1) {}

  int numVertices() const { return longitudes_ * rings_ + 2; }
  int numTriangles() const { return 2 * longitudes_ * rings_; }

  void placeVertices(MeshVertex* vertices, MeshNormal* normals) const {
    const auto place = [&](int vertex, const Vector& direction) {
      vertices[vertex].set((centre_ + radius_ * direction).data());
      normals[vertex].set(direction.data());
    };
    place(0, Vector::z);
    place(1, -Vector::z);
    qv::vector<double> sines, cosines;
    for (int j = 0; j < longitudes_; ++j) {
      sines.push_back(std::sin(angleOf(j)));
      cosines.push_back(std::cos(angleOf(j)));
    }
    for (int r = 1; r <= rings_; ++r) {
      const double s = std::sin(angleOf(r)), c = std::cos(angleOf(r));
      for (int j = 0; j < longitudes_; ++j) {
        const auto at = static_cast<std::size_t>(j);
        place(firstOf(r) + j, Vector(sines[at] * s, cosines[at] * s, c));
      }
    }
  }

  void joinTriangles(MeshTriangle* next) const {
    for (int j = 0; j < longitudes_; ++j) *next++ = {{0, firstOf(1) + j, firstOf(1) + before(j)}};
    for (int r = 1; r < rings_; ++r) {
      for (int j = 0; j < longitudes_; ++j) {
        const int a = firstOf(r) + j, p = firstOf(r) + before(j);
        *next++ = {{p, a, a + longitudes_}};
        *next++ = {{p, a + longitudes_, p + longitudes_}};
      }
    }
    for (int j = 0; j < longitudes_; ++j) *next++ = {{firstOf(rings_) + j, 1, firstOf(rings_) + before(j)}};
  }

 private:
  double angleOf(int i) const { return i * std::numbers::pi / (2 * n_); }
  int firstOf(int ring) const { return 2 + (ring - 1) * longitudes_; }
  int before(int j) const { return (j == 0 ? longitudes_ : j) - 1; }

  Point centre_;
  double radius_;
  int n_;
  int longitudes_;
  int rings_;
};

}  // namespace

void constructSphere(const Point& centre, float radius, int n, CompactMesh& mesh) {
  if (n < 1 || n > SphereShape::kMaxN) return;
  const SphereShape sphere(centre, radius, n);
  Draft draft(mesh, sphere.numVertices(), sphere.numTriangles(), shape::kNormals);
  sphere.placeVertices(draft.mesh().getVertices(), draft.mesh().getNormals());
  sphere.joinTriangles(draft.mesh().getTriangles());
  draft.replace(mesh);
}

namespace {

// Triangles on the unit sphere. Half-edge 3 t + i runs from corner i of triangle t to the next corner. The
// surface stays closed and subdivision is regular, so twins of the finer mesh follow from those of the
// coarser one and nothing is ever searched for.
class SphereSubdivision {
 public:
  SphereSubdivision();
  void subdivide();
  qv::Reference<TopoMesh> build(const Point& origin, const Vector axes[3]) const;

 private:
  static std::size_t next(std::size_t edge) { return edge % 3 == 2 ? edge - 2 : edge + 1; }
  // The two halves of a half-edge: the first lies in the small triangle at the corner where it starts.
  static std::size_t firstHalf(std::size_t edge) { return 3 * (4 * (edge / 3) + edge % 3); }
  static std::size_t secondHalf(std::size_t edge) { return firstHalf(next(edge)) + 2; }

  qv::vector<Vector> points_;
  qv::vector<std::size_t> start_;  // vertex at which each half-edge starts
  qv::vector<std::size_t> twin_;
};

SphereSubdivision::SphereSubdivision()
    : points_{Vector::x, Vector::y, -Vector::x, -Vector::y, Vector::z, -Vector::z},
      start_{0, 1, 4, 1, 2, 4, 2, 3, 4, 3, 0, 4, 1, 0, 5, 2, 1, 5, 3, 2, 5, 0, 3, 5},
      twin_(start_.size()) {
  for (std::size_t a = 0; a < start_.size(); ++a)
    for (std::size_t b = 0; b < start_.size(); ++b)
      if (start_[a] == start_[next(b)] && start_[b] == start_[next(a)]) twin_[a] = b;
}

void SphereSubdivision::subdivide() {
  qv::vector<std::size_t> midpoint(start_.size());
  for (std::size_t e = 0; e < start_.size(); ++e) {
    if (twin_[e] < e) {
      midpoint[e] = midpoint[twin_[e]];
      continue;
    }
    midpoint[e] = points_.size();
    Vector middle = points_[start_[e]] + points_[start_[next(e)]];
    middle.normalize();
    points_.push_back(middle);
  }
  qv::vector<std::size_t> start(4 * start_.size()), twin(4 * start_.size());
  for (std::size_t e = 0; e < start_.size(); ++e) {
    const std::size_t corner = firstHalf(e);
    const std::size_t previous = next(next(e));
    // Half-edge e of the triangle in the middle runs from midpoint e to the next one.
    const std::size_t middle = 3 * (4 * (e / 3) + 3) + e % 3;
    const std::size_t acrossCorner = 3 * (4 * (e / 3) + 3) + previous % 3;
    start[corner] = start_[e];
    start[corner + 1] = midpoint[e];
    start[corner + 2] = midpoint[previous];
    start[middle] = midpoint[e];
    twin[corner] = secondHalf(twin_[e]);
    twin[secondHalf(e)] = firstHalf(twin_[e]);
    twin[corner + 1] = acrossCorner;
    twin[acrossCorner] = corner + 1;
  }
  start_.swap(start);
  twin_.swap(twin);
}

qv::Reference<TopoMesh> SphereSubdivision::build(const Point& origin, const Vector axes[3]) const {
  const qv::Reference<TopoMesh> mesh(new TopoMesh);
  qv::vector<TopoMeshVertex> vertices;
  vertices.reserve(points_.size());
  for (const Vector& p : points_) {
    const Point placed = origin + (p[0] * axes[0] + p[1] * axes[1] + p[2] * axes[2]);
    if (!std::isfinite(placed[0]) || !std::isfinite(placed[1]) || !std::isfinite(placed[2])) return {};
    vertices.push_back(mesh->allocVertex(placed));
  }
  qv::vector<TopoMeshEdge> edges;
  edges.reserve(start_.size());
  for (std::size_t e = 0; e < start_.size(); e += 3) {
    TopoMeshEdge edge =
        mesh->allocTriangle(vertices[start_[e]], vertices[start_[e + 1]], vertices[start_[e + 2]])
            .firstEdge();
    for (int i = 0; i < 3; ++i, edge = edge.next()) edges.push_back(edge);
  }
  for (std::size_t e = 0; e < edges.size(); ++e)
    if (e < twin_[e]) mesh->setTwins(edges[e], edges[twin_[e]]);
  return mesh;
}

}  // namespace

qv::Reference<TopoMesh> constructSubdividedOctahedron(const qvLinear::ParamPlane& plane, int levels,
                                                      double radius) {
  constexpr int kMaxLevels = 13;
  static_assert((std::int64_t{24} << 2 * kMaxLevels) <= INT32_MAX, "half-edges are counted by an int");
  static_assert((std::int64_t{24} << 2 * (kMaxLevels + 1)) > INT32_MAX);
  if (levels < 1 || levels > kMaxLevels || !std::isfinite(radius)) return {};
  Vector u = plane.u, v = plane.v;
  if (!u.normalize() || !v.normalize()) return {};
  Vector normal = cross(u, v);
  if (!normal.normalize()) return {};
  const Vector axes[] = {radius * u, radius * cross(normal, u), radius * normal};
  SphereSubdivision sphere;
  for (int i = 0; i < levels; ++i) sphere.subdivide();
  return sphere.build(plane.origin, axes);
}

}  // namespace qvGeom
