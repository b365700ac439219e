#include "geom/process/point_attribution.h"

#include <algorithm>

#include "geom/model/keel/threading.h"
#include "geom/spatial/closest_point.h"

namespace qvGeom {

namespace {

constexpr int kPerLeaf = 64;

// Finds the nearest triangle of each of some points.
class TriangleToVertices : public qvUtil::ThreadedAlg {
 public:
  TriangleToVertices(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris,
                     const PointAttribution::Points& points, const qv::vector<int>& which)
      : mesh_(mesh), octree_(octree), octreeTris_(octreeTris), points_(points), which_(which) {}

  void initialize(int numThreads) override {
    nearest_.assign(which_.size(), -1);
    largest_.assign(static_cast<std::size_t>(numThreads), 0.0);
  }
  void execute(int thread, int numThreads) override {
    const int n = static_cast<int>(which_.size());
    const int begin = getBeginIndex(thread, numThreads, n);
    const int end = getBeginIndex(thread + 1, numThreads, n);
    if (begin == end) return;
    MeshClosestPoint closest(mesh_, octree_, octreeTris_);
    double largest = 0;
    for (int i = begin; i < end; ++i) {
      if ((i - begin) % kAskEvery == 0) {
        if (cancelled(thread)) break;
        updateProgress(thread, static_cast<double>(i - begin) / (end - begin));
      }
      MeshCoord coord;
      const double distance = closest.compute(points_[static_cast<std::size_t>(which_[i])], &coord);
      if (!coord.valid()) continue;
      nearest_[i] = coord.triangle;
      largest = std::max(largest, distance);
    }
    largest_[thread] = largest;
  }

  double largest() const { return *std::max_element(largest_.begin(), largest_.end()); }
  const qv::vector<int>& nearest() const { return nearest_; }

 private:
  static constexpr int kAskEvery = 256;  // points; well below a millisecond

  CompactMesh const& mesh_;
  Octree const& octree_;
  OctreeTris const& octreeTris_;
  const PointAttribution::Points& points_;
  const qv::vector<int>& which_;
  qv::vector<int> nearest_;     // triangle by place in which_; -1 for none
  qv::vector<double> largest_;  // distance, by thread
};

// The triangle with these corners, in any order, among those of the first; -1 for none.
int findTriangle(MeshTriangle corners, MeshTriangle const* triangles, MeshAdjTris const& adjTris) {
  int const* tris = adjTris.triIndices(corners[0]);
  std::sort(corners.v, corners.v + 3);
  for (int k = adjTris.numTris(corners[0]); k > 0; --k, ++tris) {
    MeshTriangle other = triangles[*tris];
    std::sort(other.v, other.v + 3);
    if (std::equal(other.v, other.v + 3, corners.v)) return *tris;
  }
  return -1;
}

}  // namespace

void PointAttribution::beforeEdit(CompactMesh const& mesh) {
  if (empty()) return;
  trianglesBefore_.assign(mesh.getTriangles(), mesh.getTriangles() + mesh.getNumTriangles());
}

double PointAttribution::afterEdit(CompactMesh const& mesh, Array<int> const& vertexMap, const Points& points,
                                   MeshCache& cache, qvUtil::Progress& progress) {
  pairs_.clear();
  searched_.clear();
  keepOrSearch(mesh, vertexMap, cache);
  for (int i = numKnown_; i < static_cast<int>(points.size()); ++i) searched_.push_back(i);

  // The octree first, or the partition would be over one of another leaf size. Held here: the workers may not
  // take references.
  const qv::Reference<Octree> octree = cache.getOctree(mesh, kPerLeaf);
  const qv::Reference<OctreeTris> octreeTris = cache.getOctreeTris(mesh);
  TriangleToVertices alg(mesh, *octree, *octreeTris, points, searched_);
  alg.setProgress(&progress);
  qvUtil::ThreadPool::get().run(alg);
  if (!progress.cancelled()) {
    numKnown_ = static_cast<int>(points.size());
    rebuild(mesh.getNumTriangles(), alg.nearest());
  }
  return alg.largest();
}

// Sorts the points attributed so far into those that stay with their triangle and those to search for.
void PointAttribution::keepOrSearch(CompactMesh const& mesh, Array<int> const& vertexMap, MeshCache& cache) {
  if (empty()) return;
  const qv::Reference<MeshAdjTris> adjTris = cache.getAdjTris(mesh);
  for (int t = 0; t < pointsOf_.getNumSets(); ++t) {
    const int n = pointsOf_.getSetSize(t);
    if (n == 0) continue;
    MeshTriangle corners = trianglesBefore_[t];
    for (int& v : corners.v) v = vertexMap[v];
    const bool survive = std::all_of(corners.v, corners.v + 3, [](int v) { return v >= 0; });
    const int kept = survive ? findTriangle(corners, mesh.getTriangles(), *adjTris) : -1;
    int const* members = pointsOf_.getSet(t);
    for (int i = 0; i < n; ++i) {
      if (kept >= 0) {
        pairs_.insert(pairs_.end(), {kept, members[i]});
      } else {
        searched_.push_back(members[i]);
      }
    }
  }
}

void PointAttribution::rebuild(int numTriangles, const qv::vector<int>& nearest) {
  for (std::size_t i = 0; i < nearest.size(); ++i)
    if (nearest[i] >= 0) pairs_.insert(pairs_.end(), {nearest[i], searched_[i]});
  pointsOf_.assignFromPairs(numTriangles, static_cast<int>(pairs_.size() / 2), pairs_.data());
}

}  // namespace qvGeom
