#include "geom/process/reduction.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>
#include <numeric>

#include "geom/edit/vertex_removal.h"
#include "geom/model/keel/channels.h"
#include "geom/model/keel/format.h"
#include "geom/model/keel/smp_sort.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/trellis/mesh_coord.h"
#include "geom/process/flatness.h"
#include "geom/process/point_attribution.h"
#include "geom/topology/mesh_cache.h"
#include "geom/topology/region.h"
#include "geom/topology/selection.h"

// The candidates of an iteration are no neighbours of each other, so that the triangles around one are left
// alone by all other removals: whatever was true of them at the start holds when their turn comes.

namespace qvGeom {

using qvLinear::Point;

namespace {

class MeshReduceBase {
 public:
  using Triangle = VertexRemoval::Triangle;

  explicit MeshReduceBase(CompactMesh& mesh);
  MeshReduceBase(const MeshReduceBase&) = delete;
  MeshReduceBase& operator=(const MeshReduceBase&) = delete;
  virtual ~MeshReduceBase() = default;

  void run(qvUtil::Progress& progress);
  void appendRemovedTo(qv::vector<Point>& removed) const;
  int iterations() const { return iteration_; }

 protected:
  /// After each removal. @return false to end the pass, and with it the batch, which then removes nothing
  virtual bool vertexRemoved() { return true; }
  virtual void beginIteration(int /*iteration*/, int /*numCandidates*/, qvUtil::Progress& /*progress*/) {}
  virtual void endIteration() {}
  virtual void beginBatch(int /*size*/, int /*numCandidates*/) {}
  virtual void endBatch() {}
  /// Whether that many vertices are still too many.
  virtual bool keepGoing(int numVertices) = 0;
  /// Whether these triangles may take the place of those around v, a vertex of the mesh.
  virtual bool acceptRemoval(int /*v*/, const qv::vector<Triangle>& /*newTriangles*/) { return true; }
  virtual bool isCandidate(int /*v*/) { return true; }
  virtual void beforeMerge() {}
  virtual void afterMerge(Array<int> const& /*vertexMap*/) {}

  CompactMesh& mesh_;
  SimpleMeshCache cache_;
  int initialCount_;
  Array<double> flatness_;     // by vertex, as of the start of the iteration
  std::deque<Point> removed_;  // in order of removal
  int iteration_ = 0;
  std::unique_ptr<MeshModifyRep> region_;  // during a batch
  qv::Reference<MeshAdjTris> adjTris_;     // of the mesh that region_ was made from

 private:
  // Batches bound the size of the region. One that would leave a small rest takes it along.
  static constexpr int kBatchSize = 65536;
  static constexpr int kLargestBatch = 98304;
  // Below this share of removed vertices another iteration is not worth its cost.
  static constexpr double kLeastShare = 0.01;

