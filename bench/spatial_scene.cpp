#include "bench/spatial_scene.h"

#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <numbers>
#include <unordered_map>

#include "geom/model/keel/random.h"
#include "geom/model/keel/threading.h"
#include "geom/spatial/octree_partition.h"
#include "geom/topology/measures.h"

#include "tests/support/shapes.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;
using qvLinear::VectorFlt;

namespace {

double random(double from, double to) { return from + (to - from) * qvUtil::drand48(); }

using Lattice = std::array<int, 3>;  // a point of the cube's surface, 0 to n

class SphereMaker {
 public:
  explicit SphereMaker(int n) : n_(n) {}

  CompactMesh run() {
    for (int axis = 0; axis < 3; ++axis)
      for (const bool top : {false, true}) addSide(axis, top);
    return shapes::make(points_, tris_);
  }

 private:
  void addSide(int axis, bool top) {
    const auto at = [&](int i, int j) {
      Lattice p;
      p[axis] = top ? n_ : 0;
      p[(axis + 1) % 3] = top ? i : j;  // outward on both sides
      p[(axis + 2) % 3] = top ? j : i;
      return vertexAt(p);
    };
    const shapes::Tris side = shapes::squares(n_, n_, at);
    tris_.insert(tris_.end(), side.begin(), side.end());
  }

  int vertexAt(const Lattice& p) {
    const std::int64_t key = (std::int64_t{p[0]} * (n_ + 1) + p[1]) * (n_ + 1) + p[2];
    const auto [it, isNew] = vertices_.try_emplace(key, static_cast<int>(points_.size()));
    if (isNew) points_.push_back(place(p));
    return it->second;
  }

  std::array<float, 3> place(const Lattice& p) const {
    double d[3];
    double length = 0;
    for (int k = 0; k < 3; ++k) {
      // Equal angles rather than equal lengths, or triangles at the cube's corners would be five times
      // smaller.
      d[k] = std::tan(std::numbers::pi / 4 * (2.0 * p[k] / n_ - 1));
      length += d[k] * d[k];
    }
    length = std::sqrt(length);
    const double wave = std::sin(8 * d[0] / length) * std::cos(7 * d[1] / length + 5 * d[2] / length);
    const double roughness = random(-0.1, 0.1) * std::numbers::pi / 2 / n_;
    const double r = 10 * (1 + 0.1 * wave + roughness);
    return {static_cast<float>(r * d[0] / length), static_cast<float>(r * d[1] / length),
            static_cast<float>(r * d[2] / length)};
  }

  int n_;
  std::unordered_map<std::int64_t, int> vertices_;
  shapes::Points points_;
  shapes::Tris tris_;
};

BoundingBox boxOf(const CompactMesh& mesh) {
  BoundingBox box;
  meshBoundingBox(mesh, box);
  return box;
}

OctreeTris partitionOf(const CompactMesh& mesh, const Octree& octree) {
  OctreeTris octreeTris;
  qvUtil::ThreadPool::get().setNumThreads(1);
  computeOctreeTris(mesh, octree, octreeTris);
  return octreeTris;
}

struct Corners {
  Point p[3];
  Vector normal() const {
    Vector n = cross(p[1] - p[0], p[2] - p[0]);
    n.normalize();
    return n;
  }
  Point randomPoint() const {
    const double u = std::sqrt(random(0, 1)), v = random(0, 1);
    return p[0] + u * (1 - v) * (p[1] - p[0]) + u * v * (p[2] - p[0]);
  }
};

Corners randomTriangle(const CompactMesh& mesh) {
  const int t = static_cast<int>(random(0, mesh.getNumTriangles()));
  Corners corners;
  for (int c = 0; c < 3; ++c) corners.p[c] = mesh.getVertices()[mesh.getTriangles()[t].v[c]].asPoint();
  return corners;
}

Vector randomUnitVector() {
  for (;;) {
    Vector v(random(-1, 1), random(-1, 1), random(-1, 1));
    if (length2(v) <= 1 && v.normalize()) return v;
  }
}

PointFlt pointAround(const BoundingBox& box) {
  const PointFlt centre = box.center();
  const VectorFlt half = box.halfDiagonal();
  PointFlt p;
  for (int k = 0; k < 3; ++k) p[k] = static_cast<float>(centre[k] + random(-1.5, 1.5) * half[k]);
  return p;
}

}  // namespace

