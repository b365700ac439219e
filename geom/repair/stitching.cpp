#include "geom/repair/stitching.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

#include "geom/model/keel/joined_sets.h"
#include "geom/model/keel/tolerances.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/repair/edge_split.h"
#include "geom/repair/stitch_seam.h"
#include "geom/repair/winding.h"
#include "geom/topology/components.h"
#include "geom/topology/line_topology.h"
#include "geom/topology/mesh_cache.h"
#include "geom/topology/region.h"
#include "geom/topology/selection.h"

namespace qvGeom {
namespace {

using MeshLineTopology::Edge;
using MeshLineTopology::EdgeIterator;
using MeshLineTopology::TopologyAlg;
using qvLinear::Point;
using qvLinear::PointFlt;

constexpr int kSamplesPerDistance = 5;
constexpr std::int64_t kLeastSamples = 10;      // of a loop that takes part
constexpr int kMostStarts = 64;                 // of a circular seam that are tried
constexpr std::int64_t kMostSamples = 1 << 26;  // of all: they take gigabytes by then

class Alg {
 public:
  Alg(CompactMesh& mesh, qv::Reference<MeshAdjTris> adjTris, qv::Reference<MeshBoundaries> loops,
      qv::vector<int> wanted, double distance, double seamTolerance)
      : mesh_(mesh),
        adjTris_(std::move(adjTris)),
        loops_(std::move(loops)),
        wanted_(std::move(wanted)),
        distance_(distance),
        seamTolerance_(seamTolerance) {}

  bool run();

 private:
  // Stands for t p + (1 - t) q on the edge from p to q: t runs backward along the loop.
  struct Sample {
    int loop;
    int edge;
    float t;
  };
  // A sample at which a stretch ends, and the vertex of the region for it.
  struct End {
    int point;
    TopoMeshVertex vertex;
  };

  bool canRun() const;
  bool takeSamples();
  double numParts(int loop, int k) const;
  std::int64_t numSamples(int loop) const;
  void sampleLoop(int loop);
  int loopVertex(int loop, int k) const;
  PointFlt position(int loop, int k) const;
  void fillCurves(CompactMesh& curves) const;
  qv::vector<int> piecesOfCurves() const;
  void turnPieces(const BitVector& curves);

  void extractRegion();
  void stitchAll(const TopologyAlg& topology);
  void prepareEnds(const TopologyAlg& topology);
  void splitAtEnds();
  void joinEqualEnds();
  bool isOnEdge(const Sample& s) const;
  int nearerEnd(const Sample& s) const;
  TopoMeshVertex nearerVertex(const Sample& s) const;
  int endOf(int point) const;
  bool hasVanished(const Edge& edge);
  TopoMeshVertex vertexOf(int point);
  void stitchLinear(const Edge& edge);
  void stitchCircular(const Edge& edge);
  int startOfSeam(int loop, int first, int other) const;
  double nearest(int loop, int k, int other) const;
  void connect(MeshStitchSeam& seam);
  void joinEnds(int kept, int gone);

  CompactMesh& mesh_;
  qv::Reference<MeshAdjTris> adjTris_;
  qv::Reference<MeshBoundaries> loops_;
  qv::vector<int> wanted_;  // numbers of loops, ascending
  double distance_;
  double seamTolerance_;
  SimpleMeshCache cache_;

