#include "geom/topology/measures.h"

#include <cmath>
#include <cstddef>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/threading.h"
#include "geom/model/keel/values.h"

namespace qvGeom {

using qvLinear::AffineMatrix;
using qvLinear::Vector;

namespace {

// One sum per thread. A line apart, so that the threads' last stores do not share one.
struct alignas(64) Partial {
  double sum = 0;
};

class MeshAreaAlg final : public qvUtil::ThreadedAlg {
 public:
  MeshAreaAlg(CompactMesh const& mesh, float const* uvs, const AffineMatrix& transform)
      : triangles_(mesh.getTriangles()),
        numTriangles_(mesh.getNumTriangles()),
        vertices_(mesh.getVertices()),
        uvs_(uvs),
        transform_(transform),
        identity_(transform.isIdentity()) {}

  void initialize(int numThreads) override { partial_.assign(static_cast<std::size_t>(numThreads), {}); }

  void execute(int thread, int numThreads) override {
    double sum = 0;
    const int end = getBeginIndex(thread + 1, numThreads, numTriangles_);
    for (int t = getBeginIndex(thread, numThreads, numTriangles_); t < end; ++t) {
      const double doubled = uvs_ ? flatDoubleArea(triangles_[t]) : doubleArea(triangles_[t]);
      if (doubled > 0) sum += doubled;  // NaN is not
    }
    partial_[static_cast<std::size_t>(thread)].sum = 0.5 * sum;
  }

  double total() const {
    double sum = 0;
    for (const Partial& p : partial_) sum += p.sum;
    return sum;
  }

 private:
  double doubleArea(const MeshTriangle& t) const {
    const auto p0 = vertices_[t[0]].asPoint();
    Vector u = vertices_[t[1]].asPoint() - p0;
    Vector v = vertices_[t[2]].asPoint() - p0;
    // Multiplying by the identity would change no bit.
    if (!identity_) {
      u = transform_.apply(u);
      v = transform_.apply(v);
    }
    return length(cross(u, v));
  }
  double flatDoubleArea(const MeshTriangle& t) const {
    float const* a = uvs_ + std::ptrdiff_t{2} * t[0];
    float const* b = uvs_ + std::ptrdiff_t{2} * t[1];
    float const* c = uvs_ + std::ptrdiff_t{2} * t[2];
    return std::fabs((c[1] - a[1]) * (b[0] - a[0]) - (b[1] - a[1]) * (c[0] - a[0]));
  }

  MeshTriangle const* triangles_;
  int numTriangles_;
  MeshVertex const* vertices_;
  float const* uvs_;  // null: measure the vertices
  AffineMatrix transform_;
  bool identity_;
  qv::vector<Partial> partial_;
};

bool isMeasured(MeshChannel channel) {
  return channel == MeshChannel::vertices || channel == MeshChannel::uvs || channel == MeshChannel::sts;
}

}  // namespace

float meshArea(MeshPlacement const& placement, MeshChannel channel) {
  if (!placement.mesh || !isMeasured(channel)) return 0;
  CompactMesh const& mesh = *placement.mesh;
  MeshUV const* uvs = channel == MeshChannel::uvs   ? mesh.getUVs()
                      : channel == MeshChannel::sts ? mesh.getSTs()
                                                    : nullptr;
  if (channel != MeshChannel::vertices && !uvs) return 0;
  MeshAreaAlg alg(mesh, reinterpret_cast<float const*>(uvs), AffineMatrix(placement.transform));
  qvUtil::ThreadPool::get().run(alg);
  return static_cast<float>(qvUtil::withinFloats(alg.total()));
}

float meshArea(qv::list<MeshPlacement> const& placements, MeshChannel channel, qv::vector<float>& fractions) {
  fractions.clear();
  if (!isMeasured(channel)) return 0;
  float total = 0;
  for (const MeshPlacement& placement : placements) {
    fractions.push_back(meshArea(placement, channel));
    total = qvUtil::withinFloats(total + fractions.back());
  }
  if (std::fabs(total) < qvLinear::epsilonTolFlt) return 0;
  const float factor = 1 / total;
  for (float& f : fractions) f *= factor;
  return total;
}

namespace {

class BoundingBoxAlg final : public qvUtil::ThreadedAlg {
 public:
  BoundingBoxAlg(PointMesh const& mesh, BitVector const* selection)
      : vertices_(mesh.getVerticesRaw()), numVertices_(mesh.getNumVertices()), selection_(selection) {}