  qv::vector<int> flattestFirst();
  qv::vector<int> selectCandidates();
  int runIteration(qv::vector<int>& candidates, qvUtil::Progress& progress);
  int removeBatch(BitVector marks, Array<int>& vertexMap);
  void extractRegion(BitVector const& marks);
  bool removeMarked(BitVector& marks, qv::vector<Point>& pass);
  bool removeVertex(int v, VertexRemoval& removal);
  void releaseRegion();
};

MeshReduceBase::MeshReduceBase(CompactMesh& mesh) : mesh_(mesh), initialCount_(mesh.getNumVertices()) {
  flatness_.resize(initialCount_);
}

void MeshReduceBase::run(qvUtil::Progress& progress) {
  qvOS::StopWatch watch;
  watch.start();
  while (keepGoing(mesh_.getNumVertices())) {
    qv::vector<int> candidates = selectCandidates();
    if (candidates.empty()) break;
    beginIteration(iteration_++, static_cast<int>(candidates.size()), progress);
    const int removed = runIteration(candidates, progress);
    endIteration();
    if (progress.cancelled() || removed / static_cast<double>(mesh_.getNumVertices()) < kLeastShare) break;
  }
  debugChannel().print("MeshReduce: reduced from %d vertices to %d vertices: %f s\n", initialCount_,
                       mesh_.getNumVertices(), watch.stop());
}

void MeshReduceBase::appendRemovedTo(qv::vector<Point>& removed) const {
  removed.reserve(removed.size() + removed_.size());
  removed.insert(removed.end(), removed_.begin(), removed_.end());
}

qv::vector<int> MeshReduceBase::flattestFirst() {
  const int n = mesh_.getNumVertices();
  meshFlatness(mesh_, *cache_.getAdjVertices(mesh_), flatness_.data());
  qv::vector<int> order(static_cast<std::size_t>(n));
  std::iota(order.begin(), order.end(), 0);
  qvUtil::smpSort(order.data(), n, qvUtil::Ordering::IndexedLessThan<double>{flatness_.data()},
                  qvUtil::ThreadPool::get());
  return order;
}

// Flattest first, no two of them neighbours, and no more than are to go. Boundary vertices have more
// neighbours than triangles.
qv::vector<int> MeshReduceBase::selectCandidates() {
  const qv::vector<int> order = flattestFirst();
  const qv::Reference<MeshAdjTris> adjTris = cache_.getAdjTris(mesh_);
  const qv::Reference<MeshAdjVertices> adjVertices = cache_.getAdjVertices(mesh_);
  BitVector blocked(mesh_.getNumVertices());
  int remaining = mesh_.getNumVertices();
  qv::vector<int> candidates;
  for (const int v : order) {
    const int numNeighbours = adjVertices->numAdjVertices(v);
    if (blocked.test(v) || numNeighbours < 3 || adjTris->numTris(v) != numNeighbours || !isCandidate(v))
      continue;
    candidates.push_back(v);
    blocked.setBits(numNeighbours, adjVertices->vertexIndices(v));
    if (!keepGoing(--remaining)) break;
  }
  return candidates;
}

// @return number of vertices removed
int MeshReduceBase::runIteration(qv::vector<int>& candidates, qvUtil::Progress& progress) {
  const int numCandidates = static_cast<int>(candidates.size());
  int removed = 0;
  for (int begin = 0; begin < numCandidates;) {
    const int left = numCandidates - begin;
    const int size = left > kLargestBatch ? kBatchSize : left;
    BitVector marks(mesh_.getNumVertices());
    marks.setBits(size, candidates.data() + begin);
    begin += size;
    beginBatch(size, numCandidates);
    Array<int> vertexMap;
    const int removedNow = removeBatch(std::move(marks), vertexMap);
    endBatch();
    if (progress.cancelled()) break;
    if (removedNow == 0) continue;
    removed += removedNow;
    for (int i = begin; i < numCandidates; ++i) candidates[i] = vertexMap[candidates[i]];
  }
  return removed;
}

// Where many removals fail, the region is made anew about the others alone.
int MeshReduceBase::removeBatch(BitVector marks, Array<int>& vertexMap) {
  int removed = 0;
  for (bool again = true; again;) {
    const auto numMarks = static_cast<int>(marks.numSetBits);
    extractRegion(marks);
    qv::vector<Point> pass;
    // A pass that was ended has left most marks as they were: redoing it would never come to an end.
    const bool completed = removeMarked(marks, pass);
    const auto numRemoved = static_cast<int>(pass.size());
    again = completed && numRemoved > 0 && 3 * std::int64_t{numRemoved} / 2 < numMarks;
    if (completed && numRemoved > 0 && !again) {
      removed = numRemoved;
      removed_.insert(removed_.end(), pass.begin(), pass.end());
      beforeMerge();
      region_->merge(vertexMap, nullptr);
      releaseRegion();  // the larger part of the memory in use
      afterMerge(vertexMap);
    }
    mesh_.clearSelection();
    releaseRegion();
  }
  return removed;
}

// Two rings of triangles about the marked vertices: what a removal changes, and what it looks at.
void MeshReduceBase::extractRegion(BitVector const& marks) {
  adjTris_ = cache_.getAdjTris(mesh_);
  mesh_.getSelectedVertices() = marks;
  mesh_.getSelectedTriangles().resize(mesh_.getNumTriangles());
  MeshSelect select(mesh_, *adjTris_);
  for (int ring = 0; ring < 2; ++ring) {
    select.selectAllTrianglesFromVertices();
    select.selectVerticesFromTriangles();
  }
  region_ = std::make_unique<MeshModifyRep>(mesh_, *adjTris_);
}

// @param marks cleared where a vertex stays
// @param pass  receives the positions of those removed
// @return false when it was to end early
bool MeshReduceBase::removeMarked(BitVector& marks, qv::vector<Point>& pass) {
  VertexRemoval removal(region_->extract());
  pass.reserve(static_cast<std::size_t>(marks.numSetBits));
  for (int v = 0; v < marks.size(); ++v) {
    if (!marks.test(v)) continue;
    if (!removeVertex(v, removal)) {
      marks.clearBit(v);
      continue;
    }
    pass.push_back(mesh_.getVertices()[v].asPoint());
    if (!vertexRemoved()) return false;
  }
  return true;
}

bool MeshReduceBase::removeVertex(int v, VertexRemoval& removal) {
  const TopoMeshVertex x = region_->getTopoMeshVertex(v);
  if (!removal.lowerValence(x, adjTris_->numTris(v))) return false;
  region_->removeVertex(x);
  removal.removeAndRelax();
  if (acceptRemoval(v, removal.newTriangles())) return true;
  removal.restore();
  return false;
}

void MeshReduceBase::releaseRegion() {
  region_.reset();
  adjTris_ = qv::Reference<MeshAdjTris>();
}

class MeshReduceFraction final : public MeshReduceBase {
 public:
  MeshReduceFraction(CompactMesh& mesh, double fraction) : MeshReduceBase(mesh), target_(initialCount_) {
    if (fraction < 1) target_ = static_cast<int>(initialCount_ * std::max(fraction, 0.0));
  }

