#include "geom/spatial/octree_partition.h"

#include <cstddef>
#include <limits>
#include <new>
#include <utility>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/threading.h"
#include "geom/spatial/box_tests.h"
#include "geom/spatial/box_walk.h"

namespace qvGeom {
namespace {

using Pair = std::pair<int, int>;  // voxel, element
static_assert(sizeof(Pair) == 2 * sizeof(int));

struct ChunkResult {
  qv::vector<Pair> pairs;
  int coherent = 0;
};

bool touches(const BoundingBox& box, float const* const (&corners)[3]) {
  return intersects(box, corners[0], corners[1], corners[2]);
}
bool touches(const BoundingBox& box, float const* const (&ends)[2]) {
  return intersects(box, ends[0], ends[1]);
}

// Files elements of `Corners` vertices each. A walk starts at the smallest node around the element that lies
// on the path to the remembered voxel: the next element is rarely far.
template <int Corners>
class Filer {
 public:
  Filer(const Octree& octree, float const* vertices, int const* elements, ChunkResult& result)
      : walk_(octree), vertices_(vertices), elements_(elements), result_(result) {}

  void file(int element) {
    BoundingBox box;
    float const* corners[Corners];
    for (int c = 0; c < Corners; ++c) {
      corners[c] = vertices_ + std::ptrdiff_t{3} * elements_[std::ptrdiff_t{Corners} * element + c];
      box.extend(corners[c]);
    }
    if (hasVoxel_ && walk_.node(path_[level_]).box.contains(box)) {
      result_.pairs.emplace_back(walk_.node(path_[level_]).leaf, element);
      ++result_.coherent;
      return;
    }
    const auto visit = [&](int index, int level) {
      path_[level] = index;
      const Octree::Node& node = walk_.node(index);
      if (node.leaf < 0) return;
      level_ = level;
      hasVoxel_ = true;
      if (touches(node.box, corners)) result_.pairs.emplace_back(node.leaf, element);
    };
    int level = level_;
    while (level > 0 && !isStrictlyInside(box, walk_.node(path_[level]).box)) --level;
    if (level > 0) {
      walk_.run(box, path_[level], level, visit);
    } else {
      walk_.run(box, visit);
    }
  }

 private:
  // So that nothing beyond the node can touch the box.
  static bool isStrictlyInside(const BoundingBox& box, const BoundingBox& node) {
    return box.isValid() && node.min[0] < box.min[0] && node.min[1] < box.min[1] &&
           node.min[2] < box.min[2] && node.max[0] > box.max[0] && node.max[1] > box.max[1] &&
           node.max[2] > box.max[2];
  }

  BoxWalk walk_;
  float const* vertices_;
  int const* elements_;
  ChunkResult& result_;
  int path_[Octree::kMaxDepth] = {};  // from the root to the voxel that was yielded last, the remembered one
  int level_ = 0;
  bool hasVoxel_ = false;
};

template <int Corners>
class PartitionAlg : public qvUtil::ThreadedAlg {
 public:
  PartitionAlg(const Octree& octree, float const* vertices, int const* elements, int count)
      : octree_(octree), vertices_(vertices), elements_(elements), count_(count) {}

  void initialize(int numThreads) override { chunks_.resize(static_cast<std::size_t>(numThreads)); }

  void execute(int chunk, int numChunks) override {
    ChunkResult result;
    result.pairs.reserve(2 * static_cast<std::size_t>(count_) / static_cast<std::size_t>(numChunks));
    Filer<Corners> filer(octree_, vertices_, elements_, result);
    const int end = getBeginIndex(chunk + 1, numChunks, count_);
    for (int i = getBeginIndex(chunk, numChunks, count_); i < end; ++i) filer.file(i);
    chunks_[static_cast<std::size_t>(chunk)] = std::move(result);
  }

  // All pairs in element order, and how many took the coherent path.
  ChunkResult merge() {
    ChunkResult merged = std::move(chunks_.front());
    for (std::size_t i = 1; i < chunks_.size(); ++i) {
      merged.pairs.insert(merged.pairs.end(), chunks_[i].pairs.begin(), chunks_[i].pairs.end());
      merged.coherent += chunks_[i].coherent;
    }
    return merged;
  }

 private:
  const Octree& octree_;
  float const* vertices_;
  int const* elements_;
  int count_;
  qv::vector<ChunkResult> chunks_;
};

using TriPartitionAlg = PartitionAlg<3>;
using LinePartitionAlg = PartitionAlg<2>;

// A rate of nothing is 0.
double ratio(double part, double whole) { return whole > 0 ? part / whole : 0; }

template <typename Alg, typename Record>
void partition(const Octree& octree, float const* vertices, int const* elements, int count,
               char const* message, Record& result) {
  qvOS::StopWatch watch;
  watch.start();
  const int voxels = octree.getNumVoxels();
  if (voxels < 1) return;
  Alg alg(octree, vertices, elements, count);
  qvUtil::ThreadPool::get().run(alg);
  const ChunkResult merged = alg.merge();
  // Counted by an int in the record.
  if (merged.pairs.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
  ArrayOfSets sets;
  sets.assignFromPairs(voxels, static_cast<int>(merged.pairs.size()),
                       reinterpret_cast<int const*>(merged.pairs.data()));
  Record record(sets);
  record.swap(result);
  const double seconds = watch.stop();
  const auto n = static_cast<double>(static_cast<float>(count));
  debugChannel().print(message, count, voxels, seconds, ratio(merged.coherent, n),
                       ratio(static_cast<double>(merged.pairs.size()), n), ratio(n, seconds));
}

}  // namespace

void computeOctreeTris(CompactMesh const& mesh, Octree const& octree, OctreeTris& result) {
  partition<TriPartitionAlg>(octree, mesh.getVerticesRaw(), mesh.getTrianglesRaw(), mesh.getNumTriangles(),
                             "OctreeTris:  Partitioned %d triangles into %d voxels in %.3f seconds.\n"
                             "             (%.2f coherence, %.2f voxels/tri, %.0f tri/sec)\n",
                             result);
}

void meshOctreeLines(CompactMesh const& mesh, Octree const& octree, OctreeLines& result) {
  partition<LinePartitionAlg>(octree, mesh.getVerticesRaw(), reinterpret_cast<int const*>(mesh.getLines()),
                              mesh.getNumLines(),
                              "OctreeLines:  Partitioned %d lines into %d voxels in %.3f seconds.\n"
                              "             (%.2f coherence, %.2f duplication, %.0f tri/sec)\n",
                              result);
}

}  // namespace qvGeom
