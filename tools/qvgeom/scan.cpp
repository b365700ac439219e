#include "scan.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>
#include <vector>

#include "geom/model/keel/random.h"
#include "geom/model/keel/vectors.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshTriangle;
using qvGeom::MeshVertex;
using qvLinear::Point;
using qvLinear::Vector;

namespace {

constexpr double kTurn = 2 * std::numbers::pi;
constexpr double kTubeRadius = 0.5;    // the strands of the knot pass each other at a distance of 2
constexpr double kSlenderness = 10.2;  // length of the knot over the girth of the tube
constexpr double kNoise = 0.05;        // of an edge's length, to either side
constexpr int kPieces = 5;
constexpr int kHoles = 6;
constexpr double kSmallestHole = 0.12, kLargestHole = 0.35;  // radii; both well below the tube's girth
constexpr int kFlippedOneIn = 200, kDoubledOneIn = 500;
constexpr int kAtLeast = 3;  // of either, also in small scans

// A point of the undamaged surface: `t` along the knot, `a` around the tube. Both go full circle.
Point surfacePoint(double t, double a, double displacement) {
  const double c2 = std::cos(2 * t), s2 = std::sin(2 * t), c3 = std::cos(3 * t), s3 = std::sin(3 * t);
  // The knot winds about a torus, whose normal is perpendicular to it and comes back to where it began.
  const Point centre((2 + c3) * c2, (2 + c3) * s2, s3);
  const Vector normal(c3 * c2, c3 * s2, s3);
  Vector tangent(-3 * s3 * c2 - 2 * (2 + c3) * s2, -3 * s3 * s2 + 2 * (2 + c3) * c2, 3 * c3);
  tangent.normalize();
  const Vector outward = std::cos(a) * normal + std::sin(a) * cross(tangent, normal);
  const double bumps = 0.05 * std::cos(20 * t) * std::cos(3 * a) + 0.04 * std::sin(7 * t);
  return centre + (kTubeRadius + bumps + displacement) * outward;
}

int randomBelow(int n) { return std::min(static_cast<int>(qvUtil::drand48() * n), n - 1); }

class Scan {
 public:
  Scan(int triangles, std::uint32_t seed)
      : around_(std::max(6, static_cast<int>(std::lround(std::sqrt(triangles / 2 / kSlenderness))))),
        along_(std::max(6 * kPieces, triangles / 2 / around_)),
        edge_(kTurn * kTubeRadius / around_) {
    qvUtil::srand48(seed);
  }

  CompactMesh build() {
    sampleSurface();
    chooseHoles();
    for (int piece = 0; piece < kPieces; ++piece) joinPiece(piece);
    damageTriangles();
    CompactMesh mesh;
    mesh.copyVertices(static_cast<int>(vertices_.size()), vertices_.data());
    mesh.copyTriangles(static_cast<int>(triangles_.size()), triangles_.data()->v);
    return mesh;
  }

 private:
  struct Hole {
    Point centre;
    double radius;
  };

  std::size_t sampleAt(int i, int j) const {
    return static_cast<std::size_t>(i % along_) * static_cast<std::size_t>(around_) +
           static_cast<std::size_t>(j % around_);
  }
  void sampleSurface();
  void chooseHoles();
  bool inHole(const Point& p) const;
  void joinPiece(int piece);
  void damageTriangles();

  int around_;
  int along_;
  double edge_;
  std::vector<MeshVertex> samples_;  // [along][around]
  std::vector<Hole> holes_;
  std::vector<MeshVertex> vertices_;
  std::vector<MeshTriangle> triangles_;
};

void Scan::sampleSurface() {
  samples_.reserve(static_cast<std::size_t>(along_) * static_cast<std::size_t>(around_));
  for (int i = 0; i < along_; ++i)
    for (int j = 0; j < around_; ++j) {
      const double noise = kNoise * edge_ * (2 * qvUtil::drand48() - 1);
      samples_.emplace_back().set(surfacePoint(kTurn * i / along_, kTurn * j / around_, noise).data());
    }
}

void Scan::chooseHoles() {
  for (int h = 0; h < kHoles; ++h) {
    // One in each stretch of the knot, so that they stay apart.
    const double t = kTurn * (h + 0.25 + 0.5 * qvUtil::drand48()) / kHoles;
    const Point centre = surfacePoint(t, kTurn * qvUtil::drand48(), 0);
    const double radius = kSmallestHole + (kLargestHole - kSmallestHole) * qvUtil::drand48();
    holes_.push_back({centre, std::max(radius, edge_)});  // in a coarse scan at least some triangles
  }
}

bool Scan::inHole(const Point& p) const {
  return std::any_of(holes_.begin(), holes_.end(),
                     [&](const Hole& h) { return distance2(p, h.centre) < h.radius * h.radius; });
}

// Triangles of one stretch of the tube. A vertex exists from its first use on, so that holes leave none
// behind, and each piece has its own on the seams.
void Scan::joinPiece(int piece) {
  const int begin = static_cast<int>(std::int64_t{along_} * piece / kPieces);
  const int end = static_cast<int>(std::int64_t{along_} * (piece + 1) / kPieces);
  std::vector<int> numbers(static_cast<std::size_t>(end - begin + 1) * static_cast<std::size_t>(around_), -1);
  const auto vertexAt = [&](int i, int j) {
    int& number = numbers[static_cast<std::size_t>(i - begin) * static_cast<std::size_t>(around_) +
                          static_cast<std::size_t>(j % around_)];
    if (number < 0) {
      number = static_cast<int>(vertices_.size());
      vertices_.push_back(samples_[sampleAt(i, j)]);
    }
    return number;
  };
  const auto addTriangle = [&](const int(&i)[3], const int(&j)[3]) {
    Vector sum;
    for (int k = 0; k < 3; ++k) sum += samples_[sampleAt(i[k], j[k])].asPoint() - Point();
    if (inHole(Point() + sum * (1.0 / 3))) return;
    triangles_.push_back({{vertexAt(i[0], j[0]), vertexAt(i[1], j[1]), vertexAt(i[2], j[2])}});
  };
  for (int i = begin; i < end; ++i)
    for (int j = 0; j < around_; ++j) {
      addTriangle({i, i, i + 1}, {j, j + 1, j + 1});
      addTriangle({i, i + 1, i + 1}, {j, j + 1, j});
    }
}

void Scan::damageTriangles() {
  const int n = static_cast<int>(triangles_.size());
  const auto any = [&]() -> MeshTriangle& { return triangles_[static_cast<std::size_t>(randomBelow(n))]; };
  for (int k = std::max(kAtLeast, n / kFlippedOneIn); k > 0; --k) {
    MeshTriangle& t = any();
    std::swap(t[1], t[2]);
  }
  for (int k = std::max(kAtLeast, n / kDoubledOneIn); k > 0; --k) {
    const MeshTriangle copy = any();
    triangles_.push_back(copy);
  }
}

}  // namespace

CompactMesh makeScan(int triangles, std::uint32_t seed) { return Scan(triangles, seed).build(); }

}  // namespace tool