 protected:
  bool vertexRemoved() override;
  void beginIteration(int, int, qvUtil::Progress& progress) override { progress_ = &progress; }
  void endIteration() override { progress_ = nullptr; }
  bool keepGoing(int numVertices) override { return numVertices > target_; }

 private:
  int target_;
  qvUtil::Progress* progress_ = nullptr;  // during an iteration
};

// Looks at the vertices removed by earlier batches.
bool MeshReduceFraction::vertexRemoved() {
  constexpr int kAskEvery = 100;
  if (removed_.size() % kAskEvery != 0) return true;
  if (progress_->cancelled()) return false;
  const double done = static_cast<double>(removed_.size()) / (initialCount_ - target_);
  if (done <= 1) progress_->set(done);
  return true;
}

class MeshReduceTolerance final : public MeshReduceBase {
 public:
  MeshReduceTolerance(CompactMesh& mesh, double tolerance) : MeshReduceBase(mesh), tolerance_(tolerance) {}
  double largestError() const { return largestError_; }

 protected:
  void beginIteration(int iteration, int numCandidates, qvUtil::Progress& progress) override;
  void endIteration() override;
  void beginBatch(int size, int numCandidates) override {
    iterationProgress_.subPhase(static_cast<double>(size) / numCandidates, batchProgress_);
  }
  void endBatch() override { batchProgress_.set(1); }
  bool keepGoing(int) override { return true; }
  bool acceptRemoval(int v, const qv::vector<Triangle>& newTriangles) override;
  bool isCandidate(int v) override { return flatness_[v] < tolerance_; }
  void beforeMerge() override { attribution_.beforeEdit(mesh_); }
  void afterMerge(Array<int> const& vertexMap) override {
    largestError_ =
        std::max(largestError_, attribution_.afterEdit(mesh_, vertexMap, removed_, cache_, batchProgress_));
  }

