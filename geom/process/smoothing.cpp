#include "geom/process/smoothing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/lanes.h"
#include "geom/model/keel/lines.h"
#include "geom/model/keel/tolerances.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/keel/visit_stamps.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Point;
using qvUtil::Float4;

namespace {

constexpr int kLookEvery = 1000;  // selected vertices between two looks at the progress

struct Move {
  int vertex;
  MeshVertex to;
};

// With a single branch: what is not finite differs from itself by NaN.
bool isFinite(const MeshVertex& p) { return (p.x - p.x) + (p.y - p.y) + (p.z - p.z) == 0; }

// Gives each selected vertex the position that `place(v)` returns, and tells the mesh. A position that is not
// finite means that the vertex stays.
template <typename Place>
void moveSelected(CompactMesh& mesh, qvUtil::Progress& progress, Place&& place) {
  const BitVector& selected = mesh.getSelectedVertices();
  const int numVertices = mesh.getNumVertices();
  qv::vector<Move> moves;
  moves.reserve(static_cast<std::size_t>(std::min<BitVector::Index>(selected.numSetBits, numVertices)));
  int done = 0;
  int nextLook = 0;
  for (int v = 0; v < numVertices; ++v) {
    if (done == nextLook) {
      if (progress.cancelled()) return;
      progress.set((done + 1.0) / static_cast<double>(selected.numSetBits));
    }
    if (!selected.test(v)) continue;
    if (++done > nextLook) nextLook += kLookEvery;
    const MeshVertex to = place(v);
    if (isFinite(to)) moves.push_back({v, to});
  }
  MeshVertex* const vertices = mesh.getVertices();
  for (const Move& move : moves) vertices[move.vertex] = move.to;
  MeshModification modification(&mesh, MeshModification::GeometryModified, nullptr);
  mesh.modified(modification);
}

void moveNone(CompactMesh& mesh, qvUtil::Progress& progress) {
  MeshVertex const* const vertices = mesh.getVertices();
  moveSelected(mesh, progress, [=](int v) { return vertices[v]; });
}

// The vertices about a centre that are connected to it within a ball: how far away they are, and how high
// over its tangent plane.
class Neighbourhood {
 public:
  struct Member {
    double distance2;
    double height;
  };

  Neighbourhood(const CompactMesh& mesh, const MeshAdjVertices& adjVertices, double radius)
      : vertices_(mesh.getVertices()),
        adjVertices_(adjVertices),
        stamps_(static_cast<std::size_t>(mesh.getNumVertices())),
        radius2_(radius * radius) {
    found_.reserve(kUsualSize);
    members_.reserve(kUsualSize);
  }

  // In the order in which the search leaves them behind, which decides the last bits of sums over them.
  const qv::vector<Member>& collect(int centre, const qvLinear::Plane& tangent) {
    members_.clear();
    stamps_.next();
    stamps_.seen(static_cast<std::size_t>(centre));
    expand(centre, tangent.point);
    while (!found_.empty()) {
      const Found last = found_.back();
      found_.pop_back();
      members_.push_back({last.distance2, tangent.eval(vertices_[last.vertex].asPoint())});
      expand(last.vertex, tangent.point);
    }
    return members_;
  }

 private:
  static constexpr std::size_t kUsualSize = 1000;

  struct Found {
    int vertex;
    double distance2;
  };

  void expand(int v, const Point& centre) {
    int const* const neighbours = adjVertices_.vertexIndices(v);
    const int n = adjVertices_.numAdjVertices(v);
    for (int i = 0; i < n; ++i) {
      const int u = neighbours[i];
      if (stamps_.seen(static_cast<std::size_t>(u))) continue;
      const double d2 = distance2(vertices_[u].asPoint(), centre);
      if (d2 <= radius2_) found_.push_back({u, d2});
    }
  }

  MeshVertex const* vertices_;
  const MeshAdjVertices& adjVertices_;
  qvUtil::VisitStamps stamps_;
  double radius2_;
  qv::vector<Found> found_;  // a stack: to be expanded
  qv::vector<Member> members_;
};

// @return how far a vertex moves along its normal; none where it stays
std::optional<double> bilateralOffset(const qv::vector<Neighbourhood::Member>& members,
                                      double spatialFactor) {
  if (members.empty()) return std::nullopt;
  const double count = static_cast<double>(members.size());
  double mean = 0;
  for (const auto& member : members) mean += member.height;
  mean /= count;
  double variance = 0;
  for (const auto& member : members) variance += (member.height - mean) * (member.height - mean);
  variance /= count;
  if (std::fabs(variance) < qvLinear::epsilonTol) return std::nullopt;
  const double heightFactor = 1 / (2 * variance);
  double weights = 0, sum = 0;
  for (const auto& [distance2, height] : members) {
    const double weight = std::exp(-distance2 * spatialFactor) * std::exp(-height * height * heightFactor);
    weights += weight;
    sum += weight * height;
  }
  if (std::fabs(weights) < qvLinear::epsilonTol) return std::nullopt;
  return sum / weights;
}

}  // namespace

void meshSmoothLaplacian(CompactMesh& mesh, const MeshAdjVertices& adjVertices, qvUtil::Progress& progress) {
  if (adjVertices.getNumVertices() != mesh.getNumVertices()) return moveNone(mesh, progress);
  MeshVertex const* const vertices = mesh.getVertices();
  const int last = mesh.getNumVertices() - 1;
  moveSelected(mesh, progress, [&, vertices, last](int v) {
    int const* const neighbours = adjVertices.vertexIndices(v);
    const int n = adjVertices.numAdjVertices(v);
    Float4 sum;  // x, y, z at once, in the order of the neighbours
    for (int i = 0; i < n; ++i) {
      const int u = neighbours[i];
      const MeshVertex& p = vertices[u];
      // The fourth lane is never looked at, but behind the last vertex there is nothing to fill it.
      sum = sum + (u == last ? Float4(p.x, p.y, p.z, 0) : Float4::load(&p.x));
    }
    float mean[4];
    (sum / Float4(static_cast<float>(n))).store(mean);  // NaN without neighbours
    return MeshVertex{mean[0], mean[1], mean[2]};
  });
}

void meshSmoothBilateral(CompactMesh& mesh, const MeshAdjVertices& adjVertices, double sigma,
                         qvUtil::Progress& progress) {
  MeshNormal const* const normals = mesh.getNormals();
  if (!normals || !(sigma > 0) || adjVertices.getNumVertices() != mesh.getNumVertices())
    return moveNone(mesh, progress);
  MeshVertex const* const vertices = mesh.getVertices();
  Neighbourhood neighbourhood(mesh, adjVertices, sigma);
  const double spatialFactor = 1 / (2 * (sigma * sigma));
  moveSelected(mesh, progress, [&, vertices](int v) {
    const qvLinear::Plane tangent(vertices[v].asPoint(), Normal(normals[v].asVector()));
    const auto offset = bilateralOffset(neighbourhood.collect(v, tangent), spatialFactor);
    if (!offset) return vertices[v];
    MeshVertex to;
    to.set((tangent.point + tangent.normal * *offset).data());
    return to;
  });
}

}  // namespace qvGeom