  void initialize(int numThreads) override { boxes_.assign(static_cast<std::size_t>(numThreads), {}); }

  void execute(int thread, int numThreads) override {
    BoundingBox box;
    const int end = getBeginIndex(thread + 1, numThreads, numVertices_);
    for (int v = getBeginIndex(thread, numThreads, numVertices_); v < end; ++v)
      if (!selection_ || selection_->test(v)) box.extend(vertices_ + std::ptrdiff_t{3} * v);
    boxes_[static_cast<std::size_t>(thread)] = box;
  }

  BoundingBox total() const {
    BoundingBox box;
    for (const BoundingBox& b : boxes_) box.extend(b);
    return box;
  }

 private:
  float const* vertices_;
  int numVertices_;
  BitVector const* selection_;
  qv::vector<BoundingBox> boxes_;
};

}  // namespace

void meshBoundingBox(PointMesh const& mesh, BitVector const* selection, BoundingBox& box) {
  qvOS::StopWatch watch;
  watch.start();
  BoundingBoxAlg alg(mesh, selection);
  qvUtil::ThreadPool::get().run(alg);
  box = alg.total();
  debugChannel().print("meshBoundingBox: %d vertices  %f s\n", mesh.getNumVertices(), watch.stop());
}

void meshBoundingBox(PointMesh const& mesh, BoundingBox& box) { meshBoundingBox(mesh, nullptr, box); }

void meshBoundingBox(PointMesh const& mesh, double* min, double* max) {
  BoundingBox box;
  meshBoundingBox(mesh, box);
  for (int i = 0; i < 3; ++i) {
    min[i] = box.min[i];
    max[i] = box.max[i];
  }
}

void arrangementBoundingBox(qv::list<MeshPlacement> const& placements, BoundingBox& box) {
  qvOS::StopWatch watch;
  watch.start();
  BoundingBox result;
  for (const MeshPlacement& placement : placements) {
    if (!placement.mesh) continue;
    BoundingBox placed;
    meshBoundingBox(*placement.mesh, placed);
    placed.transform(placement.transform);
    result.extend(placed);
  }
  box = result;
  debugChannel().print("arrangementBoundingBox: %d meshes  %f s\n", static_cast<int>(placements.size()),
                       watch.stop());
}

namespace {

// Components of a point; squares and sums in float.
template <int N>
double longestEdge(CompactMesh const& mesh, float const* points) {
  float longest = 0;
  MeshTriangle const* triangles = mesh.getTriangles();
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    for (int e = 0; e < 3; ++e) {
      float const* a = points + std::ptrdiff_t{N} * triangles[t][e];
      float const* b = points + std::ptrdiff_t{N} * triangles[t][e == 2 ? 0 : e + 1];
      float squared = (b[0] - a[0]) * (b[0] - a[0]);
      for (int i = 1; i < N; ++i) squared += (b[i] - a[i]) * (b[i] - a[i]);
      if (squared > longest) longest = squared;
    }
  }
  return std::sqrt(static_cast<double>(longest));
}

}  // namespace

double meshLongestEdge(CompactMesh const& mesh) { return longestEdge<3>(mesh, mesh.getVerticesRaw()); }

double meshLongestEdge2D(CompactMesh const& mesh, float const* uvs) { return longestEdge<2>(mesh, uvs); }

}  // namespace qvGeom