 private:
  double shareOf(int iteration, int numCandidates);
  bool isNear(const Point& p, const qv::vector<Triangle>& triangles) const;

  double tolerance_;
  double largestError_ = 0;
  PointAttribution attribution_;
  int firstCandidates_ = 0;
  int estimatedIterations_ = 0;
  double usedShare_ = 0;
  qvUtil::Progress iterationProgress_;
  qvUtil::Progress batchProgress_;
};

void MeshReduceTolerance::beginIteration(int iteration, int numCandidates, qvUtil::Progress& progress) {
  const double share = shareOf(iteration, numCandidates);
  progress.subPhase(share, iterationProgress_);
  usedShare_ += share;
}

// How many iterations there will be shows once it is known how fast candidates become fewer.
double MeshReduceTolerance::shareOf(int iteration, int numCandidates) {
  constexpr double kFirstShare = 0.1;
  constexpr double kLastRatio = 0.01;
  constexpr double kMostIterations = 1e6;  // far beyond what runs; keeps the estimate an int
  if (iteration == 0) {
    firstCandidates_ = numCandidates;
    return kFirstShare;
  }
  if (iteration == 1) {
    const double ratio = static_cast<double>(numCandidates) / firstCandidates_;
    const double estimate = ratio < 1 ? std::ceil(std::log(kLastRatio) / std::log(ratio)) : 2;
    estimatedIterations_ = static_cast<int>(std::min(estimate, kMostIterations));
  }
  return iteration < estimatedIterations_ ? (1 - kFirstShare) / estimatedIterations_ : usedShare_ / 2;
}

void MeshReduceTolerance::endIteration() {
  iterationProgress_.set(1);
  iterationProgress_.setCaption(qvString::formatText("Reducing (%d verts)", mesh_.getNumVertices()).c_str());
}

// Neither the vertex nor the points that lie nearest to the triangles around it may come to lie too far off.
bool MeshReduceTolerance::acceptRemoval(int v, const qv::vector<Triangle>& newTriangles) {
  if (!isNear(mesh_.getVertices()[v].asPoint(), newTriangles)) return false;
  if (attribution_.empty()) return true;
  int const* tris = adjTris_->triIndices(v);
  return std::all_of(tris, tris + adjTris_->numTris(v), [&](int t) {
    int const* points = attribution_.points(t);
    return std::all_of(points, points + attribution_.numPoints(t),
                       [&](int i) { return isNear(removed_[static_cast<std::size_t>(i)], newTriangles); });
  });
}

bool MeshReduceTolerance::isNear(const Point& p, const qv::vector<Triangle>& triangles) const {
  return std::any_of(triangles.begin(), triangles.end(), [&](const Triangle& t) {
    MeshCoordBase nearest;
    return nearest.projectBase(p, t[0], t[1], t[2]) &&
           distance2(p, nearest.evaluateBase(t.data())) <= tolerance_ * tolerance_;
  });
}

}  // namespace

void meshReduceToFraction(CompactMesh& mesh, double fraction, qvUtil::Progress& progress,
                          qv::vector<Point>& removed) {
  MeshReduceFraction reduce(mesh, fraction);
  reduce.run(progress);
  reduce.appendRemovedTo(removed);
}

double meshReduceWithTolerance(CompactMesh& mesh, double tolerance, qvUtil::Progress& progress,
                               qv::vector<Point>& removed) {
  qvOS::StopWatch watch;
  watch.start();
  MeshReduceTolerance reduce(mesh, tolerance);
  reduce.run(progress);
  reduce.appendRemovedTo(removed);
  debugChannel().print("meshReduce: iterations(%d): %f s\n", reduce.iterations(), watch.stop());
  return reduce.largestError();
}

}  // namespace qvGeom