CompactMesh noisySphere(std::int64_t triangles) {
  qvUtil::srand48(1);
  return SphereMaker(static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 12)))).run();
}

SpatialScene::SpatialScene(std::int64_t triangles)
    : mesh(noisySphere(triangles)),
      box(boxOf(mesh)),
      octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, Octree::kDefaultPerLeaf),
      octreeTris(partitionOf(mesh, octree)),
      edge(10 * std::numbers::pi / 2 / std::sqrt(static_cast<double>(triangles) / 12)) {}

const SpatialScene& spatialScene(std::int64_t triangles) {
  static std::map<std::int64_t, std::unique_ptr<SpatialScene>> scenes;
  std::unique_ptr<SpatialScene>& scene = scenes[triangles];
  if (!scene) scene = std::make_unique<SpatialScene>(triangles);
  return *scene;
}

Points pointsNear(const SpatialScene& scene, std::size_t count) {
  qvUtil::srand48(2);
  Points points(count);
  for (PointFlt& p : points)
    p = PointFlt(randomTriangle(scene.mesh).randomPoint() + random(0, scene.edge / 2) * randomUnitVector());
  return points;
}

Points pointsAround(const SpatialScene& scene, std::size_t count) {
  qvUtil::srand48(3);
  Points points(count);
  for (PointFlt& p : points) p = pointAround(scene.box);
  return points;
}

Shots shotsAround(const SpatialScene& scene, std::size_t count) {
  qvUtil::srand48(4);
  Shots shots(count);
  for (Shot& shot : shots) {
    shot.origin = pointAround(scene.box);
    shot.dir = pointAround(scene.box) - shot.origin;
  }
  return shots;
}

Shots cameraShots() {
  const PointFlt eye(0, 0, 40);
  Shots shots;
  for (int j = 0; j < kImageSide; j += 2)
    for (int i = 0; i < kImageSide; i += 2)
      for (int k = 0; k < 4; ++k) {
        const float x = static_cast<float>(i + (k & 1)) + 0.5f, y = static_cast<float>(j + (k >> 1)) + 0.5f;
        Vector dir(0.5 * (x / kImageSide - 0.5), 0.5 * (y / kImageSide - 0.5), -1);
        dir.normalize();
        shots.push_back({eye, VectorFlt(dir)});
      }
  return shots;
}

Shots shotsOutward(const SpatialScene& scene, std::size_t groups) {
  qvUtil::srand48(5);
  Shots shots;
  for (std::size_t g = 0; g < groups; ++g) {
    const Corners corners = randomTriangle(scene.mesh);
    const Vector normal = corners.normal();
    const PointFlt origin(corners.randomPoint() + 1e-3 * scene.edge * normal);
    const Vector u = normal.orthogonalVector();
    const Vector v = cross(normal, u);
    for (int k = 0; k < 4; ++k) {
      const double angle = (k + random(0, 1)) * std::numbers::pi / 2;
      const double height2 = random(0, 1);  // even by cosine: what counts for light
      const double r = std::sqrt(1 - height2);
      shots.push_back({origin, VectorFlt(r * std::cos(angle) * u + r * std::sin(angle) * v +
                                         std::sqrt(height2) * normal)});
    }
  }
  return shots;
}

qvLinear::AffineMatrix turnOfCopy() {
  Vector from(0, 0, 1), to(0.3, 0.5, 0.8);
  to.normalize();
  return qvLinear::AffineMatrix::rotate(from, to);
}

}  // namespace qvGeom