  qv::vector<Sample> samples_;
  qv::vector<int> curveStarts_;  // in the samples, of the loops that take part
  std::optional<MeshModifyRep> region_;
  TopoMesh* topo_ = nullptr;
  qv::vector<End> ends_;  // by point
  std::optional<qvUtil::JoinedSets> joinedEnds_;
  qvRTB::SignalBase client_;
};

}  // namespace

bool meshStitch(CompactMesh& mesh, qv::Reference<MeshAdjTris> adjTris, qv::Reference<MeshBoundaries> loops,
                const qv::vector<int>& boundaries, double distanceTolerance, double seamTolerance) {
  return Alg(mesh, std::move(adjTris), std::move(loops), boundaries, distanceTolerance, seamTolerance).run();
}

bool meshStitch(CompactMesh& mesh, qv::Reference<MeshAdjTris> adjTris, qv::Reference<MeshBoundaries> loops,
                double distanceTolerance, double seamTolerance) {
  qv::vector<int> all;
  for (int loop = 0; loops && loop < loops->size(); ++loop) all.push_back(loop);
  return meshStitch(mesh, std::move(adjTris), std::move(loops), all, distanceTolerance, seamTolerance);
}

namespace {

bool Alg::run() {
  if (!canRun()) return false;
  std::sort(wanted_.begin(), wanted_.end());
  wanted_.erase(std::unique(wanted_.begin(), wanted_.end()), wanted_.end());
  std::erase_if(wanted_, [this](int loop) { return loop < 0 || loop >= loops_->size(); });
  for (int pass = 0; pass < 2; ++pass) {
    if (!takeSamples()) return false;
    CompactMesh curves;
    fillCurves(curves);
    TopologyAlg topology(curves);
    topology.setPieces(piecesOfCurves());
    if (!topology.compute(distance_)) return false;
    if (topology.getOrientation().numSetBits == 0) {
      extractRegion();
      stitchAll(topology);
      region_->merge();
      return true;
    }
    turnPieces(topology.getOrientation());
  }
  return false;
}

bool Alg::canRun() const {
  if (!adjTris_ || !loops_ || adjTris_->getNumVertices() != mesh_.getNumVertices()) return false;
  if (!(distance_ > 0) || !std::isfinite(distance_) || !std::isfinite(seamTolerance_)) return false;
  for (int loop = 0; loop < loops_->size(); ++loop)
    for (int k = 0; k < loops_->getLength(loop); ++k) {
      const int v = loops_->getStart(loop)[k];
      if (v < 0 || v >= mesh_.getNumVertices()) return false;
    }
  return true;
}

// ---- samples ----

int Alg::loopVertex(int loop, int k) const {
  return loops_->getStart(loop)[k < loops_->getLength(loop) ? k : 0];
}

PointFlt Alg::position(int loop, int k) const {
  const MeshVertex& v = mesh_.getVertices()[loopVertex(loop, k)];
  return {v.x, v.y, v.z};
}

// How many parts an edge is cut into; may be more than an int counts, and NaN for what is not finite.
double Alg::numParts(int loop, int k) const {
  const double spacing = distance_ / kSamplesPerDistance;
  return std::floor(distance(Point(position(loop, k)), Point(position(loop, k + 1))) / spacing + 0.5);
}

// @return -1 when there are too many, or they cannot be counted
std::int64_t Alg::numSamples(int loop) const {
  double sum = 0;
  for (int k = 0; k < loops_->getLength(loop); ++k) {
    const double parts = numParts(loop, k);
    sum += parts < 1 ? 1 : parts;
  }
  return sum <= static_cast<double>(kMostSamples) ? static_cast<std::int64_t>(sum) : -1;
}

// @return whether at least two loops take part and no more samples than can be
bool Alg::takeSamples() {
  qv::vector<int> kept;
  std::int64_t total = 0;
  for (const int loop : wanted_) {
    const std::int64_t n = numSamples(loop);
    if (n < 0 || total + n > kMostSamples) return false;
    if (n < kLeastSamples) continue;
    total += n;
    kept.push_back(loop);
  }
  if (kept.size() < 2) return false;
  samples_.clear();
  curveStarts_.clear();
  samples_.reserve(static_cast<std::size_t>(total));
  for (const int loop : kept) {
    curveStarts_.push_back(static_cast<int>(samples_.size()));
    sampleLoop(loop);
  }
  curveStarts_.push_back(static_cast<int>(samples_.size()));
  return true;
}

void Alg::sampleLoop(int loop) {
  for (int k = 0; k < loops_->getLength(loop); ++k) {
    samples_.push_back({loop, k, 1.0f});
    const int m = static_cast<int>(numParts(loop, k));
    for (int s = 1; s < m; ++s)
      samples_.push_back({loop, k, 1.0f - static_cast<float>(s) / static_cast<float>(m)});
  }
}

void Alg::fillCurves(CompactMesh& curves) const {
  const int n = static_cast<int>(samples_.size()), numCurves = static_cast<int>(curveStarts_.size()) - 1;
  curves.resizeVertexArray(n);
  curves.resizeLineStripArrays(numCurves, n + numCurves);
  for (int i = 0; i < n; ++i) {
    const auto& [loop, k, t] = samples_[i];
    const PointFlt p = position(loop, k), q = position(loop, k + 1);
    MeshVertex& v = curves.getVertices()[i];
    v = {t * p[0] + (1 - t) * q[0], t * p[1] + (1 - t) * q[1], t * p[2] + (1 - t) * q[2]};
  }
  int* strip = curves.getLineStripPoints();
  for (int c = 0; c < numCurves; ++c) {
    for (int i = curveStarts_[c]; i < curveStarts_[c + 1]; ++i) *strip++ = i;
    *strip++ = curveStarts_[c];
    curves.getLineStripLengths()[c] = curveStarts_[c + 1] - curveStarts_[c] + 1;
  }
}

// ---- winding ----

qv::vector<int> Alg::piecesOfCurves() const {
  Array<int> ofVertex;
  meshComponents(mesh_, *adjTris_, &ofVertex);
  qv::vector<int> pieces;
  for (std::size_t c = 0; c + 1 < curveStarts_.size(); ++c)
    pieces.push_back(ofVertex[loopVertex(samples_[curveStarts_[c]].loop, 0)]);
  return pieces;
}

void Alg::turnPieces(const BitVector& curves) {
  const qv::vector<int> pieces = piecesOfCurves();
  qv::vector<int> turned;
  for (int c = 0; c < static_cast<int>(pieces.size()); ++c) {
    if (!curves.test(c) || std::find(turned.begin(), turned.end(), pieces[c]) != turned.end()) continue;
    turned.push_back(pieces[c]);
    const int v = loopVertex(samples_[curveStarts_[c]].loop, 0);
    if (adjTris_->numTris(v) > 0) meshReverseWinding(mesh_, *adjTris_, adjTris_->triIndices(v)[0]);
  }
  // The loops of turned pieces run the other way now, and their numbers may be others.
  BitVector wanted(mesh_.getNumVertices());
  for (const int loop : wanted_) wanted.setBits(loops_->getLength(loop), loops_->getStart(loop));
  adjTris_ = cache_.getAdjTris(mesh_);
  loops_ = cache_.getBoundaries(mesh_);
  wanted_.clear();
  for (int loop = 0; loop < loops_->size(); ++loop)
    if (std::any_of(loops_->getStart(loop), loops_->getEnd(loop), [&](int v) { return wanted.test(v); }))
      wanted_.push_back(loop);
}

// ---- the region ----

// Two rings about all loops, those that take no part too: an edge that is open in the region but not in the
// mesh must not come near.
void Alg::extractRegion() {
  BitVector vertices(mesh_.getNumVertices());
  BitVector triangles(mesh_.getNumTriangles());
  for (int loop = 0; loop < loops_->size(); ++loop)
    vertices.setBits(loops_->getLength(loop), loops_->getStart(loop));
  MeshSelect select(mesh_, *adjTris_, triangles, vertices);
  for (int ring = 0; ring < 2; ++ring) {
    select.selectAllTrianglesFromVertices();
    select.selectVerticesFromTriangles();
  }
  region_.emplace(mesh_, triangles, vertices, *adjTris_);
  topo_ = &region_->extract();
}

void Alg::stitchAll(const TopologyAlg& topology) {
  prepareEnds(topology);
  qv::vector<bool> vanished;  // asked beforehand: seams join ends too
  for (EdgeIterator it(topology); it.valid(); it.next()) vanished.push_back(hasVanished(it.get()));
  for (EdgeIterator it(topology); it.valid(); it.next()) {
    const Edge edge = it.get();
    if (vanished[edge.index()] || vanished[edge.getTwin().index()]) continue;
    // Its twin did it all. Stretches that run the same way cannot be closed without a twist.
    if (edge.getTwin().index() < edge.index() || edge.isTwinReversed()) continue;
    if (edge.isCircular()) {
      stitchCircular(edge);
    } else {
      stitchLinear(edge);
    }
  }
}

// ---- ends ----

void Alg::prepareEnds(const TopologyAlg& topology) {
  ends_.clear();
  for (EdgeIterator it(topology); it.valid(); it.next()) {
    if (!it.get().isLinear()) continue;
    ends_.push_back({it.get().getFirstPoint(), {}});
    ends_.push_back({it.get().getSecondPoint(), {}});
  }
  std::sort(ends_.begin(), ends_.end(), [](const End& a, const End& b) { return a.point < b.point; });
  ends_.erase(
      std::unique(ends_.begin(), ends_.end(), [](const End& a, const End& b) { return a.point == b.point; }),
      ends_.end());
  splitAtEnds();
  joinEqualEnds();
}

// Whether a sample lies between the ends of its edge, as far as the seam makes a difference.
bool Alg::isOnEdge(const Sample& s) const {
  const double t = static_cast<double>(s.t);
  return std::min(t, 1 - t) > std::max(seamTolerance_, static_cast<double>(qvLinear::epsilonTolFlt));
}

// Along the loop; may be the number of its vertices, which is the first again.
int Alg::nearerEnd(const Sample& s) const { return s.t < 0.5f ? s.edge + 1 : s.edge; }

TopoMeshVertex Alg::nearerVertex(const Sample& s) const {
  return region_->getTopoMeshVertex(loopVertex(s.loop, nearerEnd(s)));
}

// Points lie along the loops, and those of an edge by falling parameter: from the last on, each split leaves
// the part at the start of the edge, of which the next one's parameter is told.
void Alg::splitAtEnds() {
  TopoMeshEdge edge;
  const Sample* split = nullptr;  // the one before
  for (std::size_t i = ends_.size(); i-- > 0;) {
    const Sample& s = samples_[ends_[i].point];
    ends_[i].vertex = nearerVertex(s);
    if (!isOnEdge(s)) continue;
    double t = static_cast<double>(s.t);
    if (split && split->loop == s.loop && split->edge == s.edge) {
      t = (t - static_cast<double>(split->t)) / (1 - static_cast<double>(split->t));
    } else {
      edge = topo_->findEdge(region_->getTopoMeshVertex(loopVertex(s.loop, s.edge)),
                             region_->getTopoMeshVertex(loopVertex(s.loop, s.edge + 1)));
    }
    if (!edge || edge.twin()) continue;  // the loop is none of this mesh
    const Point p = edge.start().point();
    ends_[i].vertex = splitEdge(*topo_, edge, p + (1 - t) * (edge.end().point() - p));
    split = &s;
  }
}

void Alg::joinEqualEnds() {
  const int n = static_cast<int>(ends_.size());
  joinedEnds_.emplace(n);
  qv::vector<std::pair<TopoMeshVertex, int>> byVertex;
  for (int i = 0; i < n; ++i) byVertex.emplace_back(ends_[i].vertex, i);
  std::sort(byVertex.begin(), byVertex.end());
  for (std::size_t i = 1; i < byVertex.size(); ++i)
    if (byVertex[i].first == byVertex[i - 1].first)
      joinedEnds_->join(byVertex[i].second, byVertex[i - 1].second);
}

// The number among the ends; -1 for others.
int Alg::endOf(int point) const {
  const auto at = std::lower_bound(ends_.begin(), ends_.end(), point,
                                   [](const End& end, int p) { return end.point < p; });
  return at != ends_.end() && at->point == point ? static_cast<int>(at - ends_.begin()) : -1;
}

// Whether a stretch is too short to tell its ends apart. To a seam, from a vertex to itself is all around, as
// it is for one that leads from behind a vertex to before it.
bool Alg::hasVanished(const Edge& edge) {
  const int first = edge.getFirstPoint(), second = edge.getSecondPoint();
  if (first == second || vertexOf(first) != vertexOf(second)) return false;
  const int all = curveStarts_[edge.getCurve() + 1] - curveStarts_[edge.getCurve()];
  return (second > first ? second - first : second - first + all) <= all / 2;
}

TopoMeshVertex Alg::vertexOf(int point) {
  const int end = endOf(point);
  return end >= 0 ? ends_[joinedEnds_->root(end)].vertex : nearerVertex(samples_[point]);
}

// ---- seams ----

void Alg::connect(MeshStitchSeam& seam) {
  seam.vertexRemovalSignal().connect(client_, *region_, &MeshModifyRep::removeVertex);
}

void Alg::stitchLinear(const Edge& edge) {
  const Edge twin = edge.getTwin();
  const int a0 = edge.getFirstPoint(), a1 = edge.getSecondPoint();
  const int b0 = twin.getSecondPoint(), b1 = twin.getFirstPoint();
  MeshStitchSeam seam(*topo_);
  connect(seam);
  seam.stitch(vertexOf(a0), vertexOf(a1), vertexOf(b0), vertexOf(b1), seamTolerance_, true);
  joinEnds(seam.preservedA() ? a0 : b0, seam.preservedA() ? b0 : a0);
  joinEnds(seam.preservedA() ? a1 : b1, seam.preservedA() ? b1 : a1);
}

// Later seams that end there find the vertex that is left. Where both ends of one side were the same vertex,
// those of the other have become one: of the two that are kept, one may be gone as well.
void Alg::joinEnds(int kept, int gone) {
  const TopoMeshVertex vertex = vertexOf(kept), other = vertexOf(gone);
  if (vertex.isAlive() && other.isAlive()) return;  // the mesh refused it
  joinedEnds_->join(endOf(kept), endOf(gone));
  ends_[joinedEnds_->root(endOf(kept))].vertex = vertex.isAlive() ? vertex : other;
}

void Alg::stitchCircular(const Edge& edge) {
  const Sample& a = samples_[edge.getFirstPoint()];
  const Sample& b = samples_[edge.getTwin().getSecondPoint()];
  int first = nearerEnd(a), second = nearerEnd(b);
  if (loops_->getLength(a.loop) >= loops_->getLength(b.loop)) {
    first = startOfSeam(a.loop, first, b.loop);
  } else {
    second = startOfSeam(b.loop, second, a.loop);
  }
  MeshStitchSeam seam(*topo_);
  connect(seam);
  seam.stitchCircular(region_->getTopoMeshVertex(loopVertex(a.loop, first)),
                      region_->getTopoMeshVertex(loopVertex(b.loop, second)), seamTolerance_, true);
}

// A circular seam joins the vertex that it starts at, and the one half around, with the nearest ones of the
// other loop before all others, be they how far away: the first vertex from one on where both are near, or of
// so many the one where they are nearest.
int Alg::startOfSeam(int loop, int first, int other) const {
  const int n = loops_->getLength(loop);
  int best = first;
  double least = std::numeric_limits<double>::infinity();
  for (int i = 0; i < std::min(n, kMostStarts) && least > distance_; ++i) {
    const int k = (first + i) % n;
    const double d = std::max(nearest(loop, k, other), nearest(loop, (k + n / 2) % n, other));
    if (!(d < least)) continue;
    least = d;
    best = k;
  }
  return best;
}

// How far the nearest vertex of another loop is.
double Alg::nearest(int loop, int k, int other) const {
  const Point p(position(loop, k));
  double least2 = std::numeric_limits<double>::infinity();
  for (int i = 0; i < loops_->getLength(other); ++i)
    least2 = std::min(least2, distance2(p, Point(position(other, i))));
  return std::sqrt(least2);
}

}  // namespace
}  // namespace qvGeom
